#include "platform/avfoundation/encoder/frame_converter.h"

#include "support/pixel_buffers.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace vx {
namespace {

constexpr std::array<int, 3> kBlackSample = {16, 128, 128};
constexpr std::array<int, 3> kWhiteSample = {235, 128, 128};

/// Luma and the chroma that belongs to it at a place of the picture.
std::array<int, 3> sampleAt(const PlanarPicture& picture, int x, int y) {
  return {picture.planes[0][y * picture.bytesPerRow[0] + x],
          picture.planes[1][y / 2 * picture.bytesPerRow[1] + x / 2],
          picture.planes[2][y / 2 * picture.bytesPerRow[2] + x / 2]};
}

RGB colourAt(const PlanarPicture& picture, int x, int y) {
  const auto [luma, cb, cr] = sampleAt(picture, x, y);
  return decoded(luma, cb, cr);
}

int brightestLuma(const PlanarPicture& picture) {
  int brightest = 0;
  for (int y = 0; y < picture.height; ++y) {
    const std::uint8_t* row = picture.planes[0] + y * picture.bytesPerRow[0];
    brightest = std::max<int>(brightest, *std::max_element(row, row + picture.width));
  }
  return brightest;
}

PlanarPicture converted(FrameConverter& converter, const PixelBuffer& buffer) {
  PlanarPicture picture;
  const Status status = converter.convert(buffer.get(), picture);
  EXPECT_TRUE(status.ok());
  return picture;
}

PixelBuffer uniform(std::size_t width, std::size_t height, OSType format, RGB colour) {
  PixelBuffer buffer = makePixelBuffer(width, height, format);
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      setPixel(buffer, x, y, colour);
    }
  }
  return buffer;
}

/// Y'CbCr with a value of its own at each place.
PixelBuffer numbered(std::size_t width, std::size_t height) {
  PixelBuffer buffer = makePixelBuffer(width, height, kCVPixelFormatType_420YpCbCr8Planar);
  std::uint8_t value = 16;
  for (std::size_t plane = 0; plane < 3; ++plane) {
    for (std::size_t y = 0; y < CVPixelBufferGetHeightOfPlane(buffer.get(), plane); ++y) {
      for (std::size_t x = 0; x < CVPixelBufferGetWidthOfPlane(buffer.get(), plane); ++x) {
        rowOf(buffer, y, plane)[x] = value++;
      }
    }
  }
  return buffer;
}

class RGBFormats : public testing::TestWithParam<OSType> {};

INSTANTIATE_TEST_SUITE_P(FrameConverter, RGBFormats, testing::ValuesIn(kRGBPixelFormats),
                         [](const auto& test) { return nameOfPixelFormat(test.param); });

TEST_P(RGBFormats, ColoursDecodeToWithinTwo) {
  // Blocks of 2 x 2 pixels, so that each colour has its own chroma.
  constexpr int kSteps = 18, kStep = 15;
  PixelBuffer buffer = makePixelBuffer(2 * kSteps * kSteps, 2 * kSteps, GetParam());
  const auto colourOf = [](int x, int y) {
    return RGB{x / 2 % kSteps * kStep, x / 2 / kSteps * kStep, y / 2 * kStep};
  };
  for (int y = 0; y < 2 * kSteps; ++y) {
    for (int x = 0; x < 2 * kSteps * kSteps; ++x) {
      setPixel(buffer, std::size_t(x), std::size_t(y), colourOf(x, y));
    }
  }
  FrameConverter converter(2 * kSteps * kSteps, 2 * kSteps);
  const PlanarPicture picture = converted(converter, buffer);
  int worst = 0;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      worst = std::max(worst, distance(colourAt(picture, x, y), colourOf(x, y)));
    }
  }
  EXPECT_LE(worst, 2);
}

TEST_P(RGBFormats, OddSizesRepeatTheLastColumnAndRow) {
  FrameConverter converter(3, 5);
  PixelBuffer buffer = uniform(3, 5, GetParam(), {200, 100, 50});
  setPixel(buffer, 2, 4, {0, 0, 255});
  const PlanarPicture picture = converted(converter, buffer);
  EXPECT_EQ(picture.width, 4);
  EXPECT_EQ(picture.height, 6);
  for (int y = 4; y < 6; ++y) {
    for (int x = 2; x < 4; ++x) {
      EXPECT_LE(distance(colourAt(picture, x, y), {0, 0, 255}), 2) << x << " " << y;
    }
  }
  EXPECT_LE(distance(colourAt(picture, 3, 0), {200, 100, 50}), 2);
  EXPECT_LE(distance(colourAt(picture, 0, 5), {200, 100, 50}), 2);
}

