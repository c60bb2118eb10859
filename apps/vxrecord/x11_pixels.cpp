#include "x11_pixels.h"

#include <bit>
#include <cstring>

namespace vxrecord {
namespace {
constexpr std::uint32_t kFull = 255;
constexpr std::size_t kRowUnit = 4;
}  // namespace

bool PixelLayout::isOurs() const { return *this == PixelLayout{}; }

std::size_t PixelLayout::bytesPerRow(int width) const {
  const std::size_t bytes = static_cast<std::size_t>(width) * bytesPerPixel;
  return (bytes + kRowUnit - 1) / kRowUnit * kRowUnit;
}

PixelReader::PixelReader(const PixelLayout& layout)
    : _layout(layout),
      _red(channelOf(layout.redMask)),
      _green(channelOf(layout.greenMask)),
      _blue(channelOf(layout.blueMask)) {}

PixelReader::Channel PixelReader::channelOf(std::uint32_t mask) {
  if (mask == 0) {
    return {};
  }
  const auto shift = static_cast<unsigned>(std::countr_zero(mask));
  return {mask, shift, mask >> shift};
}

// A value is stretched so that the most that fits becomes 255.
std::uint32_t PixelReader::Channel::in(std::uint32_t pixel) const {
  const std::uint64_t value = (pixel & mask) >> shift;
  return static_cast<std::uint32_t>((value * kFull + most / 2) / most);
}

std::uint32_t PixelReader::stored(const std::uint8_t* bytes) const {
  std::uint32_t pixel = 0;
  for (unsigned i = 0; i < _layout.bytesPerPixel; ++i) {
    const bool isLittle = (std::endian::native == std::endian::little) != _layout.isByteSwapped;
    const unsigned place = isLittle ? i : _layout.bytesPerPixel - 1 - i;
    pixel |= std::uint32_t{bytes[i]} << (8 * place);
  }
  return pixel;
}

void PixelReader::readRow(const std::uint8_t* source, int count, std::uint32_t* target) const {
  if (_layout.isOurs()) {
    std::memcpy(target, source, static_cast<std::size_t>(count) * sizeof *target);
    return;
  }
  for (int x = 0; x < count; ++x, source += _layout.bytesPerPixel) {
    const std::uint32_t pixel = stored(source);
    target[x] = _red.in(pixel) << 16 | _green.in(pixel) << 8 | _blue.in(pixel);
  }
}

}  // namespace vxrecord
