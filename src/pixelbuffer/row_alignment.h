// What the rows of pooled buffers are aligned to: how wide they are, and how much of a host's last
// row may be read, follow from it.
#pragma once

#include <cstdint>

namespace vx::pixelbuffer {

inline constexpr std::int32_t kRowAlignment = 32;  // bytes

}  // namespace vx::pixelbuffer
