// Frames that move: what the benchmarks record.
#pragma once

#include "VXVideoRecorder/platform/CoreVideo.h"

#include <cstdint>
#include <vector>

namespace bench {

/// A desktop-like picture (flat areas, edges, some noise) that scrolls; a few frames are made ahead
/// and shown in turn, so that making them costs nothing while the clock runs.
class MovingPicture {
 public:
  static constexpr std::size_t kFrames = 16;

  MovingPicture(std::uint32_t width, std::uint32_t height, vx::OSType format)
      : _width(width), _height(height), _format(format) {
    for (std::size_t i = 0; i < kFrames; ++i) {
      _frames.push_back(isPlanar() ? planarFrame(i) : packedFrame(i));
    }
  }

  bool isPlanar() const { return _format == vx::kCVPixelFormatType_420YpCbCr8Planar; }
  std::uint32_t width() const { return _width; }
  std::uint32_t height() const { return _height; }
  vx::OSType format() const { return _format; }
  std::uint32_t bytesPerRow() const { return isPlanar() ? _width : _width * 4; }
  const std::vector<std::uint8_t>& frame(std::size_t i) const { return _frames[i % kFrames]; }

 private:
  // Text-like blocks in rows that scroll by 4 pixels a frame, and a diagonal that moves.
  std::uint8_t luma(std::uint32_t x, std::uint32_t y, std::size_t i) const {
    const std::uint32_t scrolled = y + static_cast<std::uint32_t>(i) * 4;
    const std::uint32_t cell = (x / 6 * 2654435761u) ^ (scrolled / 12 * 40503u);
    const bool ink = scrolled % 12 < 8 && (cell >> 13) % 3 == 0 && (x % 6 + scrolled % 4) % 3 != 0;
    const bool diagonal = (x + y + i * 16) % 512 < 24;
    return diagonal ? 150 : ink ? 40 : 225;
  }

  std::vector<std::uint8_t> planarFrame(std::size_t i) const {
    const std::size_t lumaBytes = std::size_t{_width} * _height;
    std::vector<std::uint8_t> bytes(lumaBytes + std::size_t{_width / 2} * ((_height + 1) / 2) * 2,
                                    128);
    for (std::uint32_t y = 0; y < _height; ++y) {
      for (std::uint32_t x = 0; x < _width; ++x) {
        bytes[std::size_t{y} * _width + x] = luma(x, y, i);
      }
    }
    return bytes;
  }

  std::vector<std::uint8_t> packedFrame(std::size_t i) const {
    std::vector<std::uint8_t> bytes(std::size_t{_width} * _height * 4, 255);
    for (std::uint32_t y = 0; y < _height; ++y) {
      for (std::uint32_t x = 0; x < _width; ++x) {
        std::uint8_t* pixel = &bytes[(std::size_t{y} * _width + x) * 4];
        pixel[0] = pixel[1] = pixel[2] = luma(x, y, i);
      }
    }
    return bytes;
  }

  std::uint32_t _width;
  std::uint32_t _height;
  vx::OSType _format;
  std::vector<std::vector<std::uint8_t>> _frames;
};

}  // namespace bench
