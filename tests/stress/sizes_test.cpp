// Sizes and formats at their limits, from buffers that end exactly where the header says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <iterator>

#include "stress/form.h"
#include "support/frame_source.h"
#include "support/guarded_bytes.h"
#include "support/movie_checker.h"
#include "support/pixel_formats.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

constexpr Rgb kColor{200, 60, 40};
constexpr int kLuma = 100;      // of that colour, as a gray value
constexpr int kTolerance = 12;  // of the coder, in 255

/// Hands the frame over in memory that ends with its last byte that may be read.
void appendGuarded(DrivenRecorder& driven, const SourceFrame& frame, std::uint32_t timeMs) {
  const std::size_t length = VXVideoRecorder::frameBufferLength(frame.format, frame.width,
                                                                frame.height, frame.bytesPerRow);
  const GuardedBytes exact(length);
  std::memcpy(exact.data(), frame.bytes.data(), std::min(length, frame.bytes.size()));
  if (const auto input = driven.recorder().videoWriterInput()) {
    ASSERT_TRUE(input->waitUntilReadyForMoreMediaData(std::chrono::minutes(1)));
  }
  driven.recorder().appendVideoSample(
      {{"timestamp", timeMs},
       {"frameBuffer", NSData::dataWithBytesNoCopy(exact.data(), length)},
       {"pixelFormatType", frame.format},
       {"width", frame.width},
       {"height", frame.height},
       {"bytesPerRow", frame.bytesPerRow}});
}

void expectColor(const Picture& picture, OSType format) {
  Rgb expected = kColor;
  if (format == kCVPixelFormatType_OneComponent8) {
    expected = {kColor.red, kColor.red, kColor.red};
  } else if (format == kCVPixelFormatType_420YpCbCr8Planar && picture.width == 1) {
    expected = {kLuma, kLuma, kLuma};  // one column has no colour samples in this format
  }
  const Rgb seen = picture.at(picture.width / 2, picture.height / 2);
  EXPECT_LE(distance(seen, expected), kTolerance)
      << seen.red << " " << seen.green << " " << seen.blue;
}

struct Size {
  int width = 0;
  int height = 0;

  friend void PrintTo(const Size& size, std::ostream* out) {
    *out << size.width << "x" << size.height;
  }
};

class FrameOf : public testing::TestWithParam<Size> {
 protected:
  static void TearDownTestSuite() {
    if (testing::UnitTest::GetInstance()->current_test_suite()->Failed()) return;
    report("frames of 1x1, 1366x767 and 16384x2 from buffers that end where they may be read | " +
           std::to_string(3 * std::size(kAllPixelFormats)) +
           " recordings | nothing: the right picture");
  }
};

TEST_P(FrameOf, AnyFormatIsReadToItsEndAndShown) {
  const auto [width, height] = GetParam();
  for (const OSType format : kAllPixelFormats) {
    SCOPED_TRACE(format);
    const TemporaryFolder folder;
    const auto driven = DrivenRecorder::make(folder.path(), "size.mp4");
    const SourceFrame frame = makeSourceFrame(format, width, height, plain(kColor));
    for (std::uint32_t i = 0; i < 2; ++i) {
      appendGuarded(*driven, frame, i * 40);
    }
    ASSERT_TRUE(driven->stop());
    EXPECT_THAT(checkMovieFile(driven->path()).findings, testing::IsEmpty());
    const std::vector<Picture> pictures = decodePictures(driven->path());
    ASSERT_EQ(pictures.size(), 2U);
    EXPECT_EQ(readFile(driven->path()).video().width, width);
    EXPECT_EQ(readFile(driven->path()).video().height, height);
    expectColor(pictures.front(), format);
  }
}

INSTANTIATE_TEST_SUITE_P(All, FrameOf, testing::Values(Size{1, 1}, Size{1366, 767}, Size{16384, 2}),
                         [](const auto& size) {
                           return std::to_string(size.param.width) + "x" +
                                  std::to_string(size.param.height);
                         });

TEST(FramesOf, ADifferentSizeAndFormatEachAreAllShown) {
  const TemporaryFolder folder;
  const auto driven = DrivenRecorder::make(folder.path(), "changing.mp4");
  Chance chance;
  const int frames = rounds(60, 2000);
  std::vector<OSType> formats;
  for (int i = 0; i < frames; ++i) {
    // No size comes twice, because a size keeps the format that it first came in.
    const int width = 64 + i % 1000;
    // Not so flat that all of it is edge, where the coder mixes it with the borders.
    const int height =
        48 + i % 1000 / 2 + i / 1000 * 200 + static_cast<int>(chance.between(0, 100));
    formats.push_back(kAllPixelFormats[chance.between(0, std::size(kAllPixelFormats) - 1)]);
    appendGuarded(*driven, makeSourceFrame(formats.back(), width, height, plain(kColor)),
                  static_cast<std::uint32_t>(i * 40));
  }
  ASSERT_TRUE(driven->stop());
  EXPECT_THAT(checkMovieFile(driven->path()).findings, testing::IsEmpty());
  const std::vector<Picture> pictures = decodePictures(driven->path());
  ASSERT_EQ(pictures.size(), formats.size());
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    SCOPED_TRACE(i);
    expectColor(pictures[i], formats[i]);
  }
  report("another size and format with every frame | " + std::to_string(frames) +
         " frames | nothing: the right picture");
}

TEST(FramesOf, AnUnknownFormatAreLostWithTheirLine) {
  const TemporaryFolder folder;
  const auto driven = DrivenRecorder::make(folder.path(), "unknown.mp4");
  SourceFrame known = makeSourceFrame(kCVPixelFormatType_32BGRA, 64, 48, plain(kColor));
  SourceFrame unknown = known;
  unknown.format = 0x78787878;
  unknown.width = 66;
  appendGuarded(*driven, known, 0);
  appendGuarded(*driven, unknown, 40);
  appendGuarded(*driven, known, 80);
  ASSERT_TRUE(driven->stop());
  EXPECT_THAT(driven->log(), testing::Contains(testing::HasSubstr("Pixel buffer create failed")));
  EXPECT_EQ(decodePictures(driven->path()).size(), 2U);
}

}  // namespace
}  // namespace vx::test
