// What the recorder's calls do when there is no memory: they lose what they were about, with a line
// of the log if there is memory for that, and nothing ends the host.
#pragma once

#include "VXVideoRecorder/VXVideoRecorder.h"

#include <cstdint>
#include <new>

namespace vx {

/// How often a call of this thread ran short of memory and lost what it was about: for those who
/// have to answer what became of a call.
inline thread_local std::uint32_t memoryShortages = 0;

}  // namespace vx

template <typename Step>
void VXVideoRecorder::unlessMemoryIsShort(const char* whatIsLost, Step&& step) {
  try {
    step();
  } catch (const std::bad_alloc&) {
    ++vx::memoryShortages;
    logMemoryShortage(whatIsLost);
  }
}
