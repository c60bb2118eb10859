#include "test_picture.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace vxrecord {
namespace {

constexpr std::size_t kBytesPerPixel = 4;
constexpr std::uint32_t kWhite = 0x00FFFFFF;
constexpr std::uint32_t kBlack = 0x00000000;
constexpr std::uint32_t kBox = 0x00FF8000;
constexpr int kMostBlockSide = 32;
constexpr int kBoxStep = 4;           // pixels a frame
constexpr int kFramesPerSweep = 120;  // of the running line over the whole width
constexpr std::uint8_t kHalfBright = 128;

constexpr std::array<std::uint32_t, 8> kBars = {0x00FFFFFF, 0x00FFFF00, 0x0000FFFF, 0x0000FF00,
                                                0x00FF00FF, 0x00FF0000, 0x000000FF, 0x00404040};

// Rows of 3 bits a character: 0 to 9, colon, point.
constexpr int kGlyphWidth = 3;
constexpr int kGlyphHeight = 5;
constexpr std::array<std::array<std::uint8_t, kGlyphHeight>, 12> kGlyphs = {{
    {7, 5, 5, 5, 7},
    {2, 6, 2, 2, 7},
    {7, 1, 7, 4, 7},
    {7, 1, 3, 1, 7},
    {5, 5, 7, 1, 1},
    {7, 4, 7, 1, 7},
    {7, 4, 7, 5, 7},
    {7, 1, 2, 2, 2},
    {7, 5, 7, 5, 7},
    {7, 5, 7, 1, 7},
    {0, 2, 0, 2, 0},
    {0, 0, 0, 0, 2},
}};
constexpr int kColon = 10;
constexpr int kPoint = 11;

struct Area {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

/// A picture that clips what is drawn beyond its borders.
struct Canvas {
  std::uint8_t* pixels;
  std::size_t bytesPerRow;
  int width;
  int height;

  void fill(Area area, std::uint32_t color) const {
    const int left = std::max(area.x, 0);
    const int right = std::min(area.x + area.width, width);
    for (int y = std::max(area.y, 0); y < std::min(area.y + area.height, height); ++y) {
      std::uint8_t* row = pixels + static_cast<std::size_t>(y) * bytesPerRow;
      for (int x = left; x < right; ++x) {
        std::memcpy(row + static_cast<std::size_t>(x) * kBytesPerPixel, &color, kBytesPerPixel);
      }
    }
  }
};

// Bars above, a ramp from black to white in the lowest quarter.
std::uint32_t backgroundAt(int x, int y, int width, int height) {
  if (y < height - height / 4) {
    return kBars[static_cast<std::size_t>(x) * kBars.size() / static_cast<std::size_t>(width)];
  }
  const auto level =
      static_cast<std::uint32_t>(x) * 255u / static_cast<std::uint32_t>(std::max(width - 1, 1));
  return level << 16 | level << 8 | level;
}

// A position that runs from 0 to `range` and back again.
int bounced(std::uint32_t number, int step, int range) {
  if (range <= 0) {
    return 0;
  }
  const auto period = static_cast<std::uint64_t>(range) * 2;
  const auto position = static_cast<int>(static_cast<std::uint64_t>(number) *
                                         static_cast<std::uint64_t>(step) % period);
  return position <= range ? position : 2 * range - position;
}

std::array<int, 9> clockGlyphs(std::int64_t timeMs) {
  const auto digit = [timeMs](std::int64_t unitMs, std::int64_t base) {
    return static_cast<int>(timeMs / unitMs % base);
  };
  return {digit(600000, 10), digit(60000, 10), kColon,
          digit(10000, 6),   digit(1000, 10),  kPoint,
          digit(100, 10),    digit(10, 10),    digit(1, 10)};
}

}  // namespace

NumberBlocks NumberBlocks::inPicture(int width, int height) {
  return {std::min({width / (kMarks + kBits), height, kMostBlockSide})};
}

TestPicture::TestPicture(int width, int height)
    : _width(width),
      _height(height),
      _background(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {
  std::size_t next = 0;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      _background[next++] = backgroundAt(x, y, width, height);
    }
  }
}

