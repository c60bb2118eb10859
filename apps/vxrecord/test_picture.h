// The built-in moving picture: colour bars, a running line, a box that bounces, a clock, and the
// frame's number as a row of blocks that a program can read back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace vxrecord {

/// Draws into 32-bit pixels, in memory blue, green, red, unused.
class TestPicture {
 public:
  TestPicture(int width, int height);

  /// Draws frame `number`, shown at `timeMs`.
  void draw(std::uint32_t number, std::int64_t timeMs, std::uint8_t* pixels,
            std::size_t bytesPerRow) const;

  /// A square in the middle of the ramp, white for `isOn` and black otherwise.
  void drawFlash(bool isOn, std::uint8_t* pixels, std::size_t bytesPerRow) const;

 private:
  void drawNumber(std::uint32_t number, std::uint8_t* pixels, std::size_t bytesPerRow) const;
  void drawClock(std::int64_t timeMs, std::uint8_t* pixels, std::size_t bytesPerRow) const;

  int _width;
  int _height;
  std::vector<std::uint32_t> _background;
};

/// Where the flash is seen.
struct FlashPlace {
  int centerX = 0;
  int centerY = 0;
  int side = 0;

  static FlashPlace inPicture(int width, int height);
};

/// Where the blocks stand: 34 squares from the top left corner. The first is white and the second
/// black, so that a reader can tell a frame with a number; 32 bits follow, the highest first, white
/// for 1. A picture that is too small for squares of one pixel carries no number.
struct NumberBlocks {
  static constexpr int kMarks = 2;
  static constexpr int kBits = 32;
  int side = 0;  ///< of one square in pixels; 0 when the picture is too small

  static NumberBlocks inPicture(int width, int height);
  int centerX(int block) const { return block * side + side / 2; }
  int centerY() const { return side / 2; }
};

/// The number in a picture of 32-bit pixels laid out as `draw` does; absent without the marks.
std::optional<std::uint32_t> readFrameNumber(const std::uint8_t* pixels, std::size_t bytesPerRow,
                                             int width, int height);

}  // namespace vxrecord
