#include "upright.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/display.h>
#include <libavutil/frame.h>
}

namespace vxrecord {
namespace {

/// Clockwise.
DisplayMatrix rotation(double degrees) {
  DisplayMatrix matrix;
  av_display_rotation_set(matrix.numbers.data(), degrees);
  return matrix;
}

PictureTurn turnOf(const DisplayMatrix& matrix) { return turnFor(64, 48, 1, 1, matrix); }

/// Four pixels, written row by row.
std::string pixelsAfter(const std::optional<DisplayMatrix>& matrix, UprightPictures& upright) {
  LibavPointer<AVFrame> picture = makeFrame();
  picture->format = AV_PIX_FMT_GRAY8;
  picture->width = 2;
  picture->height = 2;
  EXPECT_EQ(av_frame_get_buffer(picture.get(), 0), 0);
  for (int i = 0; i < 4; ++i) {
    picture->data[0][i / 2 * picture->linesize[0] + i % 2] = static_cast<std::uint8_t>("abcd"[i]);
  }
  const LibavPointer<AVFrame> turned = upright.turned(std::move(picture), 1, 1, matrix);
  std::string pixels;
  for (int i = 0; i < 4; ++i) {
    pixels += static_cast<char>(turned->data[0][i / 2 * turned->linesize[0] + i % 2]);
  }
  return pixels;
}

TEST(PictureTurn, NothingIsDoneToAnUprightPicture) {
  EXPECT_EQ(turnFor(64, 48, 0, 1, std::nullopt), (PictureTurn{64, 48, false, false, false}));
  EXPECT_EQ(turnFor(63, 47, 1, 1, rotation(0)), (PictureTurn{63, 47, false, false, false}));
}

TEST(PictureTurn, QuarterTurnsAreToldApart) {
  EXPECT_EQ(turnOf(rotation(90)), (PictureTurn{64, 48, true, true, false}));
  EXPECT_EQ(turnOf(rotation(180)), (PictureTurn{64, 48, false, true, true}));
  EXPECT_EQ(turnOf(rotation(-90)), (PictureTurn{64, 48, true, false, true}));
}

TEST(PictureTurn, OtherAnglesCountAsTheNearestQuarter) {
  EXPECT_EQ(turnOf(rotation(80)), turnOf(rotation(90)));
  EXPECT_EQ(turnOf(rotation(30)), turnOf(rotation(0)));
}

TEST(PictureTurn, MirrorsAreKept) {
  DisplayMatrix matrix = rotation(0);
  av_display_matrix_flip(matrix.numbers.data(), 1, 0);
  EXPECT_EQ(turnOf(matrix), (PictureTurn{64, 48, false, true, false}));
}

TEST(PictureTurn, WidePixelsMakeThePictureWider) {
  EXPECT_EQ(turnFor(720, 576, 64, 45, std::nullopt), (PictureTurn{1024, 576, false, false, false}));
}

TEST(PictureTurn, HighPixelsMakeThePictureHigher) {
  EXPECT_EQ(turnFor(720, 480, 8, 9, std::nullopt), (PictureTurn{720, 540, false, false, false}));
}

TEST(PictureTurn, ShapesThatNoCameraMakesAreLeftAlone) {
  for (const auto& [width, height] : {std::pair{100, 1}, {1, 100}, {-1, 2}, {2, 0}}) {
    EXPECT_EQ(turnFor(64, 48, width, height, std::nullopt),
              (PictureTurn{64, 48, false, false, false}));
  }
  EXPECT_EQ(turnFor(16000, 48, 2, 1, std::nullopt).width, 16000);
}

TEST(UprightPictures, ThePixelsMove) {
  UprightPictures upright;
  EXPECT_EQ(pixelsAfter(std::nullopt, upright), "abcd");
  EXPECT_EQ(pixelsAfter(rotation(90), upright), "cadb");
  EXPECT_EQ(pixelsAfter(rotation(180), upright), "dcba");
  EXPECT_EQ(pixelsAfter(rotation(-90), upright), "bdac");
}

TEST(UprightPictures, GoOnBehindOneThatCannotBeTurned) {
  UprightPictures upright;
  EXPECT_EQ(pixelsAfter(rotation(90), upright), "cadb");
  LibavPointer<AVFrame> onADevice = makeFrame();
  onADevice->format = AV_PIX_FMT_VAAPI;
  onADevice->width = 2;
  onADevice->height = 2;
  EXPECT_THROW(upright.turned(std::move(onADevice), 1, 1, rotation(90)), std::runtime_error);
  EXPECT_EQ(pixelsAfter(rotation(90), upright), "cadb");
}

TEST(UprightPictures, PicturePassesWhenItIsRight) {
  LibavPointer<AVFrame> picture = makeFrame();
  picture->width = 3;
  picture->height = 5;
  const AVFrame* const before = picture.get();
  UprightPictures upright;
  EXPECT_EQ(upright.turned(std::move(picture), 0, 1, rotation(0)).get(), before);
}

}  // namespace
}  // namespace vxrecord
