#include "x11_pixels.h"

#include <gtest/gtest.h>

#include <vector>

namespace vxrecord {
namespace {

constexpr PixelLayout k565 = {2, 0xF800, 0x07E0, 0x001F, false};
constexpr PixelLayout kDeep = {4, 0x3FF00000, 0x000FFC00, 0x000003FF, false};
constexpr PixelLayout kRedLast = {4, 0x0000FF, 0x00FF00, 0xFF0000, false};

std::vector<std::uint32_t> read(const PixelLayout& layout, const std::vector<std::uint8_t>& bytes) {
  const auto count = bytes.size() / layout.bytesPerPixel;
  std::vector<std::uint32_t> pixels(count);
  PixelReader(layout).readRow(bytes.data(), static_cast<int>(count), pixels.data());
  return pixels;
}

TEST(PixelLayout, RowsAreRoundedUpTo32Bits) {
  EXPECT_EQ(k565.bytesPerRow(3), 8u);
  EXPECT_EQ(k565.bytesPerRow(4), 8u);
  EXPECT_EQ(PixelLayout{}.bytesPerRow(3), 12u);
}

TEST(PixelReader, OwnLayoutIsCopied) {
  EXPECT_TRUE(PixelLayout{}.isOurs());
  EXPECT_EQ(read(PixelLayout{}, {1, 2, 3, 4, 5, 6, 7, 8}),
            (std::vector<std::uint32_t>{0x04030201, 0x08070605}));
}

TEST(PixelReader, SixteenBitsAreStretchedToTheFullRange) {
  EXPECT_EQ(read(k565, {0xFF, 0xFF, 0x00, 0x00, 0x00, 0xF8, 0xE0, 0x07, 0x1F, 0x00}),
            (std::vector<std::uint32_t>{0xFFFFFF, 0, 0xFF0000, 0x00FF00, 0x0000FF}));
}

TEST(PixelReader, TenBitsAreShortened) {
  EXPECT_EQ(read(kDeep, {0xFF, 0xFF, 0xFF, 0x3F, 0x00, 0x02, 0x00, 0x00}),
            (std::vector<std::uint32_t>{0xFFFFFF, 0x000080}));
}

TEST(PixelReader, ColoursInAnotherOrder) {
  EXPECT_EQ(read(kRedLast, {0x11, 0x22, 0x33, 0}), (std::vector<std::uint32_t>{0x112233}));
}

TEST(PixelReader, ServerOfTheOtherByteOrder) {
  PixelLayout layout;
  layout.isByteSwapped = true;
  EXPECT_FALSE(layout.isOurs());
  EXPECT_EQ(read(layout, {0, 0x11, 0x22, 0x33}), (std::vector<std::uint32_t>{0x112233}));
}

}  // namespace
}  // namespace vxrecord