void TestPicture::draw(std::uint32_t number, std::int64_t timeMs, std::uint8_t* pixels,
                       std::size_t bytesPerRow) const {
  const std::size_t rowBytes = static_cast<std::size_t>(_width) * kBytesPerPixel;
  for (int y = 0; y < _height; ++y) {
    std::memcpy(pixels + static_cast<std::size_t>(y) * bytesPerRow,
                _background.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(_width),
                rowBytes);
  }
  const Canvas canvas{pixels, bytesPerRow, _width, _height};
  const int side = std::max(std::min(_width, _height) / 6, 1);
  canvas.fill({bounced(number, kBoxStep, _width - side), bounced(number, kBoxStep, _height - side),
               side, side},
              kBox);
  const int sweep = static_cast<int>(static_cast<std::int64_t>(number % kFramesPerSweep) * _width /
                                     kFramesPerSweep);
  canvas.fill({sweep, 0, std::max(_width / 160, 1), _height}, kBlack);
  drawClock(timeMs, pixels, bytesPerRow);
  drawNumber(number, pixels, bytesPerRow);
}

FlashPlace FlashPlace::inPicture(int width, int height) {
  return {width / 2, height - height / 8, std::max(height / 5, 1)};
}

void TestPicture::drawFlash(bool isOn, std::uint8_t* pixels, std::size_t bytesPerRow) const {
  const Canvas canvas{pixels, bytesPerRow, _width, _height};
  const FlashPlace place = FlashPlace::inPicture(_width, _height);
  canvas.fill(
      {place.centerX - place.side / 2, place.centerY - place.side / 2, place.side, place.side},
      isOn ? kWhite : kBlack);
}

void TestPicture::drawNumber(std::uint32_t number, std::uint8_t* pixels,
                             std::size_t bytesPerRow) const {
  const NumberBlocks blocks = NumberBlocks::inPicture(_width, _height);
  const Canvas canvas{pixels, bytesPerRow, _width, _height};
  canvas.fill({0, 0, blocks.side, blocks.side}, kWhite);
  canvas.fill({blocks.side, 0, blocks.side, blocks.side}, kBlack);
  for (int bit = 0; bit < NumberBlocks::kBits; ++bit) {
    const bool isSet = (number >> (NumberBlocks::kBits - 1 - bit) & 1u) != 0;
    canvas.fill({(NumberBlocks::kMarks + bit) * blocks.side, 0, blocks.side, blocks.side},
                isSet ? kWhite : kBlack);
  }
}

void TestPicture::drawClock(std::int64_t timeMs, std::uint8_t* pixels,
                            std::size_t bytesPerRow) const {
  const int dot = std::min(_width / 80, _height / 24);
  const int advance = dot * (kGlyphWidth + 1);
  const std::array<int, 9> glyphs = clockGlyphs(timeMs);
  const Canvas canvas{pixels, bytesPerRow, _width, _height};
  const Area box{(_width - advance * static_cast<int>(glyphs.size())) / 2 - dot,
                 (_height - kGlyphHeight * dot) / 2 - dot,
                 advance * static_cast<int>(glyphs.size()) + dot, (kGlyphHeight + 2) * dot};
  canvas.fill(box, kBlack);
  for (std::size_t i = 0; i < glyphs.size(); ++i) {
    const auto& rows = kGlyphs[static_cast<std::size_t>(glyphs[i])];
    for (int y = 0; y < kGlyphHeight; ++y) {
      for (int x = 0; x < kGlyphWidth; ++x) {
        if ((rows[static_cast<std::size_t>(y)] >> (kGlyphWidth - 1 - x) & 1) != 0) {
          canvas.fill({box.x + dot + advance * static_cast<int>(i) + x * dot, box.y + dot + y * dot,
                       dot, dot},
                      kWhite);
        }
      }
    }
  }
}

std::optional<std::uint32_t> readFrameNumber(const std::uint8_t* pixels, std::size_t bytesPerRow,
                                             int width, int height) {
  const NumberBlocks blocks = NumberBlocks::inPicture(width, height);
  if (blocks.side == 0) {
    return std::nullopt;
  }
  const auto isWhite = [&](int block) {
    const std::size_t offset = static_cast<std::size_t>(blocks.centerY()) * bytesPerRow +
                               static_cast<std::size_t>(blocks.centerX(block)) * kBytesPerPixel;
    return pixels[offset + 1] >= kHalfBright;
  };
  if (!isWhite(0) || isWhite(1)) {
    return std::nullopt;
  }
  std::uint32_t number = 0;
  for (int bit = 0; bit < NumberBlocks::kBits; ++bit) {
    number = number << 1 | (isWhite(NumberBlocks::kMarks + bit) ? 1u : 0u);
  }
  return number;
}

}  // namespace vxrecord
