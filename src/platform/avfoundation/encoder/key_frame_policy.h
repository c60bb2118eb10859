// When a key frame is asked for beyond the encoder's own interval.
#pragma once

#include <algorithm>
#include <cstdint>

namespace vx {

/// Asks for one on the first frame that comes this much recording time or more after the last key
/// frame, so that still screens stay seekable. Times that step back count as no time.
class KeyFramePolicy {
 public:
  static constexpr std::int64_t kMaximumDistanceMs = 2000;

  bool wantsKeyFrame(std::int64_t timeMs, bool requested) {
    _latestMs = std::max(_latestMs, timeMs);
    return requested || !_hasKeyFrame || _latestMs - _lastKeyFrameMs >= kMaximumDistanceMs;
  }
  /// The frame asked about last was coded as a key frame.
  void keyFrameWasCoded() {
    _hasKeyFrame = true;
    _lastKeyFrameMs = _latestMs;
  }

 private:
  bool _hasKeyFrame = false;
  std::int64_t _latestMs = 0;
  std::int64_t _lastKeyFrameMs = 0;
};

}  // namespace vx
