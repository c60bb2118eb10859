#include "frame_packer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>

extern "C" {
#include <libavutil/frame.h>
}

namespace vxrecord {
namespace {

PixelFormat formatNamed(const char* name) { return *pixelFormatNamed(name); }

/// A picture whose planes hold one value each.
LibavPointer<AVFrame> flat(AVPixelFormat format, int width, int height,
                           const std::array<int, 3>& values) {
  LibavPointer<AVFrame> frame = makeFrame();
  frame->format = format;
  frame->width = width;
  frame->height = height;
  EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
  for (std::size_t plane = 0; plane < 3 && frame->data[plane] != nullptr; ++plane) {
    const int rows = plane == 0 ? height : (height + 1) / 2;
    std::memset(frame->data[plane], values[plane],
                static_cast<std::size_t>(frame->linesize[plane]) * static_cast<std::size_t>(rows));
  }
  return frame;
}

void expectNear(const std::uint8_t* bytes, const std::vector<int>& wanted, int tolerance = 1) {
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    EXPECT_LE(std::abs(bytes[i] - wanted[i]), tolerance) << "byte " << i << " is " << +bytes[i];
  }
}

TEST(FramePacker, VideoRangeBt601PassesUnchanged) {
  FramePacker packer(formatNamed("y420"));
  const auto source = flat(AV_PIX_FMT_YUV420P, 6, 4, {50, 100, 150});
  const PackedFrame frame = packer.pack(*source);
  EXPECT_EQ(frame.sizeBytes, 6u * 4 + 2 * 3 * 2);
  expectNear(frame.bytes, {50, 50, 50, 50, 50, 50}, 0);
  expectNear(frame.bytes + 24, {100, 100, 100, 100, 100, 100, 150}, 0);
}

TEST(FramePacker, OddSizesHaveColourPlanesRoundedDownAndUp) {
  FramePacker packer(formatNamed("y420"));
  const auto source = flat(AV_PIX_FMT_YUV420P, 5, 3, {50, 100, 150});
  const PackedFrame frame = packer.pack(*source);
  EXPECT_EQ(frame.sizeBytes, 5u * 3 + 2 * 2 * 2);
  expectNear(frame.bytes + 15, {100, 100, 100, 100, 150, 150, 150, 150}, 0);
}

TEST(FramePacker, SinglePixelHasLumaAlone) {
  FramePacker packer(formatNamed("y420"));
  const auto source = flat(AV_PIX_FMT_BGR0, 1, 1, {255, 0, 0});
  const PackedFrame frame = packer.pack(*source);
  EXPECT_EQ(frame.sizeBytes, 1u);
  expectNear(frame.bytes, {235});
}

TEST(FramePacker, Bt709BecomesBt601) {
  FramePacker packer(formatNamed("y420"));
  // Pure green: Y'CbCr 173 42 26 by BT.709, 145 54 34 by BT.601.
  auto source = flat(AV_PIX_FMT_YUV420P, 16, 16, {173, 42, 26});
  source->colorspace = AVCOL_SPC_BT709;
  const PackedFrame frame = packer.pack(*source);
  expectNear(frame.bytes + 16 * 8 + 8, {145}, 2);
  expectNear(frame.bytes + 256 + 8 * 4 + 4, {54}, 2);
  expectNear(frame.bytes + 256 + 64 + 8 * 4 + 4, {34}, 2);
}

TEST(FramePacker, FullRangeBecomesVideoRange) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUV420P}) {
    FramePacker packer(formatNamed("y420"));
    auto source = flat(format, 16, 16, {255, 128, 128});
    source->color_range = AVCOL_RANGE_JPEG;
    const PackedFrame frame = packer.pack(*source);
    expectNear(frame.bytes, {235});
    expectNear(frame.bytes + 256, {128});
  }
}

