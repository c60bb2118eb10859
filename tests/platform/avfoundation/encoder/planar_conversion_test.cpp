#include "platform/avfoundation/encoder/planar_conversion.h"

#include "platform/avfoundation/encoder/chroma_row.h"
#include "support/guarded_bytes.h"
#include "support/pixel_buffers.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace vx {
namespace {

int bytesPerRowOf(OSType format, int width) {
  const PixelBuffer buffer = makePixelBuffer(std::size_t(width), 1, format);
  return static_cast<int>(CVPixelBufferGetBytesPerRow(buffer.get()));
}

/// Planes that end where nothing may be written.
struct GuardedPlanes {
  GuardedPlanes(int width, int height)
      : luma(std::size_t(width) * std::size_t(height)),
        cb(std::size_t((width + 1) / 2) * std::size_t((height + 1) / 2)),
        cr(cb.size()),
        target{{luma.data(), cb.data(), cr.data()}, {width, (width + 1) / 2, (width + 1) / 2}} {}
  GuardedBytes luma, cb, cr;
  PlanarTarget target;
};

class PackedFormats : public testing::TestWithParam<OSType> {};

INSTANTIATE_TEST_SUITE_P(PlanarConversion, PackedFormats,
                         testing::ValuesIn(std::begin(kAllPixelFormats) + 1,
                                           std::end(kAllPixelFormats)),
                         [](const auto& test) { return nameOfPixelFormat(test.param); });

TEST_P(PackedFormats, NothingBeyondThePixelsIsTouched) {
  std::vector<std::uint8_t> rowMemory;
  for (const int height : {1, 2, 3}) {
    for (int width = 1; width <= 80; ++width) {
      const int bytesPerRow = bytesPerRowOf(GetParam(), width);
      const GuardedBytes bytes(std::size_t(bytesPerRow) * std::size_t(height));
      const GuardedPlanes planes(width, height);
      EXPECT_TRUE(convertToPlanar({GetParam(), width, height, bytes.data(), bytesPerRow},
                                  planes.target, rowMemory));
    }
  }
}

TEST(PlanarConversion, PlanarFormatIsNotTaken) {
  std::vector<std::uint8_t> rowMemory;
  EXPECT_FALSE(
      convertToPlanar({kCVPixelFormatType_420YpCbCr8Planar, 2, 2, nullptr, 2}, {}, rowMemory));
}

TEST(ChromaRow, IsTheRoundedMeanOfFourPixels) {
  std::mt19937 random(7);
  for (int width = 1; width <= 70; ++width) {
    std::vector<std::uint8_t> rows(std::size_t(width) * 8);
    for (std::uint8_t& byte : rows) {
      byte = static_cast<std::uint8_t>(random());
    }
    const std::uint8_t* upper = rows.data();
    const std::uint8_t* lower = rows.data() + width * 4;
    const auto chromaWidth = std::size_t((width + 1) / 2);
    std::vector<std::uint8_t> cb(chromaWidth), cr(chromaWidth);
    chromaRowFromBGRA(upper, lower, width, cb.data(), cr.data());
    for (int x = 0; x < width; x += 2) {
      const int right = std::min(x + 1, width - 1);
      const auto mean = [&](int channel) {
        return (upper[4 * x + channel] + upper[4 * right + channel] + lower[4 * x + channel] +
                lower[4 * right + channel]) /
               4.0;
      };
      const double gray = 0.299 * mean(2) + 0.587 * mean(1) + 0.114 * mean(0);
      EXPECT_NEAR(cb[std::size_t(x / 2)], 128 + (mean(0) - gray) / 1.772 * 224 / 255, 0.52);
      EXPECT_NEAR(cr[std::size_t(x / 2)], 128 + (mean(2) - gray) / 1.402 * 224 / 255, 0.52);
    }
  }
}

}  // namespace
}  // namespace vx
