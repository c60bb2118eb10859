// What a host sees of recordings that were broken off.
#include "VXVideoRecorder/VXRecordingRepair.h"

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/mp4/recording_file.h"
#include "support/h264_source.h"
#include "support/movie_checker.h"
#include "support/temporary_folder.h"
#include "support/unprivileged.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

using namespace vx;
using testing::ElementsAre;
using testing::HasSubstr;
using vx::test::H264Source;

const H264Source& source() {
  static const H264Source made = vx::test::makeH264(64, 48, 10, 5);
  return made;
}

/// Ten pictures 40 ms apart, the sixth half a second late, with sound of which 0.1 s is not heard.
class Recording {
 public:
  explicit Recording(bool isFinished) {
    mp4::VideoTrackDescription video;
    video.width = 64;
    video.height = 48;
    video.transform = {0, 1, -1, 0, 0, 0};
    video.parameterSets = {source().sps, source().pps};
    EXPECT_TRUE(mp4::RecordingFile::create(path, file).ok());
    EXPECT_TRUE(file->begin(video, true).ok());
    EXPECT_TRUE(file->declareAudio({48000, 2, {0x11, 0x90}, 4800}).ok());
    for (std::size_t i = 0; i < 10; ++i) {
      const std::int64_t time = static_cast<std::int64_t>(i) * 40 + (i > 5 ? 460 : 0);
      EXPECT_TRUE(file->appendVideo({source().pictures[i].bytes, time, 40, i % 5 == 0}).ok());
      const std::vector<std::uint8_t> silence = {0x21, 0x10, 0x04, 0x60, 0x8C, 0x1C};
      EXPECT_TRUE(file->appendAudio({silence, 0, 1024, true}).ok());
      if (i % 4 == 3) {
        EXPECT_TRUE(file->commit().ok());
      }
    }
    EXPECT_TRUE(file->commit().ok());
    if (isFinished) {
      EXPECT_TRUE(file->finish(std::nullopt).ok());
    }
  }
  /// The process that records it is gone.
  void breakOff() { file.reset(); }

  TemporaryFolder folder;
  std::string path = folder / "a.mp4";
  std::unique_ptr<mp4::RecordingFile> file;
};

VXRecordingInspection inspect(const std::string& path,
                              VXInspectionDepth depth = VXInspectionDepth::contents) {
  std::optional<NSError> error;
  const auto inspection = VXRecordingRepair::inspectRecordingAtPath(path, depth, &error);
  EXPECT_TRUE(inspection.has_value()) << error->localizedDescription();
  return inspection.value();
}

NSError refusal(const std::string& path) {
  std::optional<NSError> error;
  EXPECT_FALSE(VXRecordingRepair::repairRecordingAtPath(path, &error).has_value());
  return error.value();
}

void expectTracks(const VXRecordingInspection& found) {
  EXPECT_EQ(found.durationMs(), 860);
  const VXRecordedTrack& video = found.videoTrack().value();
  EXPECT_EQ(video.timescale, 1000u);
  EXPECT_EQ(video.sampleCount, 10u);
  EXPECT_EQ(video.keyFrameCount, 2u);
  EXPECT_EQ(video.durationMs, 860);
  EXPECT_EQ(video.longestSample, 500u);
  EXPECT_EQ(video.width, 64u);
  EXPECT_EQ(video.height, 48u);
  EXPECT_EQ(video.rotationDegrees, 90);
  const VXRecordedTrack& audio = found.audioTrack().value();
  EXPECT_EQ(audio.timescale, 48000u);
  EXPECT_EQ(audio.sampleCount, 10u);
  EXPECT_EQ(audio.channels, 2u);
  EXPECT_EQ(audio.trimAtStart, 4800u);
  EXPECT_EQ(audio.startMs, 100);
  EXPECT_EQ(audio.durationMs, 214);  // 10240 samples
}

TEST(VXRecordingInspection, TellsAnInterruptedRecording) {
  Recording recording(false);
  recording.breakOff();
  const VXRecordingInspection found = inspect(recording.path);
  EXPECT_EQ(found.state(), VXRecordingState::interrupted);
  EXPECT_TRUE(found.canBeRepaired());
  EXPECT_THAT(found.localizedDescription(), HasSubstr("a repair completes it"));
  expectTracks(found);
}

TEST(VXRecordingInspection, TellsAWholeRecording) {
  const Recording recording(true);
  const VXRecordingInspection found = inspect(recording.path);
  EXPECT_EQ(found.state(), VXRecordingState::whole);
  EXPECT_FALSE(found.canBeRepaired());
  expectTracks(found);
}

TEST(VXRecordingInspection, TellsARecordingThatIsBeingWritten) {
  const Recording recording(false);
  const VXRecordingInspection found = inspect(recording.path);
  EXPECT_EQ(found.state(), VXRecordingState::recording);
  EXPECT_FALSE(found.canBeRepaired());
  expectTracks(found);
}

