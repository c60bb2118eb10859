#include "x11_pointer.h"

#include <algorithm>

namespace vxrecord {
namespace {
constexpr std::uint32_t kOpaque = 255;
constexpr unsigned kAlphaShift = 24;
}  // namespace

// A colour above its alpha, which some themes have, shines; it must not run over into the next.
std::uint32_t blend(std::uint32_t premultiplied, std::uint32_t below) {
  const std::uint32_t alpha = premultiplied >> kAlphaShift;
  std::uint32_t result = kOpaque << kAlphaShift;
  for (unsigned shift = 0; shift < kAlphaShift; shift += 8) {
    const std::uint32_t over = premultiplied >> shift & 0xFF;
    const std::uint32_t under = below >> shift & 0xFF;
    const std::uint32_t rest = (under * (kOpaque - alpha) + kOpaque / 2) / kOpaque;
    result |= std::min(over + rest, kOpaque) << shift;
  }
  return result;
}

void PointerOverlay::draw(const PictureView& picture, const PointerImage& image, int x, int y) {
  const Rect place = image.placeAt(x, y);
  _covered = intersectionOf(place, {0, 0, picture.width, picture.height});
  _below.clear();
  for (int row = 0; row < _covered.height; ++row) {
    std::uint32_t* target = picture.at(_covered.x, _covered.y + row);
    _below.insert(_below.end(), target, target + _covered.width);
    const std::uint32_t* source = image.pixels.data() +
                                  std::ptrdiff_t{_covered.y + row - place.y} * image.width +
                                  (_covered.x - place.x);
    std::transform(source, source + _covered.width, target, target, blend);
  }
}

void PointerOverlay::remove(const PictureView& picture) {
  const std::uint32_t* source = _below.data();
  for (int row = 0; row < _covered.height; ++row, source += _covered.width) {
    std::copy_n(source, _covered.width, picture.at(_covered.x, _covered.y + row));
  }
  _covered = {};
}

}  // namespace vxrecord
