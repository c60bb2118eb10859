// What "vxrecord verify" says of a recording.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "platform/avfoundation/mp4/recording_file.h"
#include "support/growing_recording.h"
#include "support/h264_source.h"
#include "support/temporary_folder.h"
#include "verify.h"

namespace vxrecord {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// Ten pictures of 40 ms, and sound of which 0.1 s is not heard, with a gap of a second.
class Report : public testing::Test {
 protected:
  Report() {
    namespace mp4 = vx::mp4;
    const vx::test::H264Source source = vx::test::makeH264(64, 48, 10, 5);
    mp4::VideoTrackDescription video;
    video.width = 64;
    video.height = 48;
    video.parameterSets = {source.sps, source.pps};
    EXPECT_TRUE(mp4::RecordingFile::create(path, file).ok());
    EXPECT_TRUE(file->begin(video, true).ok());
    EXPECT_TRUE(file->declareAudio({48000, 2, {0x11, 0x90}, 4800}).ok());
    for (std::size_t i = 0; i < 10; ++i) {
      const std::int64_t time = static_cast<std::int64_t>(i) * 40;
      EXPECT_TRUE(file->appendVideo({source.pictures[i].bytes, time, 40, i % 5 == 0}).ok());
    }
    const std::vector<std::uint8_t> silence = {0x21, 0x10, 0x04, 0x60, 0x8C, 0x1C};
    for (int i = 0; i < 10; ++i) {
      const std::int64_t time = i < 5 ? 0 : 48000;
      EXPECT_TRUE(file->appendAudio({silence, time, 1024, true}).ok());
    }
    EXPECT_TRUE(file->commit().ok());
  }
  Verification verified() const {
    return {
        VXRecordingRepair::inspectRecordingAtPath(path, VXInspectionDepth::index).value(), {}, {}};
  }

  /// The command, on this file.
  ExitStatus run(std::vector<std::string> words) {
    words.insert(words.begin(), "verify");
    words.push_back(path);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const ExitStatus status = runVerify(words);
    errors = testing::internal::GetCapturedStderr();
    output = testing::internal::GetCapturedStdout();
    return status;
  }

  std::string output;
  std::string errors;
  TemporaryFolder folder;
  std::string path = folder / "a.mp4";
  std::unique_ptr<vx::mp4::RecordingFile> file;
};

TEST_F(Report, NamesTheFirstOfSeveralLongestFrames) {
  ASSERT_TRUE(file->finish(std::nullopt).ok());
  EXPECT_THAT(asText("a.mp4", verified()), HasSubstr("longest    40 ms at 0:00.000\n"));
  EXPECT_THAT(asJson("a.mp4", verified()),
              HasSubstr("\"longestFrameMs\": 40, \"longestFrameAtMs\": 0,"));
}

TEST_F(Report, ShowsTenBlackStretchesAndCountsTheRest) {
  ASSERT_TRUE(file->finish(std::nullopt).ok());
  Verification verification = verified();
  for (int i = 0; i < 10; ++i) {
    verification.black.push_back({i * 1000, i * 1000 + 500});
  }
  EXPECT_THAT(asText("a.mp4", verification), HasSubstr("500 ms at 0:09.000\n"));
  verification.black.push_back({10000, 10500});
  verification.black.push_back({11000, 11500});
  EXPECT_THAT(asText("a.mp4", verification), HasSubstr("500 ms at 0:09.000 and 2 more\n"));
}

TEST_F(Report, TellsBytesThatAreTorn) {
  file.reset();
  EXPECT_THAT(asText("a.mp4", verified()), Not(HasSubstr("torn")));
  std::ofstream(path, std::ios::app) << "torn off";
  EXPECT_THAT(asText("a.mp4", verified()), HasSubstr("  torn       8 bytes at the end\n"));
}

TEST_F(Report, TimelineTellsHeardFromUnheardAndWhereSoundIsMissing) {
  ASSERT_TRUE(file->finish(std::nullopt).ok());
  const Timeline timeline = timelineOf(path, verified());
  EXPECT_TRUE(timeline.hasSound);
  EXPECT_THAT(timeline.unheard, ElementsAre(TimeSpan{0, 100}));
  EXPECT_THAT(timeline.sound, ElementsAre(TimeSpan{100, 106}, TimeSpan{1000, 1106}));
  EXPECT_EQ(timeline.frames.size(), 10u);
}

TEST_F(Report, TimelineIsCalledLikeTheFile) {
  ASSERT_TRUE(file->finish(std::nullopt).ok());
  EXPECT_EQ(timelineOf("/b/a \"c\\\".mp4", verified()).title, "a \"c\\\".mp4");
  EXPECT_EQ(timelineOf("a\xFF.mp4", verified()).title, "a\xEF\xBF\xBD.mp4");
}

TEST_F(Report, CommandAnswersWhetherTheRecordingIsWhole) {
  EXPECT_EQ(run({}), ExitStatus::recordingFailed);
  EXPECT_THAT(output, HasSubstr(path + ": recording\n"));
  ASSERT_TRUE(file->finish(std::nullopt).ok());
  EXPECT_EQ(run({}), ExitStatus::done);
  EXPECT_THAT(output, HasSubstr(path + ": whole\n"));
}

TEST_F(Report, PictureThatCannotBeWrittenIsAFailureBesideTheReport) {
  ASSERT_TRUE(file->finish(std::nullopt).ok());
  EXPECT_EQ(run({"--json", "--svg", folder / "missing/a.svg"}), ExitStatus::recordingFailed);
  EXPECT_EQ(output, asJson(path, verified()) + "\n");
  EXPECT_THAT(errors, HasSubstr("the picture cannot be written to \"" + folder.path()));
}

TEST(ReportOfLateSound, ShowsItWhereTheFileSays) {
  constexpr std::int64_t kSeconds = std::int64_t{1} << 34;
  constexpr std::uint32_t kRate = vx::mp4::kMaxSampleRate;
  const std::vector<std::uint8_t> silence = {0x21, 0x10, 0x04, 0x60, 0x8C, 0x1C};
  vx::test::GrowingRecording recording;
  recording.sounds(0, kRate);
  ASSERT_TRUE(recording.file->appendAudio({silence, kSeconds * kRate, kRate, true}).ok());
  recording.pictures(1).finish();
  const Verification verification{vx::test::inspectRecording(recording.path), {}, {}};
  ASSERT_TRUE(verification.isWhole());
  EXPECT_THAT(timelineOf("a.mp4", verification).sound,
              ElementsAre(TimeSpan{kSeconds * 1000, kSeconds * 1000 + 1000}));
}

}  // namespace
}  // namespace vxrecord
