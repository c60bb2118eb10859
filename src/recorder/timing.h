// Rules of the recorder's clock: unsigned 32-bit milliseconds that wrap.
#pragma once

#include "VXVideoRecorder/platform/CoreMedia.h"

#include <cstdint>

namespace vx::recorder {

/// Of all times in a recording's video.
inline constexpr CMTimeScale kMillisecondTimescale = 1000;

/// The longest black that a pause leaves in the file.
inline constexpr std::uint32_t kMaximumPauseMs = 1000;

/// The start time under which a frame at host time `timestamp`, the first after a pause, lies at
/// most `kMaximumPauseMs` behind the video written so far (`writtenMs`). A gap that short stays as
/// it is; a clock that stepped back makes a gap that wraps and so counts as long.
constexpr std::uint32_t startTimeAfterPause(std::uint32_t timestamp, std::uint32_t startTime,
                                            std::uint32_t writtenMs) {
  const std::uint32_t gap = timestamp - (startTime + writtenMs);
  return gap > kMaximumPauseMs ? timestamp - writtenMs - kMaximumPauseMs : startTime;
}

/// As a media time; never negative.
inline CMTime timeFromMilliseconds(std::uint32_t ms) {
  return CMTimeMake(static_cast<CMTimeValue>(ms), kMillisecondTimescale);
}

}  // namespace vx::recorder
