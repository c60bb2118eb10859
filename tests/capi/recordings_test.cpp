// Recordings that were broken off, by the C interface.
#include "VXVideoRecorder/VXRecordingRepair.h"
#include "c_recorder.h"
#include "support/sound.h"

#include <filesystem>
#include <fstream>

using CRecordings = CRecorderTest;

namespace {

vx_recording_info inspect(const std::string& path) {
  vx_recording_info info = VX_RECORDING_INFO_INIT;
  EXPECT_EQ(vx_recording_inspect(path.c_str(), true, &info), VX_OK) << vx_last_error();
  return info;
}

/// A copy of the recording as it is on the disk once its first picture was published: what a crash
/// would leave.
std::string copyOnceAPictureIsIn(const std::string& recording) {
  const std::string copy = recording + ".copy";
  do {
    std::filesystem::copy_file(recording, copy, std::filesystem::copy_options::overwrite_existing);
  } while (inspect(copy).video_samples == 0);
  return copy;
}

}  // namespace

TEST_F(CRecordings, AreWholeOnceTheyAreDone) {
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(append(40), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  ASSERT_EQ(vx_recorder_wait_until_done(recorder, -1), VX_OK);
  const vx_recording_info info = inspect(folder / "c.mp4");
  EXPECT_EQ(info.state, VX_RECORDING_WHOLE);
  EXPECT_FALSE(info.can_be_repaired);
  EXPECT_EQ(info.video_samples, 2u);
  EXPECT_EQ(info.width, 64u);
  EXPECT_EQ(info.sample_rate, 0u);
  bool isChanged = true;
  EXPECT_EQ(vx_recording_repair((folder / "c.mp4").c_str(), &isChanged), VX_OK);
  EXPECT_FALSE(isChanged);
}

TEST_F(CRecordings, TellWhatIsInThem) {
  const auto sound = vx::test::encodeAac(vx::test::tone(4410));
  configure([](vx_configuration& configuration) { configuration.audio_enabled = true; });
  CFrame turned;
  turned.frame.multi_video_type = 8;
  ASSERT_EQ(vx_recorder_append_frame(recorder, &turned.frame), VX_OK);
  ASSERT_EQ(append(40), VX_OK);
  vx_audio audio = VX_AUDIO_INIT;
  audio.data = sound.units[0].data();
  audio.data_length = sound.units[0].size();
  audio.sample_rate = 44100;
  audio.channels = 2;
  ASSERT_EQ(vx_recorder_append_audio(recorder, &audio), VX_OK) << vx_last_error();
  ASSERT_EQ(append(80), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  ASSERT_EQ(vx_recorder_wait_until_done(recorder, -1), VX_OK);
  const vx_recording_info info = inspect(folder / "c.mp4");
  EXPECT_EQ(info.size_bytes, std::filesystem::file_size(folder / "c.mp4"));
  EXPECT_EQ(info.duration_ms, 100);  // what is cut off the sound lasts longer than the pictures
  EXPECT_EQ(info.torn_bytes, 0u);
  EXPECT_EQ(info.damaged_parts, 0u);
  EXPECT_EQ(info.width, 64u);
  EXPECT_EQ(info.height, 48u);
  EXPECT_EQ(info.rotation_degrees, 90);
  EXPECT_EQ(info.video_samples, 3u);
  EXPECT_EQ(info.video_key_frames, 1u);
  EXPECT_EQ(info.sample_rate, 44100u);
  EXPECT_EQ(info.channels, 2u);
  EXPECT_EQ(info.audio_samples, 1u);
}

TEST_F(CRecordings, AreReadToTheLastByteOnlyWhenAskedTo) {
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(append(40), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  ASSERT_EQ(vx_recorder_wait_until_done(recorder, -1), VX_OK);
  const std::string path = folder / "c.mp4";
  const auto recording = VXRecordingRepair::inspectRecordingAtPath(path, VXInspectionDepth::index);
  ASSERT_TRUE(recording);
  recording->enumerateVideoSamples([&](const VXRecordedSample& sample) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(sample.offset + sample.sizeBytes / 2)).put('!').put('?');
    return false;
  });
  vx_recording_info info = VX_RECORDING_INFO_INIT;
  ASSERT_EQ(vx_recording_inspect(path.c_str(), false, &info), VX_OK);
  EXPECT_EQ(info.state, VX_RECORDING_WHOLE);
  info = inspect(path);
  EXPECT_EQ(info.state, VX_RECORDING_DAMAGED);
  EXPECT_EQ(info.damaged_parts, 1u);
}

TEST_F(CRecordings, ThatWereBrokenOffTellTheBytesThatAreTorn) {
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(append(40), VX_OK);
  const std::string copy = copyOnceAPictureIsIn(folder / "c.mp4");
  const std::uint64_t before = inspect(copy).torn_bytes;
  std::ofstream(copy, std::ios::app) << "torn off";
  EXPECT_EQ(inspect(copy).torn_bytes, before + 8);
}

TEST_F(CRecordings, ThatWereBrokenOffAreCompleted) {
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(append(40), VX_OK);
  const std::string copy = copyOnceAPictureIsIn(folder / "c.mp4");
  EXPECT_EQ(inspect(copy).state, VX_RECORDING_INTERRUPTED);
  bool isChanged = false;
  EXPECT_EQ(vx_recording_repair(copy.c_str(), &isChanged), VX_OK) << vx_last_error();
  EXPECT_TRUE(isChanged);
  EXPECT_EQ(inspect(copy).state, VX_RECORDING_WHOLE);
}

TEST_F(CRecordings, ThatAreNotThereFail) {
  vx_recording_info info = VX_RECORDING_INFO_INIT;
  EXPECT_EQ(vx_recording_inspect((folder / "none.mp4").c_str(), false, &info), VX_FAILED);
  EXPECT_STRNE(vx_last_error(), "");
  EXPECT_EQ(vx_recording_repair((folder / "none.mp4").c_str(), nullptr), VX_FAILED);
  EXPECT_EQ(vx_recording_inspect(nullptr, false, &info), VX_INVALID_ARGUMENT);
  EXPECT_EQ(vx_recording_repair(nullptr, nullptr), VX_INVALID_ARGUMENT);
}
