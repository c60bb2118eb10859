// A count for those who call the recorder and have to answer what became of the call.
#pragma once

#include <cstdint>

namespace vx {

/// How often a call of this thread ran short of memory and lost what it was about.
inline thread_local std::uint32_t memoryShortages = 0;

}  // namespace vx
