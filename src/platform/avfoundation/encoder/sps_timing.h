// What a parameter set says about the times of pictures.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace vx {

/// The sequence parameter set (from its NAL header on) without the claim of a fixed frame rate:
/// encoders make it, but the pictures of a display come when it changes, and only the file knows
/// their times. The usual rate stays: without it FFmpeg misreads pictures that last 0 ms. Returned
/// as it is when it claims nothing, or cannot be read.
std::vector<std::uint8_t> withoutFixedFrameRate(std::span<const std::uint8_t> sps);

}  // namespace vx
