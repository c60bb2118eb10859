#include "display_recorder.h"

#include <gtest/gtest.h>

#include "support/media_reader.h"
#include "support/temporary_folder.h"

namespace viewer {
namespace {

using State = DisplayRecorder::State;
using vx::test::decodePictures;
using vx::test::distance;
using vx::test::readFile;
using vx::test::Rgb;

constexpr Rgb kRed = {200, 30, 40};
constexpr Rgb kBlue = {30, 60, 200};
constexpr Rgb kBlack = {0, 0, 0};

Picture pictureOf(const Rgb& color, int width = 64, int height = 48) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  for (int i = 0; i < width * height; ++i) {
    for (const int value : {color.blue, color.green, color.red, 0}) {
      picture.pixels.push_back(static_cast<std::uint8_t>(value));
    }
  }
  return picture;
}

class DisplayRecorderTest : public testing::Test {
 protected:
  Outcome outcome() {
    recorder.waitForFiles();
    return recorder.takeOutcome().value_or(Outcome{"", -1, "there is no outcome"});
  }
  TemporaryFolder folder;
  DisplayRecorder recorder{folder.path(), [] {}};
};

TEST_F(DisplayRecorderTest, StillDisplayIsRecordedAsLongAsItStands) {
  recorder.start(pictureOf(kRed), 5000);
  recorder.stop(pictureOf(kRed), 9000);
  const Outcome result = outcome();
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.durationMs, 4002);
  EXPECT_EQ(readFile(result.path).video().durationMs, 4002);
}

TEST_F(DisplayRecorderTest, PicturesLastAsLongAsTheyWereShown) {
  recorder.start(pictureOf(kRed), 100);
  recorder.take(pictureOf(kBlue), 1100);
  recorder.stop(pictureOf(kBlue), 1600);
  const auto pictures = decodePictures(outcome().path);
  ASSERT_EQ(pictures.size(), 3u);
  EXPECT_EQ(pictures[1].timeMs, 1000);
  EXPECT_LE(distance(pictures[0].at(20, 20), kRed), 8);
  EXPECT_LE(distance(pictures[1].at(20, 20), kBlue), 8);
}

TEST_F(DisplayRecorderTest, PauseOfAStillDisplayTakesNoneOfItsTime) {
  recorder.start(pictureOf(kRed), 0);
  recorder.togglePause(pictureOf(kRed), 3000);
  EXPECT_EQ(recorder.state(), State::paused);
  EXPECT_EQ(recorder.recordedMs(60000), 3000);
  recorder.take(pictureOf(kBlue), 50000);
  recorder.togglePause(pictureOf(kBlue), 63000);
  recorder.stop(pictureOf(kBlue), 65000);
  const auto pictures = decodePictures(outcome().path);
  ASSERT_GE(pictures.size(), 3u);
  EXPECT_LE(distance(pictures[1].at(20, 20), kBlack), 8);
  EXPECT_EQ(pictures[1].timeMs, 3000);
  EXPECT_EQ(pictures[2].timeMs, 4000);
  EXPECT_LE(distance(pictures[2].at(20, 20), kBlue), 8);
  EXPECT_EQ(pictures.back().timeMs, 6000);
}

TEST_F(DisplayRecorderTest, ShownTimeGoesOnBetweenPictures) {
  recorder.start(pictureOf(kRed), 4294967000U);  // the display's clock wraps soon after
  EXPECT_EQ(recorder.recordedMs(704), 1000);
  recorder.take(pictureOf(kBlue), 704);
  EXPECT_EQ(recorder.recordedMs(1204), 1500);
}

TEST_F(DisplayRecorderTest, EveryRecordingHasAFileOfItsOwn) {
  std::vector<std::string> paths;
  for (int i = 0; i < 3; ++i) {
    recorder.start(pictureOf(kRed), 0);
    paths.push_back(recorder.path());
    recorder.stop(pictureOf(kRed), 100);
  }
  for (const std::string& path : paths) {
    EXPECT_EQ(outcome().path, path);
    EXPECT_EQ(readFile(path).video().durationMs, 102);
  }
  EXPECT_NE(paths[0], paths[1]);
}

TEST_F(DisplayRecorderTest, StreamThatChangesItsSizeStaysInOneFile) {
  recorder.start(pictureOf(kRed), 0);
  recorder.take(pictureOf(kBlue, 120, 50), 500);
  recorder.stop(pictureOf(kBlue, 120, 50), 1000);
  const auto pictures = decodePictures(outcome().path);
  EXPECT_EQ(pictures.back().width, 64);
  EXPECT_LE(distance(pictures.back().at(32, 24), kBlue), 8);
}

TEST_F(DisplayRecorderTest, LettingGoCompletesTheFile) {
  std::string path;
  {
    DisplayRecorder other(folder.path(), [] {});
    other.start(pictureOf(kRed), 0);
    other.take(pictureOf(kBlue), 400);
    path = other.path();
  }
  EXPECT_GE(readFile(path).video().durationMs, 400);
}

TEST_F(DisplayRecorderTest, FolderThatCannotBeWrittenIsTold) {
  std::ofstream(folder / "file").close();
  DisplayRecorder other(folder / "file", [] {});
  other.start(pictureOf(kRed), 0);
  EXPECT_EQ(other.state(), State::idle);
  const auto result = other.takeOutcome();
  ASSERT_TRUE(result);
  EXPECT_NE(result->error, "");
}

TEST_F(DisplayRecorderTest, KeysWithoutARecordingDoNothing) {
  recorder.togglePause(pictureOf(kRed), 0);
  recorder.stop(pictureOf(kRed), 0);
  recorder.start({}, 0);
  EXPECT_EQ(recorder.state(), State::idle);
  EXPECT_FALSE(recorder.takeOutcome());
}

}  // namespace
}  // namespace viewer