TEST_P(RGBFormats, ColourOfTwoRowsIsTheirMean) {
  FrameConverter converter(2, 2);
  PixelBuffer buffer = uniform(2, 2, GetParam(), {200, 40, 40});
  setPixel(buffer, 0, 1, {40, 40, 200});
  setPixel(buffer, 1, 1, {40, 40, 200});
  const auto [luma, cb, cr] = sampleAt(converted(converter, buffer), 0, 0);
  const double gray = 0.299 * 120 + 0.587 * 40 + 0.114 * 120;
  EXPECT_NEAR(cb, 128 + (120 - gray) / 1.772 * 224 / 255, 1);
  EXPECT_NEAR(cr, 128 + (120 - gray) / 1.402 * 224 / 255, 1);
}

TEST(FrameConverter, AlphaIsIgnored) {
  FrameConverter converter(8, 8);
  for (const OSType format : kRGBPixelFormats) {
    for (const int alpha : {0, 128, 255}) {
      const PixelBuffer buffer = makePixelBuffer(8, 8, format);
      std::memset(rowOf(buffer, 0), alpha, CVPixelBufferGetDataSize(buffer.get()));
      for (std::size_t i = 0; i < 64; ++i) {
        setPixel(buffer, i % 8, i / 8, {255, 255, 255});
      }
      EXPECT_EQ(sampleAt(converted(converter, buffer), 3, 3), kWhiteSample)
          << nameOfPixelFormat(format);
    }
  }
}

TEST(FrameConverter, GrayBecomesVideoRange) {
  PixelBuffer buffer = makePixelBuffer(256, 2, kCVPixelFormatType_OneComponent8);
  for (std::size_t x = 0; x < 256; ++x) {
    rowOf(buffer, 0)[x] = rowOf(buffer, 1)[x] = static_cast<std::uint8_t>(x);
  }
  FrameConverter converter(256, 2);
  const PlanarPicture picture = converted(converter, buffer);
  for (int x = 0; x < 256; ++x) {
    const int luma = static_cast<int>(std::lround(16 + x * 219.0 / 255.0));
    EXPECT_EQ(sampleAt(picture, x, 1), (std::array<int, 3>{luma, 128, 128}));
  }
}

TEST(FrameConverter, PackedYCbCrKeepsItsValues) {
  FrameConverter converter(4, 2);
  for (const OSType format : {kCVPixelFormatType_422YpCbCr8, kCVPixelFormatType_422YpCbCr8_yuvs}) {
    const std::size_t lumaAt = format == kCVPixelFormatType_422YpCbCr8 ? 1 : 0;
    PixelBuffer buffer = makePixelBuffer(4, 2, format);
    for (std::size_t y = 0; y < 2; ++y) {
      for (std::size_t x = 0; x < 4; ++x) {
        rowOf(buffer, y)[2 * x + lumaAt] = static_cast<std::uint8_t>(20 + x + 10 * y);
        rowOf(buffer, y)[2 * x + 1 - lumaAt] = static_cast<std::uint8_t>(x % 2 == 0 ? 90 : 160);
      }
    }
    const PlanarPicture picture = converted(converter, buffer);
    EXPECT_EQ(sampleAt(picture, 3, 1), (std::array<int, 3>{33, 90, 160}));
    EXPECT_EQ(sampleAt(picture, 0, 0), (std::array<int, 3>{20, 90, 160}));
  }
}

TEST(FrameConverter, NewBuffersAreBlackInEveryFormat) {
  for (const OSType format : kAllPixelFormats) {
    for (const int side : {1, 2, 5, 8}) {
      FrameConverter converter(side, side);
      const PixelBuffer buffer = makePixelBuffer(std::size_t(side), std::size_t(side), format);
      const PlanarPicture picture = converted(converter, buffer);
      EXPECT_EQ(sampleAt(picture, side - 1, side - 1), kBlackSample) << nameOfPixelFormat(format);
      EXPECT_EQ(picture.width, side + side % 2);
    }
  }
}

