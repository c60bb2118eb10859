// What an inspection tells of recordings that are short, turned, damaged or held.
#include "support/growing_recording.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>

namespace {

using vx::test::damagePicture;
using vx::test::GrowingRecording;
using vx::test::inspectRecording;

void expectFound(const VXRecordingInspection& found, VXRecordingState state, bool canBeRepaired,
                 const std::string& text) {
  EXPECT_EQ(found.state(), state);
  EXPECT_EQ(found.canBeRepaired(), canBeRepaired);
  EXPECT_EQ(found.localizedDescription(), text);
}

TEST(Inspection, TellsATurnByThreeQuarters) {
  GrowingRecording recording({0, -1, 1, 0, 0, 0});
  recording.pictures(1).finish();
  EXPECT_EQ(inspectRecording(recording.path).videoTrack().value().rotationDegrees, 270);
}

TEST(Inspection, TellsWhereSoundEndsThatTheSessionCut) {
  GrowingRecording recording;
  recording.sounds(50).pictures(4).finish(200);  // 1067 ms of sound
  const VXRecordingInspection found = inspectRecording(recording.path);
  EXPECT_EQ(found.audioTrack().value().durationMs, 200);
  EXPECT_EQ(found.durationMs(), 200);
}

TEST(Inspection, ReadsSoundOfEveryRateThatIsRecorded) {
  for (const std::uint32_t rate : {vx::mp4::kMinSampleRate, vx::mp4::kMaxSampleRate}) {
    GrowingRecording recording;
    recording.sounds(2, rate).pictures(4).finish();
    const VXRecordingInspection found = inspectRecording(recording.path);
    EXPECT_EQ(found.state(), VXRecordingState::whole) << rate;
    EXPECT_EQ(found.audioTrack().value().timescale, rate);
  }
}

TEST(Inspection, FindsNoRecordingOfSoundThatItWouldNotRead) {
  for (const std::uint32_t rate : {0u, vx::mp4::kMinSampleRate - 1, vx::mp4::kMaxSampleRate + 1}) {
    const GrowingRecording recording;
    EXPECT_FALSE(recording.file->declareAudio({rate, 2, {0x11, 0x90}, 0}).ok()) << rate;
  }
}

TEST(Inspection, FindsDamageInAFinishedRecordingWhenTheContentsAreRead) {
  GrowingRecording recording;
  recording.pictures(10).finish();
  damagePicture(recording.path, 5);
  EXPECT_EQ(inspectRecording(recording.path).state(), VXRecordingState::whole);
  const auto found = inspectRecording(recording.path, VXInspectionDepth::contents);
  EXPECT_EQ(found.damagedPartCount(), 1u);
  ASSERT_EQ(found.damagedParts().size(), 1u);
  EXPECT_GT(found.damagedParts()[0].offset, 0u);
  expectFound(found, VXRecordingState::damaged, false,
              "Parts of the recording are not what was recorded any more; what they show may be "
              "wrong. A repair cannot bring them back: use a copy if there is one.");
}

TEST(Inspection, CountsThePicturesThatDamageBeforeThemLeavesOut) {
  GrowingRecording recording;
  recording.pictures(10).breakOff();
  damagePicture(recording.path, 5);
  const VXRecordingInspection found = inspectRecording(recording.path);
  EXPECT_EQ(found.videoTrack().value().sampleCount, 4u);
  EXPECT_EQ(found.videoTrack().value().leftOutSamples, 2u) << "they need the key frame";
}

TEST(Inspection, TellsAForeignFileThatSomebodyHolds) {
  const TemporaryFolder folder;
  folder.makeFile("other.mp4", 5000);
  const int held = ::open((folder / "other.mp4").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::flock(held, LOCK_EX | LOCK_NB), 0);
  expectFound(inspectRecording(folder / "other.mp4"), VXRecordingState::foreign, false,
              "The file is not a recording of VXVideoRecorder, or its first bytes are lost.");
  ::close(held);
}

TEST(Inspection, TellsARecordingThatSomebodyHolds) {
  GrowingRecording recording;
  recording.pictures(1);
  expectFound(inspectRecording(recording.path), VXRecordingState::recording, false,
              "The recording is being written right now, by a recorder or a repair. Wait until it "
              "is done.");
}

TEST(Inspection, CallsNothingRepairableThatCannotBeRecognised) {
  GrowingRecording recording;
  recording.breakOff();
  std::filesystem::resize_file(recording.path, std::uint64_t{65} << 20);  // more than is torn off
  expectFound(inspectRecording(recording.path), VXRecordingState::interrupted, false,
              "The recording was broken off, and nothing in it can be recognised. It cannot be "
              "repaired: use a copy if there is one.");
}

TEST(Inspection, TellsARecordingOfOnePictureFromOneOfNone) {
  GrowingRecording none;
  none.breakOff();
  EXPECT_EQ(inspectRecording(none.path).localizedDescription(),
            "The recording was broken off before its first picture was stored. It holds nothing "
            "and can be deleted.");
  GrowingRecording one;
  one.pictures(1).breakOff();
  expectFound(inspectRecording(one.path), VXRecordingState::interrupted, true,
              "The recording was broken off. It can be played as it is; a repair completes it.");
}

TEST(Inspection, SaysThatAWholeRecordingIsComplete) {
  GrowingRecording recording;
  recording.pictures(1).finish();
  expectFound(inspectRecording(recording.path), VXRecordingState::whole, false,
              "The recording is complete.");
}

TEST(Inspection, TellsThatNothingWasStored) {
  const TemporaryFolder folder;
  folder.makeFile("a.mp4");
  expectFound(inspectRecording(folder / "a.mp4"), VXRecordingState::empty, false,
              "The recording was broken off before anything was stored. It can be deleted.");
}

TEST(Inspection, OfALostHeadTellsThatNoRepairHelps) {
  GrowingRecording recording;
  recording.pictures(4).breakOff();
  std::fstream file(recording.path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(52).write("lost", 4).flush();  // the type of moov
  expectFound(inspectRecording(recording.path), VXRecordingState::damaged, false,
              "The start of the recording, without which its pictures cannot be read, is damaged. "
              "It cannot be repaired: use a copy if there is one.");
}

TEST(Inspection, OfALostIndexWithoutPicturesTellsThatNoRepairHelps) {
  GrowingRecording recording;
  recording.pictures(4).finish();
  const std::uint64_t size = std::filesystem::file_size(recording.path);
  for (int i = 0; i < 4; ++i) damagePicture(recording.path, i);
  std::filesystem::resize_file(recording.path, size - 200);
  std::filesystem::resize_file(recording.path, std::uint64_t{65} << 20);  // more than is torn off
  expectFound(inspectRecording(recording.path), VXRecordingState::damaged, false,
              "The recording's index is lost and none of its pictures can be recognised. It cannot "
              "be repaired: use a copy if there is one.");
}

TEST(Inspection, OfALostIndexTellsWhatARepairDoes) {
  GrowingRecording recording;
  recording.pictures(10).finish();
  const std::uint64_t size = std::filesystem::file_size(recording.path);
  std::filesystem::resize_file(recording.path, size - 200);
  expectFound(inspectRecording(recording.path), VXRecordingState::damaged, true,
              "The recording's index is lost, perhaps because a copy of it was broken off. A "
              "repair makes a new one for what is there.");
}

}  // namespace
