// Pixels as a display stores them, as 32-bit blue, green, red.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vxrecord {

/// A picture of 32-bit pixels (blue in the lowest eight bits, then green and red) that is written
/// elsewhere.
struct PictureView {
  std::uint32_t* pixels = nullptr;
  int width = 0;
  int height = 0;

  std::uint32_t* at(int x, int y) const {
    return pixels + static_cast<std::ptrdiff_t>(y) * width + x;
  }
};

/// One pixel of a true-colour display.
struct PixelLayout {
  unsigned bytesPerPixel = 4;
  std::uint32_t redMask = 0xFF0000;
  std::uint32_t greenMask = 0xFF00;
  std::uint32_t blueMask = 0xFF;
  bool isByteSwapped = false;  ///< stored in the byte order that is not this machine's

  /// Whether the display's pixels are a PictureView's already.
  bool isOurs() const;
  /// Bytes of a row; the protocol rounds them up to 32 bits.
  std::size_t bytesPerRow(int width) const;
  friend bool operator==(const PixelLayout&, const PixelLayout&) = default;
};

/// Turns stored pixels into those of a PictureView.
class PixelReader {
 public:
  explicit PixelReader(const PixelLayout& layout);
  void readRow(const std::uint8_t* source, int count, std::uint32_t* target) const;

 private:
  /// Where one of the three colours stands.
  struct Channel {
    std::uint32_t mask = 0;
    unsigned shift = 0;
    std::uint32_t most = 1;
    std::uint32_t in(std::uint32_t pixel) const;
  };
  static Channel channelOf(std::uint32_t mask);
  std::uint32_t stored(const std::uint8_t* bytes) const;

  PixelLayout _layout;
  Channel _red;
  Channel _green;
  Channel _blue;
};

}  // namespace vxrecord
