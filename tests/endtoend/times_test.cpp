// When each frame of a recording is shown, and how long the file is.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "VXVideoRecorder/platform/AVVideoEncoder.h"
#include "support/frame_source.h"
#include "support/media_reader.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

using testing::ElementsAre;
using Times = std::vector<std::int64_t>;

constexpr Rgb kGreen = {0, 160, 0};

SourceFrame smallFrame() {
  return makeSourceFrame(vx::kCVPixelFormatType_32BGRA, 64, 48, plain(kGreen));
}

/// A recorder in a folder of its own, and its file once it has stopped.
struct Session {
  TemporaryFolder folder;
  std::shared_ptr<DrivenRecorder> driven = DrivenRecorder::make(folder.path(), "times.mp4");
  SourceFrame frame = smallFrame();

  Session& at(std::initializer_list<std::uint32_t> timestampsMs) {
    for (const std::uint32_t timestamp : timestampsMs) {
      driven->append(frame, timestamp);
    }
    return *this;
  }
  Session& pause() {
    driven->pause();
    return *this;
  }
  MediaFile file() {
    EXPECT_TRUE(driven->stop());
    EXPECT_EQ(decodeStrictly(driven->path(), nullptr).errors, 0);
    return readFile(driven->path());
  }
};

Times durationsOf(const MediaFile& file) {
  Times durations;
  for (const Packet& packet : file.packetsOf(TrackKind::video)) {
    durations.push_back(packet.durationMs);
  }
  return durations;
}

TEST(Times, FirstFrameIsShownAtZeroWhateverTheHostsClockSays) {
  Session session;
  const MediaFile file = session.at({4000000000u, 4000000040u}).file();
  EXPECT_THAT(file.videoTimesMs(), ElementsAre(0, 40));
  EXPECT_EQ(file.video().startMs, 0);
}

TEST(Times, EachFrameLastsUntilTheNextOne) {
  Session session;
  const MediaFile file = session.at({5000, 5040, 5100, 5101}).file();
  EXPECT_THAT(file.videoTimesMs(), ElementsAre(0, 40, 100, 101));
  Times durations = durationsOf(file);
  durations.pop_back();
  EXPECT_THAT(durations, ElementsAre(40, 60, 1));
}

TEST(Times, FileEndsOneMillisecondBehindTheLastFramesMillisecond) {
  Session session;
  const MediaFile file = session.at({0, 40, 100}).file();
  EXPECT_EQ(file.durationMs, 102);
  EXPECT_EQ(file.video().durationMs, 102);
}

TEST(Times, SingleFrameMakesAFileOfTwoMilliseconds) {
  Session session;
  const MediaFile file = session.at({77}).file();
  EXPECT_THAT(file.videoTimesMs(), ElementsAre(0));
  EXPECT_EQ(file.durationMs, 2);
}

TEST(Times, VideoTrackCountsMilliseconds) {
  Session session;
  EXPECT_EQ(session.at({0, 33}).file().video().ticksPerSecond, 1000);
}

TEST(Times, ClockThatWrapsGoesOnWithoutAGap) {
  Session session;
  const MediaFile file = session.at({4294967280u, 4294967290u, 4u, 44u}).file();
  EXPECT_THAT(file.videoTimesMs(), ElementsAre(0, 10, 20, 60));
  EXPECT_EQ(file.durationMs, 62);
}

TEST(Times, ClockThatStepsBackLeavesNoHoleAndCatchesUp) {
  Session session;
  const MediaFile file = session.at({1000, 1040, 1030, 1080, 1120}).file();
  EXPECT_THAT(file.videoTimesMs(), ElementsAre(0, 40, 40, 80, 120));
  EXPECT_EQ(file.durationMs, 122);
}

TEST(Times, FramesOfEqualTimeAreAllInTheFile) {
  Session session;
  const MediaFile file = session.at({10, 10, 10, 50}).file();
  EXPECT_THAT(file.videoTimesMs(), ElementsAre(0, 0, 0, 40));
}

