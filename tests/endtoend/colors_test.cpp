// Colours of every pixel format, through two decoders that share no code.
#include <gtest/gtest.h>

#include "support/frame_source.h"
#include "support/gstreamer_reader.h"
#include "support/media_reader.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

constexpr int kSide = 32;  // of one patch
constexpr int kColumns = 4;
constexpr int kRows = 3;
constexpr int kWidth = kSide * kColumns;
constexpr int kHeight = kSide * kRows;
constexpr int kTolerance = 2;

constexpr Rgb kPatches[kRows * kColumns] = {
    {255, 0, 0},   {0, 255, 0},   {0, 0, 255},   {255, 255, 255}, {0, 0, 0},     {128, 128, 128},
    {255, 255, 0}, {0, 255, 255}, {255, 0, 255}, {200, 120, 40},  {30, 60, 200}, {16, 200, 90},
};

Rgb patchAt(int column, int row) { return kPatches[row * kColumns + column]; }

struct NamedFormat {
  const char* name;
  vx::OSType code;
};

class Colors : public testing::TestWithParam<NamedFormat> {
 protected:
  void SetUp() override {
    const auto driven = DrivenRecorder::make(_folder.path(), "colors.mp4");
    const SourceFrame frame = makeSourceFrame(GetParam().code, kWidth, kHeight, [](int x, int y) {
      return patchAt(x / kSide, y / kSide);
    });
    for (std::uint32_t i = 0; i < 4; ++i) {
      driven->append(frame, i * 40);
    }
    ASSERT_TRUE(driven->stop());
    path = driven->path();
  }

  void expectPatches(const Picture& picture) const {
    for (int row = 0; row < kRows; ++row) {
      for (int column = 0; column < kColumns; ++column) {
        const Rgb patch = patchAt(column, row);
        const bool isGray = GetParam().code == vx::kCVPixelFormatType_OneComponent8;
        const Rgb wanted = isGray ? Rgb{patch.red, patch.red, patch.red} : patch;
        const Rgb seen = picture.at(column * kSide + kSide / 2, row * kSide + kSide / 2);
        EXPECT_LE(distance(seen, wanted), kTolerance)
            << "patch " << column << "," << row << " is " << seen.red << " " << seen.green << " "
            << seen.blue;
      }
    }
  }

  std::string path;

 private:
  TemporaryFolder _folder;
};

INSTANTIATE_TEST_SUITE_P(
    Formats, Colors,
    testing::Values(NamedFormat{"y420", vx::kCVPixelFormatType_420YpCbCr8Planar},
                    NamedFormat{"BGRA", vx::kCVPixelFormatType_32BGRA},
                    NamedFormat{"ARGB", vx::kCVPixelFormatType_32ARGB},
                    NamedFormat{"RGBA", vx::kCVPixelFormatType_32RGBA},
                    NamedFormat{"ABGR", vx::kCVPixelFormatType_32ABGR},
                    NamedFormat{"RGB", vx::kCVPixelFormatType_24RGB},
                    NamedFormat{"BGR", vx::kCVPixelFormatType_24BGR},
                    NamedFormat{"uyvy", vx::kCVPixelFormatType_422YpCbCr8},
                    NamedFormat{"yuvs", vx::kCVPixelFormatType_422YpCbCr8_yuvs},
                    NamedFormat{"gray", vx::kCVPixelFormatType_OneComponent8}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_P(Colors, AreRightInFFmpeg) { expectPatches(decodePictures(path).back()); }

TEST_P(Colors, AreRightInGStreamer) {
  expectPatches(decodeWithGStreamer(path, kWidth, kHeight).back());
}

TEST_P(Colors, AreTaggedAsSrgbByBt601InVideoRange) {
  const Track track = readFile(path).video();
  constexpr int kBt709 = 1;
  constexpr int kSrgb = 13;
  constexpr int kSmpte170m = 6;
  constexpr int kVideoRange = 1;
  EXPECT_EQ(track.colorPrimaries, kBt709);
  EXPECT_EQ(track.colorTransfer, kSrgb);
  EXPECT_EQ(track.colorMatrix, kSmpte170m);
  EXPECT_EQ(track.colorRange, kVideoRange);
}

}  // namespace
}  // namespace vx::test
