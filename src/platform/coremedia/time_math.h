// Arithmetic on media times that sample buffers need, exact or marked as rounded.
#pragma once

#include "VXVideoRecorder/platform/CoreMedia.h"

namespace vx {

/// The sum of two times. Exact where a common timescale of 31 bits exists; infinite beyond the
/// range of the value. A time that is no number decides the result.
CMTime timeSum(CMTime a, CMTime b);
/// `time` taken `count` times.
CMTime timeProduct(CMTime time, std::int64_t count);

}  // namespace vx