class TimesOfEveryEncoder : public testing::TestWithParam<std::string> {
 protected:
  ~TimesOfEveryEncoder() override { vx::AVVideoEncoder::setPreferredEncoderName(_before); }
  const std::string _before = vx::AVVideoEncoder::preferredEncoderName();
};

std::vector<std::string> softwareEncoders() {
  std::vector<std::string> names;
  for (const vx::AVVideoEncoderDescription& encoder : vx::AVVideoEncoder::availableEncoders()) {
    if (!encoder.isHardware) {
      names.push_back(encoder.name);
    }
  }
  return names;
}

INSTANTIATE_TEST_SUITE_P(All, TimesOfEveryEncoder, testing::ValuesIn(softwareEncoders()),
                         [](const auto& encoder) { return encoder.param; });

TEST_P(TimesOfEveryEncoder, AreReadToTheMillisecond) {
  ASSERT_TRUE(vx::AVVideoEncoder::setPreferredEncoderName(GetParam()));
  Session session;
  const MediaFile file = session.at({10, 10, 10, 50, 51, 9051}).file();
  EXPECT_THAT(file.videoTimesMs(), ElementsAre(0, 0, 0, 40, 41, 9041));
}

TEST(Times, FrameAfterManyHoursKeepsItsMillisecond) {
  Session session;
  constexpr std::uint32_t kDay = 86400000;
  const MediaFile file = session.at({0, kDay, kDay + 1, 40 * kDay}).file();
  EXPECT_THAT(file.videoTimesMs(), ElementsAre(0, kDay, kDay + 1, 40LL * kDay));
  EXPECT_EQ(file.durationMs, 40LL * kDay + 2);
}

TEST(Times, LongIrregularRecordingKeepsEveryTime) {
  Session session;
  Times expected;
  std::uint32_t time = 0;
  for (std::uint32_t i = 0; i < 400; ++i) {
    session.at({time});
    expected.push_back(time);
    time += 1 + i * 37 % 83;
  }
  EXPECT_EQ(session.file().videoTimesMs(), expected);
}

struct PauseCase {
  std::uint32_t gapMs;
  std::int64_t blackMs;
};

class Pauses : public testing::TestWithParam<PauseCase> {};

INSTANTIATE_TEST_SUITE_P(Gaps, Pauses,
                         testing::Values(PauseCase{600, 600}, PauseCase{1000, 1000},
                                         PauseCase{1001, 1000}, PauseCase{5000, 1000}),
                         [](const auto& test) { return std::to_string(test.param.gapMs); });

TEST_P(Pauses, BecomeAtMostOneSecondOfBlack) {
  Session session;
  session.at({0, 100}).pause().at({100 + GetParam().gapMs, 140 + GetParam().gapMs});
  const std::int64_t resumed = 100 + GetParam().blackMs;
  EXPECT_THAT(session.file().videoTimesMs(), ElementsAre(0, 100, resumed, resumed + 40));

  const std::vector<Picture> pictures = decodePictures(session.driven->path());
  ASSERT_EQ(pictures.size(), 4u);
  EXPECT_LE(distance(pictures[0].at(32, 24), kGreen), 2);
  EXPECT_LE(distance(pictures[1].at(32, 24), {0, 0, 0}), 2);
  EXPECT_LE(distance(pictures[2].at(32, 24), kGreen), 2);
}

TEST(Times, PauseInY420IsBlackToo) {
  Session session;
  session.frame =
      makeSourceFrame(vx::kCVPixelFormatType_420YpCbCr8Planar, 64, 48, plain({200, 30, 90}));
  session.at({0, 100}).pause().at({700}).file();
  EXPECT_LE(distance(decodePictures(session.driven->path()).at(1).at(32, 24), {0, 0, 0}), 2);
}

}  // namespace
}  // namespace vx::test
