// Size, turn and fit of the pictures of a recording.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/frame_source.h"
#include "support/gstreamer_reader.h"
#include "support/media_reader.h"
#include "support/program.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

constexpr vx::OSType kBgra = vx::kCVPixelFormatType_32BGRA;
constexpr Rgb kBlack = {0, 0, 0};

struct Session {
  TemporaryFolder folder;
  std::shared_ptr<DrivenRecorder> driven = DrivenRecorder::make(folder.path(), "picture.mp4");

  /// Appends frames 40 ms apart.
  Session& add(const SourceFrame& frame, int count = 1) {
    for (int i = 0; i < count; ++i) {
      driven->append(frame, nextTimeMs);
      nextTimeMs += 40;
    }
    return *this;
  }
  std::string finished() {
    EXPECT_TRUE(driven->stop());
    return driven->path();
  }

  std::uint32_t nextTimeMs = 0;
};

struct Size {
  int width;
  int height;
};

class Sizes : public testing::TestWithParam<Size> {};

INSTANTIATE_TEST_SUITE_P(Pixels, Sizes,
                         testing::Values(Size{1366, 767}, Size{1, 1}, Size{4, 1}, Size{1, 4},
                                         Size{3, 5}, Size{17, 16}, Size{640, 480}, Size{641, 480},
                                         Size{640, 481}),
                         [](const auto& test) {
                           return std::to_string(test.param.width) + "x" +
                                  std::to_string(test.param.height);
                         });

TEST_P(Sizes, AreKeptToThePixel) {
  const auto [width, height] = GetParam();
  Session session;
  const std::string path =
      session.add(makeSourceFrame(kBgra, width, height, quarters(width, height)), 3).finished();

  const MediaFile file = readFile(path);
  EXPECT_EQ(file.video().width, width);
  EXPECT_EQ(file.video().height, height);
  const std::vector<Picture> pictures = decodePictures(path);
  ASSERT_EQ(pictures.size(), 3u);
  EXPECT_EQ(pictures[0].width, width);
  EXPECT_EQ(pictures[0].height, height);
  // The lower right corner is white in every one of them.
  EXPECT_LE(distance(pictures[2].at(width - 1, height - 1), {255, 255, 255}), 2);
}

TEST_P(Sizes, AreKeptInY420) {
  const auto [width, height] = GetParam();
  Session session;
  const std::string path = session
                               .add(makeSourceFrame(vx::kCVPixelFormatType_420YpCbCr8Planar, width,
                                                    height, plain({130, 130, 130})),
                                    2)
                               .finished();
  const std::vector<Picture> pictures = decodePictures(path);
  ASSERT_EQ(pictures.size(), 2u);
  EXPECT_EQ(pictures[0].width, width);
  EXPECT_EQ(pictures[0].height, height);
  EXPECT_LE(distance(pictures[0].at(width - 1, height - 1), {130, 130, 130}), 2);
}

TEST(Picture, QuarterTurnIsInTheTracksMatrix) {
  Session session;
  session.driven->setTurned(true);
  const std::string path =
      session.add(makeSourceFrame(kBgra, 64, 32, quarters(64, 32)), 2).finished();
  const Track track = readFile(path).video();
  EXPECT_EQ(track.width, 64);
  EXPECT_EQ(track.height, 32);
  ASSERT_TRUE(track.displayMatrix);
  constexpr std::int32_t kOne = 0x10000;
  const auto& matrix = *track.displayMatrix;
  EXPECT_EQ(matrix[0], 0);
  EXPECT_EQ(matrix[1], kOne);
  EXPECT_EQ(matrix[3], -kOne);
  EXPECT_EQ(matrix[4], 0);
  EXPECT_DOUBLE_EQ(track.rotationDegrees, 90);
}