TEST(FramePacker, PackedFormatsHoldTheirLettersInOrder) {
  const auto red = flat(AV_PIX_FMT_YUV420P, 16, 16, {81, 90, 240});
  const auto expectBytes = [&](const char* name, const std::vector<int>& wanted) {
    FramePacker packer(formatNamed(name));
    SCOPED_TRACE(name);
    expectNear(packer.pack(*red).bytes, wanted, 2);
  };
  expectBytes("BGRA", {0, 0, 255, 255});
  expectBytes("ARGB", {255, 255, 0, 0});
  expectBytes("RGBA", {255, 0, 0, 255});
  expectBytes("ABGR", {255, 0, 0, 255});
  expectBytes("RGB", {255, 0, 0, 255, 0, 0});
  expectBytes("BGR", {0, 0, 255, 0, 0, 255});
  expectBytes("2vuy", {90, 81, 240, 81});
  expectBytes("yuvs", {81, 90, 81, 240});
  expectBytes("gray", {76, 76});
}

TEST(FramePacker, DisplayPixelsAreHandedOnWithoutACopy) {
  FramePacker packer(formatNamed("BGRA"));
  const auto source = flat(AV_PIX_FMT_BGR0, 33, 5, {7, 0, 0});
  const PackedFrame frame = packer.pack(*source);
  EXPECT_EQ(frame.bytes, source->data[0]);
  EXPECT_EQ(frame.bytesPerRow, static_cast<std::uint32_t>(source->linesize[0]));
}

TEST(FramePacker, GrayIsOfFullRangeUnlessItIsMarked) {
  FramePacker packer(formatNamed("y420"));
  const auto source = flat(AV_PIX_FMT_GRAY8, 16, 4, {235, 0, 0});
  expectNear(packer.pack(*source).bytes, {218});
  source->color_range = AVCOL_RANGE_MPEG;
  expectNear(packer.pack(*source).bytes, {235});
}

TEST(FramePacker, GrayOfVideoRangeIsStretchedForAGrayRecording) {
  FramePacker packer(formatNamed("gray"));
  const auto source = flat(AV_PIX_FMT_GRAY8, 16, 4, {235, 0, 0});
  source->color_range = AVCOL_RANGE_MPEG;
  expectNear(packer.pack(*source).bytes, {255}, 0);
  source->color_range = AVCOL_RANGE_JPEG;
  expectNear(packer.pack(*source).bytes, {235}, 0);
  const auto black = flat(AV_PIX_FMT_GRAY8, 16, 4, {16, 0, 0});
  black->color_range = AVCOL_RANGE_MPEG;
  expectNear(packer.pack(*black).bytes, {0}, 0);
}

TEST(FramePacker, RowsThatAreStoredUpwardsAreTurned) {
  FramePacker packer(formatNamed("BGRA"));
  const auto source = flat(AV_PIX_FMT_BGRA, 16, 2, {7, 0, 0});
  std::memset(source->data[0], 9, 16 * 4);
  source->data[0] += source->linesize[0];
  source->linesize[0] = -source->linesize[0];
  const PackedFrame frame = packer.pack(*source);
  expectNear(frame.bytes, {7}, 0);
  expectNear(frame.bytes + frame.bytesPerRow, {9}, 0);
}

TEST(FramePacker, GoesOnBehindAPictureThatCannotBeConverted) {
  FramePacker packer(formatNamed("gray"));
  const auto source = flat(AV_PIX_FMT_YUV420P, 16, 4, {235, 128, 128});
  packer.pack(*source);
  const LibavPointer<AVFrame> onADevice = makeFrame();
  onADevice->format = AV_PIX_FMT_VAAPI;
  onADevice->width = 16;
  onADevice->height = 4;
  EXPECT_THROW(packer.pack(*onADevice), std::runtime_error);
  expectNear(packer.pack(*source).bytes, {255});
}

TEST(FramePacker, SourceMayChangeItsSizeAndFormat) {
  FramePacker packer(formatNamed("RGB"));
  EXPECT_EQ(packer.pack(*flat(AV_PIX_FMT_YUV420P, 32, 20, {16, 128, 128})).width, 32u);
  const auto white = flat(AV_PIX_FMT_GRAY8, 7, 3, {255, 0, 0});
  const PackedFrame frame = packer.pack(*white);
  EXPECT_EQ(frame.width, 7u);
  EXPECT_EQ(frame.height, 3u);
  expectNear(frame.bytes, {255, 255, 255});
}

}  // namespace
}  // namespace vxrecord
