// What a parameter set says about the times of pictures.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace vx {

/// The sequence parameter set (from its NAL header on) with a usual frame rate and without the
/// claim that it is a fixed one. Encoders make that claim, but the pictures of a display come when
/// it changes, and only the file knows their times. Some name no rate at all, and then FFmpeg
/// misreads pictures that last 0 ms: they are given `picturesPerSecond`. Returned as it is when
/// there is nothing to change, or when it cannot be read.
std::vector<std::uint8_t> withUsualFrameRate(std::span<const std::uint8_t> sps,
                                             std::uint32_t picturesPerSecond);

}  // namespace vx
