// What the recorder's calls do when there is no memory: they lose what they were about, with a line
// on the system log, and nothing ends the host.
#pragma once

#include "VXVideoRecorder/platform/foundation/NSThread.h"

#include <new>
#include <string_view>

namespace vx::recorder {

/// Takes no memory itself.
inline void logMemoryShortage(std::string_view whatIsLost) {
  NSLog("VXVideoRecorder: there is not enough memory.");
  NSLog(whatIsLost);
}

template <typename Step>
void unlessMemoryIsShort(std::string_view whatIsLost, Step&& step) {
  try {
    step();
  } catch (const std::bad_alloc&) {
    logMemoryShortage(whatIsLost);
  }
}

}  // namespace vx::recorder
