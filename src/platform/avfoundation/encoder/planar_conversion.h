// Pictures of every pixel format as three planes of 4:2:0, in video range by ITU-R BT.601.
#pragma once

#include "VXVideoRecorder/platform/CoreVideo.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vx {

/// One packed picture. Of each row only the pixels are read.
struct PackedPicture {
  OSType format = 0;
  int width = 0;  // pixels
  int height = 0;
  const std::uint8_t* base = nullptr;
  int bytesPerRow = 0;
};

/// Where planes are written. Chroma is half as wide and high, rounded up.
struct PlanarTarget {
  std::array<std::uint8_t*, 3> planes{};  // Y, Cb, Cr
  std::array<int, 3> bytesPerRow{};
};

/// Writes width x height of luma and the chroma that belongs to it; alpha is ignored. An odd last
/// column or row makes its chroma by itself. `rowMemory` is scratch that is grown as needed.
/// False for a format that is not packed.
bool convertToPlanar(const PackedPicture& picture, const PlanarTarget& target,
                     std::vector<std::uint8_t>& rowMemory);

}  // namespace vx
