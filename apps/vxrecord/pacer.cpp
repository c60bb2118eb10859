#include "pacer.h"

#include "interruption.h"

namespace vxrecord {

bool Pacer::waitFor(std::int64_t timeMs) {
  const std::chrono::milliseconds time(timeMs);
  if (!_hasStarted) {
    _hasStarted = true;
    _start = std::chrono::steady_clock::now() - time;
  }
  return sleepUntil(_start + time);
}

}  // namespace vxrecord
