// Frames by the clock.
#pragma once

#include <chrono>
#include <cstdint>

namespace vxrecord {

/// Lets each frame wait for its moment, counted from the first one.
class Pacer {
 public:
  /// Sleeps until the frame's moment; a late frame does not wait. False when the end was asked for
  /// meanwhile.
  bool waitFor(std::int64_t timeMs);

 private:
  bool _hasStarted = false;
  std::chrono::steady_clock::time_point _start;
};

}  // namespace vxrecord
