#include "platform/avfoundation/encoder/picture_detail.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

namespace vx {
namespace {

double detailOfLuma(int width, int height, const std::function<int(int, int)>& luma) {
  std::vector<std::uint8_t> bytes;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      bytes.push_back(static_cast<std::uint8_t>(luma(x, y)));
    }
  }
  return detailOf({width, height, {bytes.data(), nullptr, nullptr}, {width, 0, 0}});
}

TEST(PictureDetail, OneColourHasNone) {
  EXPECT_EQ(detailOfLuma(64, 64, [](int, int) { return 77; }), 0);
}

TEST(PictureDetail, StripesInEitherDirectionHaveNone) {
  EXPECT_EQ(detailOfLuma(64, 64, [](int x, int) { return x / 4 % 2 * 200; }), 0);
  EXPECT_EQ(detailOfLuma(64, 64, [](int, int y) { return y / 4 % 2 * 200; }), 0);
}

TEST(PictureDetail, IsWhatNeighboursDifferBy) {
  // At half the resolution each pixel is 2 more than those before it, and a block has 64.
  EXPECT_EQ(detailOfLuma(64, 64, [](int x, int y) { return x + y; }), 2 * 64);
}

TEST(PictureDetail, NoiseHasMost) {
  std::minstd_rand random(1);
  EXPECT_GT(detailOfLuma(320, 240, [&](int, int) { return static_cast<int>(random() % 256); }),
            2000);
}

TEST(PictureDetail, PicturesSmallerThanTwoBlocksHaveNone) {
  EXPECT_EQ(detailOfLuma(2, 2, [](int x, int) { return x * 255; }), 0);
  EXPECT_EQ(detailOfLuma(30, 30, [](int x, int y) { return x * y; }), 0);
}

}  // namespace
}  // namespace vx