TEST(VXRecordingInspection, TellsEverySample) {
  const Recording recording(true);
  const test::Bytes file = test::readWholeFile(recording.path);
  std::vector<std::int64_t> times;
  std::vector<std::uint32_t> durations;
  inspect(recording.path).enumerateVideoSamples([&](const VXRecordedSample& sample) {
    const std::vector<std::uint8_t>& bytes = source().pictures[times.size()].bytes;
    EXPECT_EQ(sample.sizeBytes, bytes.size());
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(),
                           file.begin() + static_cast<std::ptrdiff_t>(sample.offset)));
    EXPECT_EQ(sample.isKeyFrame, times.size() % 5 == 0);
    times.push_back(sample.time);
    durations.push_back(sample.duration);
    return true;
  });
  EXPECT_THAT(times, ElementsAre(0, 40, 80, 120, 160, 200, 700, 740, 780, 820));
  EXPECT_THAT(durations, ElementsAre(40, 40, 40, 40, 40, 500, 40, 40, 40, 40));
}

TEST(VXRecordingInspection, TellsSamplesUntilItIsEnough) {
  const Recording recording(true);
  int count = 0;
  inspect(recording.path).enumerateAudioSamples([&](const VXRecordedSample& sample) {
    EXPECT_EQ(sample.time, count * 1024);
    return ++count < 3;
  });
  EXPECT_EQ(count, 3);
}

TEST(VXRecordingInspection, LeavesAnEmptyFileToTheRecorderThatJustCreatedIt) {
  const TemporaryFolder folder;
  folder.makeFile("empty.mp4");
  EXPECT_EQ(inspect(folder / "empty.mp4").state(), VXRecordingState::empty);
}

TEST(VXRecordingInspection, DoesNotHangOnAPipe) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  std::optional<NSError> error;
  EXPECT_FALSE(
      VXRecordingRepair::inspectRecordingAtPath(folder / "pipe", VXInspectionDepth::index, &error));
  EXPECT_THAT(error->localizedDescription(), HasSubstr("is not a file"));
}

TEST(VXRecordingInspection, RefusesANameWithAZeroByte) {
  Recording recording(true);
  const std::string path = recording.path + std::string("\0x", 2);
  EXPECT_FALSE(VXRecordingRepair::inspectRecordingAtPath(path, VXInspectionDepth::index));
}

TEST(VXRecordingRepair, CompletesAnInterruptedRecording) {
  Recording recording(false);
  recording.breakOff();
  const auto result = VXRecordingRepair::repairRecordingAtPath(recording.path);
  ASSERT_TRUE(result.has_value());
  EXPECT_TRUE(result->isChanged);
  EXPECT_EQ(result->found.state(), VXRecordingState::interrupted);
  EXPECT_EQ(result->recording.state(), VXRecordingState::whole);
  expectTracks(result->recording);
  EXPECT_THAT(test::checkMovieFile(recording.path).findings, testing::IsEmpty());
}

TEST(VXRecordingRepair, LeavesAWholeRecordingAlone) {
  const Recording recording(true);
  const test::Bytes before = test::readWholeFile(recording.path);
  const auto result = VXRecordingRepair::repairRecordingAtPath(recording.path);
  ASSERT_TRUE(result.has_value());
  EXPECT_FALSE(result->isChanged);
  EXPECT_EQ(test::readWholeFile(recording.path), before);
}

TEST(VXRecordingRepair, RefusesARecordingThatIsBeingWritten) {
  const Recording recording(false);
  const test::Bytes before = test::readWholeFile(recording.path);
  const NSError error = refusal(recording.path);
  EXPECT_EQ(error.domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(error.code(), EBUSY);
  EXPECT_EQ(test::readWholeFile(recording.path), before);
}

TEST(VXRecordingRepair, RefusesAFileOfAnotherKind) {
  const TemporaryFolder folder;
  folder.makeFile("other.mp4", 5000);
  const NSError error = refusal(folder / "other.mp4");
  EXPECT_EQ(error.code(), AVErrorFileFormatNotRecognized);
}

TEST(VXRecordingRepair, RefusesALink) {
  Recording recording(false);
  recording.breakOff();
  ASSERT_EQ(::symlink(recording.path.c_str(), (recording.folder / "link").c_str()), 0);
  EXPECT_EQ(refusal(recording.folder / "link").code(), ELOOP);
}

TEST(VXRecordingRepair, RefusesWhatItMayNotWriteUnlessItIsWhole) {
  for (const bool isFinished : {false, true}) {
    Recording recording(isFinished);
    recording.breakOff();
    ASSERT_EQ(::chmod(recording.path.c_str(), 0444), 0);
    const Unprivileged user(recording.folder);
    std::optional<NSError> error;
    const auto result = VXRecordingRepair::repairRecordingAtPath(recording.path, &error);
    EXPECT_EQ(result.has_value(), isFinished);
    EXPECT_FALSE(result && result->isChanged);
    EXPECT_EQ(error ? error->code() : 0, isFinished ? 0 : NSFileWriteNoPermissionError);
  }
}

TEST(VXRecordingRepair, RefusesWhatItMayNotRead) {
  Recording recording(true);
  ASSERT_EQ(::chmod(recording.path.c_str(), 0), 0);
  const Unprivileged user(recording.folder);
  EXPECT_EQ(refusal(recording.path).code(), NSFileReadNoPermissionError);
}

TEST(VXRecordingRepair, RefusesARecordingOfWhichNothingWasStored) {
  const TemporaryFolder folder;
  folder.makeFile("empty.mp4");
  const NSError error = refusal(folder / "empty.mp4");
  EXPECT_EQ(error.code(), AVErrorInvalidSourceMedia);
  EXPECT_EQ(error.localizedDescription(),
            "The recording was broken off before anything was stored. It can be deleted.");
  EXPECT_TRUE(folder.has("empty.mp4"));
}

}  // namespace