TEST(Picture, FirstFrameDecidesTheTurn) {
  Session session;
  const SourceFrame frame = makeSourceFrame(kBgra, 64, 32, quarters(64, 32));
  session.add(frame);
  session.driven->setTurned(true);
  EXPECT_FALSE(readFile(session.add(frame, 2).finished()).video().displayMatrix);
}

TEST(Picture, WiderFrameIsFittedWithBlackAboveAndBelow) {
  Session session;
  const std::string path = session.add(makeSourceFrame(kBgra, 160, 120, plain({0, 0, 200})), 2)
                               .add(makeSourceFrame(kBgra, 320, 120, plain({200, 0, 0})), 2)
                               .finished();
  const Picture picture = decodePictures(path).at(3);
  EXPECT_EQ(picture.width, 160);
  EXPECT_EQ(picture.height, 120);
  EXPECT_LE(distance(picture.at(80, 10), kBlack), 2);
  EXPECT_LE(distance(picture.at(80, 60), {200, 0, 0}), 2);
  EXPECT_LE(distance(picture.at(80, 110), kBlack), 2);
}

TEST(Picture, TallerFrameIsFittedWithBlackAtTheSides) {
  Session session;
  const std::string path = session.add(makeSourceFrame(kBgra, 160, 120, plain({0, 0, 200})), 2)
                               .add(makeSourceFrame(kBgra, 40, 120, quarters(40, 120)), 2)
                               .finished();
  const Picture picture = decodePictures(path).at(3);
  EXPECT_LE(distance(picture.at(20, 60), kBlack), 2);
  EXPECT_LE(distance(picture.at(70, 20), {255, 0, 0}), 2);
  EXPECT_LE(distance(picture.at(90, 100), {255, 255, 255}), 2);
  EXPECT_LE(distance(picture.at(140, 60), kBlack), 2);
}

TEST(Picture, FirstSizeReturnsUnchanged) {
  Session session;
  const SourceFrame first = makeSourceFrame(kBgra, 160, 120, quarters(160, 120));
  const std::string path = session.add(first)
                               .add(makeSourceFrame(kBgra, 33, 77, plain({9, 99, 199})))
                               .add(first, 2)
                               .finished();
  const Picture picture = decodePictures(path).at(2);
  EXPECT_LE(distance(picture.at(5, 5), {255, 0, 0}), 2);
  EXPECT_LE(distance(picture.at(155, 5), {0, 255, 0}), 2);
}

TEST(Picture, FrameWithoutPixelsIsBlack) {
  Session session;
  session.add(makeSourceFrame(kBgra, 64, 48, plain({200, 200, 200})));
  session.driven->recorder().appendVideoSample(
      {{"timestamp", 40u}, {"pixelFormatType", kBgra}, {"width", 64u}, {"height", 48u}});
  const std::vector<Picture> pictures = decodePictures(session.finished());
  ASSERT_EQ(pictures.size(), 2u);
  EXPECT_LE(distance(pictures[1].at(32, 24), kBlack), 2);
}

TEST(Readers, MediaInfoSeesAnH264HighMp4) {
  Session session;
  const std::string path =
      session.add(makeSourceFrame(kBgra, 322, 241, quarters(322, 241)), 30).finished();
  const ProgramResult run = runProgram(
      {"mediainfo",
       "--Inform=Video;%Format%|%Format_Profile%|%Width%|%Height%|%FrameCount%|%Duration%", path});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, testing::StartsWith("AVC|High@"));
  EXPECT_THAT(run.output, testing::HasSubstr("|322|241|30|1162"));
}

TEST(Readers, GStreamerPlaysEveryFrame) {
  Session session;
  const std::string path =
      session.add(makeSourceFrame(kBgra, 320, 240, quarters(320, 240)), 35).finished();
  const std::vector<Picture> pictures = decodeWithGStreamer(path, 320, 240);
  ASSERT_EQ(pictures.size(), 35u);
  EXPECT_LE(distance(pictures.back().at(10, 10), {255, 0, 0}), 2);
}

}  // namespace
}  // namespace vx::test
