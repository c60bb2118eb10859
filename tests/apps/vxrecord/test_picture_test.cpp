#include "test_picture.h"

#include <gtest/gtest.h>

namespace vxrecord {
namespace {

struct Drawn {
  Drawn(int w, int h, std::uint32_t number)
      : width(w), height(h), bytesPerRow(static_cast<std::size_t>(w) * 4 + 8) {
    pixels.assign(bytesPerRow * static_cast<std::size_t>(h), 0xCC);
    TestPicture(w, h).draw(number, 12345, pixels.data(), bytesPerRow);
  }
  std::optional<std::uint32_t> number() const {
    return readFrameNumber(pixels.data(), bytesPerRow, width, height);
  }
  int width;
  int height;
  std::size_t bytesPerRow;
  std::vector<std::uint8_t> pixels;
};

TEST(TestPicture, CarriesItsNumber) {
  for (const std::uint32_t number : {0u, 1u, 77u, 0x80000001u, 0xFFFFFFFFu}) {
    EXPECT_EQ(Drawn(320, 240, number).number(), number);
    EXPECT_EQ(Drawn(1920, 1080, number).number(), number);
    EXPECT_EQ(Drawn(34, 1, number).number(), number);
  }
}

TEST(TestPicture, SmallPicturesCarryNone) {
  EXPECT_EQ(Drawn(1, 1, 5).number(), std::nullopt);
  EXPECT_EQ(Drawn(33, 100, 5).number(), std::nullopt);
}

TEST(TestPicture, LeavesTheEndOfTheRowsAlone) {
  const Drawn drawn(100, 50, 3);
  for (std::size_t y = 1; y <= 50; ++y) {
    EXPECT_EQ(drawn.pixels[y * drawn.bytesPerRow - 1], 0xCC);
    EXPECT_EQ(drawn.pixels[y * drawn.bytesPerRow - 8], 0xCC);
  }
}

TEST(TestPicture, Moves) { EXPECT_NE(Drawn(320, 240, 1).pixels, Drawn(320, 240, 2).pixels); }

TEST(TestPicture, BoxReachesTheEdgeAndTurns) {
  const auto isBoxAt = [](std::uint32_t number, std::size_t x) {
    const Drawn drawn(320, 240, number);
    const std::uint8_t* pixel = drawn.pixels.data() + 140 * drawn.bytesPerRow + x * 4;
    return pixel[0] == 0x00 && pixel[1] == 0x80 && pixel[2] == 0xFF;
  };
  EXPECT_FALSE(isBoxAt(69, 319));
  EXPECT_TRUE(isBoxAt(70, 319));
  EXPECT_TRUE(isBoxAt(70, 280));
  EXPECT_FALSE(isBoxAt(71, 319));
  EXPECT_TRUE(isBoxAt(71, 276));
}

TEST(FrameNumber, PictureOfOneColourHasNone) {
  const std::vector<std::uint8_t> white(320 * 240 * 4, 255);
  EXPECT_EQ(readFrameNumber(white.data(), 320 * 4, 320, 240), std::nullopt);
}

TEST(FrameNumber, PictureWithoutMarksHasNone) {
  const std::vector<std::uint8_t> gray(320 * 240 * 4, 60);
  EXPECT_EQ(readFrameNumber(gray.data(), 320 * 4, 320, 240), std::nullopt);
}

}  // namespace
}  // namespace vxrecord
