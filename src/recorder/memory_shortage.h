// What the recorder's calls do when there is no memory: they lose what they were about, with a line
// of the log if there is memory for that, and nothing ends the host.
#pragma once

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "platform/memory_shortages.h"

#include <new>

template <typename Step>
void VXVideoRecorder::unlessMemoryIsShort(const char* whatIsLost, Step&& step) {
  try {
    step();
  } catch (const std::bad_alloc&) {
    ++vx::memoryShortages;
    logMemoryShortage(whatIsLost);
  }
}