TEST(FrameConverter, EvenPlanarBufferIsPassedOnWithoutACopy) {
  FrameConverter converter(6, 4);
  const PixelBuffer buffer = numbered(6, 4);
  const PlanarPicture picture = converted(converter, buffer);
  for (std::size_t plane = 0; plane < 3; ++plane) {
    EXPECT_EQ(picture.planes[plane], rowOf(buffer, 0, plane));
    EXPECT_EQ(picture.bytesPerRow[plane], plane == 0 ? 6 : 3);
  }
}

TEST(FrameConverter, OddPlanarBufferIsPadded) {
  FrameConverter converter(5, 3);
  const PixelBuffer buffer = numbered(5, 3);
  const PlanarPicture picture = converted(converter, buffer);
  ASSERT_EQ(picture.width, 6);
  ASSERT_EQ(picture.height, 4);
  const int lastLuma = rowOf(buffer, 2)[4];
  const std::array<int, 3> corner = {lastLuma, rowOf(buffer, 1, 1)[2], rowOf(buffer, 1, 2)[2]};
  EXPECT_EQ(sampleAt(picture, 5, 3), corner);
  EXPECT_EQ(sampleAt(picture, 4, 3), corner);
  EXPECT_EQ(sampleAt(picture, 5, 2), corner);
  EXPECT_EQ(sampleAt(picture, 0, 1)[0], rowOf(buffer, 1)[0]);
}

TEST(FrameConverter, WiderPictureGetsBarsAboveAndBelow) {
  FrameConverter converter(64, 64);
  const PixelBuffer buffer = uniform(128, 64, kCVPixelFormatType_32BGRA, {255, 255, 255});
  const PlanarPicture picture = converted(converter, buffer);
  EXPECT_EQ(sampleAt(picture, 32, 15), kBlackSample);
  EXPECT_EQ(sampleAt(picture, 0, 16), kWhiteSample);
  EXPECT_EQ(sampleAt(picture, 63, 47), kWhiteSample);
  EXPECT_EQ(sampleAt(picture, 32, 48), kBlackSample);
}

TEST(FrameConverter, TallerPictureGetsBarsAtTheSides) {
  FrameConverter converter(64, 32);
  const PixelBuffer buffer = uniform(8, 8, kCVPixelFormatType_24RGB, {255, 255, 255});
  const PlanarPicture picture = converted(converter, buffer);
  EXPECT_EQ(sampleAt(picture, 15, 16), kBlackSample);
  EXPECT_EQ(sampleAt(picture, 16, 0), kWhiteSample);
  EXPECT_EQ(sampleAt(picture, 47, 31), kWhiteSample);
  EXPECT_EQ(sampleAt(picture, 48, 16), kBlackSample);
}

TEST(FrameConverter, FittedPictureKeepsItsColours) {
  FrameConverter converter(40, 30);
  for (const OSType format : kRGBPixelFormats) {
    const PixelBuffer buffer = uniform(97, 53, format, {180, 40, 90});
    EXPECT_LE(distance(colourAt(converted(converter, buffer), 20, 15), {180, 40, 90}), 2);
  }
}

TEST(FrameConverter, MuchLargerPictureKeepsItsBrightness) {
  for (const std::size_t side : {101u, 500u, 2403u}) {
    FrameConverter converter(16, 16);
    const PixelBuffer buffer = makePixelBuffer(side, side, kCVPixelFormatType_OneComponent8);
    std::memset(rowOf(buffer, 0), 0xff, CVPixelBufferGetDataSize(buffer.get()));
    const PlanarPicture picture = converted(converter, buffer);
    for (const auto& [x, y] : {std::pair{0, 0}, {15, 15}, {7, 8}}) {
      const auto [luma, cb, cr] = sampleAt(picture, x, y);
      EXPECT_NEAR(luma, 235, 1) << side;
      EXPECT_NEAR(cb, 128, 1) << side;
      EXPECT_NEAR(cr, 128, 1) << side;
    }
  }
}

