// The few fields of a sequence parameter set that the file's own description repeats.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vx::mp4 {

struct SpsFormat {
  std::uint8_t chromaFormat = 1;  // 4:2:0
  std::uint8_t bitDepthLuma = 8;
  std::uint8_t bitDepthChroma = 8;
};

/// Whether this profile's parameter sets say their format, so that `avcC` has to as well.
bool profileHasFormat(std::uint8_t profile);
/// The format in a parameter set that starts with its NAL header. ITU-T H.264, 7.3.2.1.1
SpsFormat readSpsFormat(std::span<const std::uint8_t> sps);

}  // namespace vx::mp4
