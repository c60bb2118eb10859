// Where a recording's time stands, pauses taken out.
#pragma once

#include <cstdint>

#include "options.h"

namespace vxrecord {

/// Follows the recorder's own rule: a pause takes at most one second of the file.
class RecordingClock {
 public:
  /// The frame of this input time was taken by the recorder; `endsPause` when a pause was pending.
  void accept(std::int64_t inputMs, bool endsPause);
  /// Time in the file of the frame that was taken last.
  std::int64_t timeMs() const { return _timeMs; }
  /// Input time up to that frame that the file does not hold.
  std::int64_t leftOutMs() const { return _leftOutMs; }
  /// Length of the file if it ends now: the last frame lasts one millisecond, and the file ends one
  /// millisecond behind it. 0 without a frame.
  std::int64_t durationMs() const;

 private:
  static constexpr std::int64_t kLongestPauseMs = 1000;
  bool _hasFrame = false;
  std::int64_t _leftOutMs = 0;  // input time that the file does not hold
  std::int64_t _timeMs = 0;
};

/// Whether a frame of this time lies in the part that is left out.
bool isLeftOut(const PauseWish& pause, std::int64_t inputMs);

}  // namespace vxrecord
