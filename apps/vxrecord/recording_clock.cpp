#include "recording_clock.h"

namespace vxrecord {

void RecordingClock::accept(std::int64_t inputMs, bool endsPause) {
  if (!_hasFrame) {
    _leftOutMs = inputMs;
    _hasFrame = true;
  }
  const std::int64_t gap = inputMs - _leftOutMs - _timeMs;
  if (endsPause && gap > kLongestPauseMs) {
    _leftOutMs += gap - kLongestPauseMs;
  }
  _timeMs = inputMs - _leftOutMs;
}

std::int64_t RecordingClock::durationMs() const { return _hasFrame ? _timeMs + 2 : 0; }

bool isLeftOut(const PauseWish& pause, std::int64_t inputMs) {
  return inputMs >= pause.atMs && inputMs - pause.atMs < pause.forMs;
}

}  // namespace vxrecord
