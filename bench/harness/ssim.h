// Structural similarity of two pictures (Wang, Bovik, Sheikh and Simoncelli, 2004).
#pragma once

#include <cstdint>

namespace bench {

struct LumaPlane {
  const std::uint8_t* bytes = nullptr;
  int bytesPerRow = 0;
};

/// The mean over windows of 8 x 8 pixels, 4 pixels apart. 1 for equal pictures.
double ssim(const LumaPlane& a, const LumaPlane& b, int width, int height);

}  // namespace bench
