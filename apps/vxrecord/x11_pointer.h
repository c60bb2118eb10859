// The pointer, drawn into a picture of the screen, which does not hold it.
#pragma once

#include <cstdint>
#include <vector>

#include "x11_pixels.h"
#include "x11_region.h"

namespace vxrecord {

/// What the pointer looks like.
struct PointerImage {
  int width = 0;
  int height = 0;
  int hotX = 0;  ///< the pixel that points
  int hotY = 0;
  /// Alpha in the highest byte, then red, green and blue multiplied by it.
  std::vector<std::uint32_t> pixels;

  /// Where it is drawn when it points to (x, y).
  Rect placeAt(int x, int y) const { return {x - hotX, y - hotY, width, height}; }
};

/// One pixel over another; the result is opaque.
std::uint32_t blend(std::uint32_t premultiplied, std::uint32_t below);

/// Draws the pointer and takes it away again.
class PointerOverlay {
 public:
  /// Draws `image` pointing to (x, y) of the picture; what lies outside is left out.
  void draw(const PictureView& picture, const PointerImage& image, int x, int y);
  /// Puts back what was there before. The picture has to be the one that was drawn into.
  void remove(const PictureView& picture);
  /// The picture was replaced, and with it the pointer.
  void forget() { _covered = {}; }
  /// Where the pointer is drawn now; empty when it is not.
  const Rect& covered() const { return _covered; }

 private:
  Rect _covered;
  std::vector<std::uint32_t> _below;  // row by row
};

}  // namespace vxrecord