TEST(FrameConverter, MuchLargerPictureStaysInItsPlace) {
  // A white right half: nothing may move by as much as a pixel on the way down.
  const PixelBuffer buffer = makePixelBuffer(1607, 1603, kCVPixelFormatType_OneComponent8);
  for (std::size_t y = 0; y < 1603; ++y) {
    std::memset(rowOf(buffer, y) + 803, 0xff, 804);
  }
  FrameConverter converter(16, 16);
  const PlanarPicture picture = converted(converter, buffer);
  EXPECT_NEAR(sampleAt(picture, 6, 8)[0], 16, 1);
  EXPECT_NEAR(sampleAt(picture, 9, 8)[0], 235, 1);
}

TEST(FrameConverter, BordersAreBlackAgainAfterAPictureThatFilledThem) {
  FrameConverter converter(32, 32);
  converted(converter, uniform(32, 32, kCVPixelFormatType_32BGRA, {255, 255, 255}));
  converted(converter, uniform(64, 64, kCVPixelFormatType_32BGRA, {255, 255, 255}));
  const PixelBuffer wide = uniform(32, 16, kCVPixelFormatType_32BGRA, {255, 255, 255});
  EXPECT_EQ(sampleAt(converted(converter, wide), 16, 2), kBlackSample);
  const PixelBuffer tall = uniform(16, 32, kCVPixelFormatType_32BGRA, {255, 255, 255});
  EXPECT_EQ(sampleAt(converted(converter, tall), 2, 16), kBlackSample);
  EXPECT_EQ(sampleAt(converted(converter, wide), 16, 2), kBlackSample);
  converted(converter, uniform(32, 32, kCVPixelFormatType_32BGRA, {255, 255, 255}));
  EXPECT_EQ(sampleAt(converted(converter, wide), 16, 2), kBlackSample) << "the same one again";
}

TEST(FrameConverter, FormatAndSizeMayChangeWithEveryFrame) {
  FrameConverter converter(62, 35);
  for (std::size_t round = 1; round <= 40; ++round) {
    const OSType format = kAllPixelFormats[round % std::size(kAllPixelFormats)];
    const bool hasTrackSize = round % 3 == 0;
    const PixelBuffer buffer = makePixelBuffer(hasTrackSize ? 62 : round * 7 % 90 + 1,
                                               hasTrackSize ? 35 : round * 11 % 70 + 1, format);
    const PlanarPicture picture = converted(converter, buffer);
    EXPECT_EQ(picture.width, 62);
    EXPECT_EQ(picture.height, 36);
    EXPECT_EQ(sampleAt(picture, 61, 35), kBlackSample) << round;
    EXPECT_EQ(sampleAt(picture, 31, 17), kBlackSample) << round;
  }
}

TEST(FrameConverter, ExtremeShapesAreConverted) {
  struct Shape {
    int width, height;
  };
  constexpr Shape kShapes[] = {{1, 1}, {16384, 2}, {2, 16384}, {1, 999}, {999, 1}, {2, 2}};
  for (const Shape& track : kShapes) {
    FrameConverter converter(track.width, track.height);
    for (const Shape& shape : kShapes) {
      const PixelBuffer buffer = makePixelBuffer(
          std::size_t(shape.width), std::size_t(shape.height), kCVPixelFormatType_OneComponent8);
      std::memset(rowOf(buffer, 0), 0xff, CVPixelBufferGetDataSize(buffer.get()));
      const PlanarPicture picture = converted(converter, buffer);
      EXPECT_EQ(brightestLuma(picture), kWhiteSample[0])
          << shape.width << "x" << shape.height << " in " << track.width << "x" << track.height;
    }
  }
}

TEST(FrameConverter, SidesBeyondTheScalersReachAreFittedToo) {
  for (const auto& [width, height] : {std::pair<std::size_t, std::size_t>{40000, 2}, {2, 65535}}) {
    const PixelBuffer buffer = uniform(width, height, kCVPixelFormatType_32BGRA, {255, 255, 255});
    FrameConverter converter(64, 64);
    const PlanarPicture picture = converted(converter, buffer);
    EXPECT_EQ(picture.width, 64);
    EXPECT_EQ(picture.height, 64);
    EXPECT_EQ(brightestLuma(picture), kWhiteSample[0]) << width << "x" << height;
  }
}

TEST(FrameConverter, NoPictureIsAnError) {
  FrameConverter converter(64, 64);
  PlanarPicture picture;
  EXPECT_FALSE(converter.convert(nullptr, picture).ok());
}

}  // namespace
}  // namespace vx
