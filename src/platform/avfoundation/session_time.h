// The times of samples as their tracks count them.
#pragma once

#include "VXVideoRecorder/platform/CoreMedia.h"

#include <cstdint>
#include <optional>

namespace vx {

/// A time in units of 1 / `scale` of a second. Absent for times that no clock tells: none, infinite
/// ones, and those farther away than a lifetime.
std::optional<std::int64_t> ticksOf(CMTime time, CMTimeScale scale);

/// From the session's start to `time`; absent where one of them is.
std::optional<std::int64_t> ticksSince(CMTime sessionStart, CMTime time, CMTimeScale scale);

}  // namespace vx
