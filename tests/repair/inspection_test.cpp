// What an inspection tells of recordings that are short, turned, damaged or held.
#include "VXVideoRecorder/VXRecordingRepair.h"
#include "platform/avfoundation/mp4/recording_file.h"
#include "support/h264_source.h"
#include "support/temporary_folder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace {

using namespace vx;
using vx::test::H264Source;

const H264Source& source() {
  static const H264Source made = vx::test::makeH264(64, 48, 10, 5);
  return made;
}

/// A recording in the making; four pictures, or fewer, are committed at a time.
class Growing {
 public:
  explicit Growing(std::array<double, 6> transform = {1, 0, 0, 1, 0, 0}) {
    mp4::VideoTrackDescription video;
    video.width = 64;
    video.height = 48;
    video.transform = transform;
    video.parameterSets = {source().sps, source().pps};
    EXPECT_TRUE(mp4::RecordingFile::create(path, file).ok());
    EXPECT_TRUE(file->begin(video, true).ok());
  }
  Growing& pictures(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      const std::int64_t time = static_cast<std::int64_t>(i) * 40;
      EXPECT_TRUE(file->appendVideo({source().pictures[i].bytes, time, 40, i % 5 == 0}).ok());
      if (i % 4 == 3 || i + 1 == count) {
        EXPECT_TRUE(file->commit().ok());
      }
    }
    return *this;
  }
  Growing& sounds(int count) {
    EXPECT_TRUE(file->declareAudio({48000, 2, {0x11, 0x90}, 0}).ok());
    const std::vector<std::uint8_t> silence = {0x21, 0x10, 0x04, 0x60, 0x8C, 0x1C};
    for (int i = 0; i < count; ++i) EXPECT_TRUE(file->appendAudio({silence, 0, 1024, true}).ok());
    return *this;
  }
  void finish(std::optional<std::int64_t> sessionEndMs = std::nullopt) {
    EXPECT_TRUE(file->finish(sessionEndMs).ok());
    file.reset();
  }
  void breakOff() { file.reset(); }

  TemporaryFolder folder;
  std::string path = folder / "a.mp4";
  std::unique_ptr<mp4::RecordingFile> file;
};

VXRecordingInspection inspect(const std::string& path,
                              VXInspectionDepth depth = VXInspectionDepth::index) {
  return VXRecordingRepair::inspectRecordingAtPath(path, depth).value();
}

/// Changes bytes in the middle of a picture.
void damagePicture(const std::string& path, int number) {
  int at = 0;
  std::uint64_t offset = 0;
  inspect(path).enumerateVideoSamples([&](const VXRecordedSample& sample) {
    offset = sample.offset + sample.sizeBytes / 2;
    return at++ < number;
  });
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(offset)).write("damaged", 7);
}

TEST(Inspection, TellsATurnByThreeQuarters) {
  Growing recording({0, -1, 1, 0, 0, 0});
  recording.pictures(1).finish();
  EXPECT_EQ(inspect(recording.path).videoTrack().value().rotationDegrees, 270);
}

TEST(Inspection, TellsWhereSoundEndsThatTheSessionCut) {
  Growing recording;
  recording.sounds(50).pictures(4).finish(200);  // 1067 ms of sound
  EXPECT_EQ(inspect(recording.path).audioTrack().value().durationMs, 200);
  EXPECT_EQ(inspect(recording.path).durationMs(), 200);
}

TEST(Inspection, FindsDamageInAFinishedRecordingWhenTheContentsAreRead) {
  Growing recording;
  recording.pictures(10).finish();
  damagePicture(recording.path, 5);
  EXPECT_EQ(inspect(recording.path).state(), VXRecordingState::whole);
  const auto found = inspect(recording.path, VXInspectionDepth::contents);
  EXPECT_EQ(found.state(), VXRecordingState::damaged);
  EXPECT_EQ(found.damagedPartCount(), 1u);
  EXPECT_FALSE(found.canBeRepaired());
  EXPECT_EQ(found.localizedDescription(),
            "Parts of the recording are not what was recorded any more; what they show may be "
            "wrong. A repair cannot bring them back: use a copy if there is one.");
}

TEST(Inspection, CountsThePicturesThatDamageBeforeThemLeavesOut) {
  Growing recording;
  recording.pictures(10).breakOff();
  damagePicture(recording.path, 5);
  const VXRecordingInspection found = inspect(recording.path);
  EXPECT_EQ(found.videoTrack().value().sampleCount, 4u);
  EXPECT_EQ(found.videoTrack().value().leftOutSamples, 2u) << "they need the key frame";
}

TEST(Inspection, TellsAForeignFileThatSomebodyHolds) {
  const TemporaryFolder folder;
  folder.makeFile("other.mp4", 5000);
  const int held = ::open((folder / "other.mp4").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::flock(held, LOCK_EX | LOCK_NB), 0);
  const VXRecordingInspection found = inspect(folder / "other.mp4");
  EXPECT_EQ(found.state(), VXRecordingState::foreign);
  EXPECT_EQ(found.localizedDescription(),
            "The file is not a recording of VXVideoRecorder, or its first bytes are lost.");
  ::close(held);
}

TEST(Inspection, CallsNothingRepairableThatCannotBeRecognised) {
  Growing recording;
  recording.breakOff();
  std::filesystem::resize_file(recording.path, std::uint64_t{65} << 20);  // more than is torn off
  const VXRecordingInspection found = inspect(recording.path);
  EXPECT_EQ(found.state(), VXRecordingState::interrupted);
  EXPECT_FALSE(found.canBeRepaired());
  EXPECT_EQ(found.localizedDescription(),
            "The recording was broken off, and nothing in it can be recognised. It cannot be "
            "repaired: use a copy if there is one.");
}

TEST(Inspection, TellsARecordingOfOnePictureFromOneOfNone) {
  Growing none;
  none.breakOff();
  EXPECT_EQ(inspect(none.path).localizedDescription(),
            "The recording was broken off before its first picture was stored. It holds nothing "
            "and can be deleted.");
  Growing one;
  one.pictures(1).breakOff();
  EXPECT_EQ(inspect(one.path).localizedDescription(),
            "The recording was broken off. It can be played as it is; a repair completes it.");
}

TEST(Inspection, SaysThatAWholeRecordingIsComplete) {
  Growing recording;
  recording.pictures(1).finish();
  EXPECT_EQ(inspect(recording.path).localizedDescription(), "The recording is complete.");
}

TEST(Inspection, OfALostIndexTellsWhatARepairDoes) {
  Growing recording;
  recording.pictures(10).finish();
  const std::uint64_t size = std::filesystem::file_size(recording.path);
  std::filesystem::resize_file(recording.path, size - 200);
  const VXRecordingInspection found = inspect(recording.path);
  EXPECT_EQ(found.state(), VXRecordingState::damaged);
  EXPECT_TRUE(found.canBeRepaired());
  EXPECT_EQ(found.localizedDescription(),
            "The recording's index is lost, perhaps because a copy of it was broken off. A repair "
            "makes a new one for what is there.");
}

}  // namespace
