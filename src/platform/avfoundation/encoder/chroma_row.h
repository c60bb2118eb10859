#pragma once

#include <cstdint>

namespace vx {

/// Cb and Cr of two rows of `width` BGRA pixels (both may be the same row): each is the mean of
/// 2 x 2 pixels, correctly rounded. Writes ceil(width / 2) bytes of each.
///
/// libyuv's own conversion drops the fraction here, which is up to 3 of 255 after decoding.
void chromaRowFromBGRA(const std::uint8_t* upper, const std::uint8_t* lower, int width,
                       std::uint8_t* cb, std::uint8_t* cr);

}  // namespace vx
