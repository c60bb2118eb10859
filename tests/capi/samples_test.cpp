// Frames and audio that are taken, dropped, refused.
#include "VXVideoRecorder/VXRecordingRepair.h"
#include "c_recorder.h"
#include "support/guarded_bytes.h"
#include "support/media_reader.h"
#include "support/pixel_formats.h"
#include "support/sound.h"

#include <cmath>

using CFrames = CRecorderTest;
using CSound = CRecorderTest;
using testing::HasSubstr;

namespace {

vx_audio audioOf(const vx::test::CodedSound& sound, const vx::test::SoundBytes& unit) {
  vx_audio audio = VX_AUDIO_INIT;
  audio.data = unit.data();
  audio.data_length = unit.size();
  audio.config = sound.config.data();
  audio.config_length = sound.config.size();
  audio.sample_rate = sound.sampleRate;
  audio.channels = static_cast<std::uint32_t>(sound.channels);
  return audio;
}

}  // namespace

TEST_F(CFrames, WithTooFewBytesAreNotRead) {
  CFrame frame;
  frame.frame.pixels_length -= 1;
  EXPECT_EQ(vx_recorder_append_frame(recorder, &frame.frame), VX_INVALID_ARGUMENT);
  EXPECT_THAT(vx_last_error(), HasSubstr("has 12287 bytes and needs 12288"));
  EXPECT_EQ(status().output_path, nullptr) << "nothing may have been started";
}

TEST_F(CFrames, OfAnImpossibleSizeOrFormatAreRefused) {
  CFrame frame;
  frame.frame.width = 0;
  EXPECT_EQ(vx_recorder_append_frame(recorder, &frame.frame), VX_INVALID_ARGUMENT);
  frame.frame.width = 65536;
  EXPECT_EQ(vx_recorder_append_frame(recorder, &frame.frame), VX_INVALID_ARGUMENT);
  frame.frame.width = 64;
  const std::uint32_t height = frame.frame.height;
  for (const std::uint32_t impossible : {0u, 65536u}) {
    frame.frame.height = impossible;
    EXPECT_EQ(vx_recorder_append_frame(recorder, &frame.frame), VX_INVALID_ARGUMENT) << impossible;
  }
  frame.frame.height = height;
  frame.frame.pixel_format = 0x12345678;
  EXPECT_EQ(vx_recorder_append_frame(recorder, &frame.frame), VX_INVALID_ARGUMENT);
}

TEST_F(CFrames, MayHaveTheLargestSide) {
  useScriptedWriter();
  const CFrame wide(0, 65535, 1);
  EXPECT_EQ(vx_recorder_append_frame(recorder, &wide.frame), VX_OK) << vx_last_error();
  const CFrame high(40, 1, 65535);
  EXPECT_EQ(vx_recorder_append_frame(recorder, &high.frame), VX_OK) << vx_last_error();
}

TEST_F(CFrames, ThatNoMemoryHoldsAreToldOf) {
  useScriptedWriter();
  CFrame frame;
  frame.frame.pixels = nullptr;
  frame.frame.width = 65535;
  frame.frame.height = 65535;
  EXPECT_EQ(vx_recorder_append_frame(recorder, &frame.frame), VX_OUT_OF_MEMORY);
}

TEST_F(CFrames, AreReadWhereTheyLieAndNotBeyond) {
  const GuardedBytes memory(64 * 48 * 4);
  CFrame frame;
  frame.frame.pixels = memory.data();
  EXPECT_EQ(vx_recorder_append_frame(recorder, &frame.frame), VX_OK);
}

TEST_F(CFrames, WithoutPixelsAreBlack) {
  CFrame frame;
  frame.frame.pixels = nullptr;
  frame.frame.pixels_length = 0;
  EXPECT_EQ(vx_recorder_append_frame(recorder, &frame.frame), VX_OK);
}

TEST_F(CFrames, WithoutRoomAreDropped) {
  useScriptedWriter();
  input->ready = false;
  EXPECT_EQ(append(0), VX_DROPPED);
  input->ready = true;
  EXPECT_EQ(append(40), VX_OK);
}

TEST_F(CFrames, ThatTheWriterRefusesAreToldOf) {
  useScriptedWriter();
  EXPECT_EQ(append(0), VX_OK);
  input->acceptsSamples = false;
  EXPECT_EQ(append(40), VX_REFUSED);
  EXPECT_THAT(vx_last_error(), HasSubstr("AVAssetWriter status"));
}

TEST_F(CFrames, OfAFailedRecordingCarryTheWritersReason) {
  useScriptedWriter();
  writer->currentStatus = vx::AVAssetWriterStatusFailed;
  writer->currentError = vx::NSError(vx::AVFoundationErrorDomain, -11807, "The disk is full");
  EXPECT_EQ(append(0), VX_FAILED);
  EXPECT_STREQ(vx_last_error(), "The disk is full");
  EXPECT_EQ(vx_recorder_wait_for_room(recorder, 0), VX_FAILED);
  EXPECT_STREQ(status().error, "The disk is full");
  EXPECT_EQ(status().error_code, -11807);
}

TEST_F(CFrames, ThatCannotGetAFileFail) {
  configure([](vx_configuration& configuration) { configuration.filename = "none/at/all.mp4"; });
  EXPECT_EQ(append(0), VX_FAILED);
  EXPECT_STRNE(vx_last_error(), "");
}

TEST_F(CFrames, CauseAnExceptionInsideWithoutLettingItOut) {
  useScriptedWriter();
  EXPECT_EQ(append(0), VX_OK);
  input->onAppend = [](vx::CMSampleBufferRef) { throw std::runtime_error("from within"); };
  EXPECT_EQ(append(40), VX_EXCEPTION);
  EXPECT_STREQ(vx_last_error(), "from within");
}

TEST_F(CFrames, NeedARecorderAndAStruct) {
  EXPECT_EQ(vx_recorder_append_frame(nullptr, nullptr), VX_INVALID_ARGUMENT);
  EXPECT_EQ(vx_recorder_append_frame(recorder, nullptr), VX_INVALID_ARGUMENT);
  EXPECT_EQ(vx_recorder_wait_for_room(nullptr, 0), VX_INVALID_ARGUMENT);
}

TEST(CPixelFormats, HaveANameEach) {
  EXPECT_THAT(kAllPixelFormats, testing::UnorderedElementsAre(
                                    VX_PIXEL_FORMAT_420, VX_PIXEL_FORMAT_BGRA, VX_PIXEL_FORMAT_ARGB,
                                    VX_PIXEL_FORMAT_RGBA, VX_PIXEL_FORMAT_ABGR, VX_PIXEL_FORMAT_RGB,
                                    VX_PIXEL_FORMAT_BGR, VX_PIXEL_FORMAT_UYVY, VX_PIXEL_FORMAT_YUYV,
                                    VX_PIXEL_FORMAT_GRAY))
      << "capi.h names every format that the recorder takes";
}

TEST_F(CFrames, AreAsLongAsTheRecorderSays) {
  EXPECT_EQ(vx_frame_buffer_length(VX_PIXEL_FORMAT_420, 5, 3, 0),
            VXVideoRecorder::frameBufferLength(VX_PIXEL_FORMAT_420, 5, 3, 0));
}

TEST_F(CFrames, FindRoomBeforeTheFirstOne) {
  EXPECT_EQ(vx_recorder_wait_for_room(recorder, 0), VX_OK);
}

TEST_F(CFrames, WaitForRoomUntilTheTimeIsOver) {
  useScriptedWriter();
  input->ready = false;
  EXPECT_EQ(vx_recorder_wait_for_room(recorder, 0), VX_TIMED_OUT);
}

TEST_F(CFrames, WaitForRoomAgainAndAgainWhenThereIsNoEnd) {
  struct LateInput : ScriptedInput {
    int questions = 0;
    bool waitUntilReadyForMoreMediaData(std::chrono::milliseconds timeout) override {
      EXPECT_GT(timeout.count(), 0);
      return ++questions == 3;
    }
  };
  const auto late = std::make_shared<LateInput>();
  recorder->recorder->setWriter(writer);
  recorder->recorder->setVideoWriterInput(late);
  EXPECT_EQ(vx_recorder_wait_for_room(recorder, -1), VX_OK);
  EXPECT_EQ(late->questions, 3);
}

TEST_F(CFrames, LearnInTheWaitForRoomThatTheWriterFailed) {
  struct FailingInput : ScriptedInput {
    std::shared_ptr<ScriptedWriter> writer;
    bool waitUntilReadyForMoreMediaData(std::chrono::milliseconds) override {
      writer->currentStatus = vx::AVAssetWriterStatusFailed;
      return false;
    }
  };
  const auto failing = std::make_shared<FailingInput>();
  failing->writer = writer;
  recorder->recorder->setWriter(writer);
  recorder->recorder->setVideoWriterInput(failing);
  EXPECT_EQ(vx_recorder_wait_for_room(recorder, 10), VX_FAILED);
}

TEST_F(CSound, GoesIntoTheFileWithItsConfiguration) {
  const auto sound = vx::test::encodeAac(vx::test::tone(44100));
  configure([](vx_configuration& configuration) { configuration.audio_enabled = true; });
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(append(40), VX_OK);  // writes the first one
  for (const auto& unit : sound.units) {
    const vx_audio audio = audioOf(sound, unit);
    ASSERT_EQ(vx_recorder_append_audio(recorder, &audio), VX_OK);
  }
  ASSERT_EQ(append(2000), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  ASSERT_EQ(vx_recorder_wait_until_done(recorder, -1), VX_OK);
  const auto track = vx::test::readSound(folder / "c.mp4");
  EXPECT_TRUE(track.units == sound.units);
  EXPECT_EQ(track.config, sound.config);
}

TEST_F(CSound, OfSeveralUnitsAtATimeOfItsOwnIsPlacedThere) {
  const auto sound = vx::test::encodeAac(vx::test::tone(44100));
  configure([](vx_configuration& configuration) { configuration.audio_enabled = true; });
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(append(40), VX_OK);
  vx::test::SoundBytes both = sound.units[0];
  both.insert(both.end(), sound.units[1].begin(), sound.units[1].end());
  const std::size_t lengths[] = {sound.units[0].size(), sound.units[1].size()};
  vx_audio audio = audioOf(sound, both);
  audio.unit_lengths = lengths;
  audio.unit_count = 2;
  audio.timescale = 44100;
  audio.time = 4410;
  audio.trim_at_start = 0;
  ASSERT_EQ(vx_recorder_append_audio(recorder, &audio), VX_OK);
  ASSERT_EQ(append(1000), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  ASSERT_EQ(vx_recorder_wait_until_done(recorder, -1), VX_OK);
  const auto track = vx::test::readSound(folder / "c.mp4");
  EXPECT_EQ(track.unitTimes, (std::vector<std::int64_t>{4410, 4410 + 1024}));
  const auto recording =
      VXRecordingRepair::inspectRecordingAtPath(folder / "c.mp4", VXInspectionDepth::index);
  EXPECT_EQ(recording.value().audioTrack().value().trimAtStart, 0u) << "given, if as nothing";
}

TEST_F(CSound, BeforeTheFirstWrittenFrameIsDropped) {
  const auto sound = vx::test::encodeAac(vx::test::tone(4410));
  configure([](vx_configuration& configuration) { configuration.audio_enabled = true; });
  const vx_audio audio = audioOf(sound, sound.units[0]);
  EXPECT_EQ(vx_recorder_append_audio(recorder, &audio), VX_DROPPED);
  ASSERT_EQ(append(0), VX_OK);
  EXPECT_EQ(vx_recorder_append_audio(recorder, &audio), VX_DROPPED);
}

TEST_F(CSound, OfAnotherRateThanBeforeIsRefused) {
  const auto sound = vx::test::encodeAac(vx::test::tone(4410));
  configure([](vx_configuration& configuration) { configuration.audio_enabled = true; });
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(append(40), VX_OK);
  vx_audio audio = audioOf(sound, sound.units[0]);
  ASSERT_EQ(vx_recorder_append_audio(recorder, &audio), VX_OK);
  audio.config = nullptr;
  audio.config_length = 0;
  audio.sample_rate = 48000;
  EXPECT_EQ(vx_recorder_append_audio(recorder, &audio), VX_REFUSED);
}

TEST_F(CSound, WithoutATrackIsWrong) {
  const auto sound = vx::test::encodeAac(vx::test::tone(4410));
  ASSERT_EQ(append(0), VX_OK);
  const vx_audio audio = audioOf(sound, sound.units[0]);
  EXPECT_EQ(vx_recorder_append_audio(recorder, &audio), VX_WRONG_STATE);
  EXPECT_THAT(vx_last_error(), HasSubstr("audio_enabled"));
}

TEST_F(CSound, AfterTheStopIsWrong) {
  const auto sound = vx::test::encodeAac(vx::test::tone(4410));
  configure([](vx_configuration& configuration) { configuration.audio_enabled = true; });
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  const vx_audio audio = audioOf(sound, sound.units[0]);
  EXPECT_EQ(vx_recorder_append_audio(recorder, &audio), VX_WRONG_STATE);
}

TEST_F(CSound, ThatCannotBeIsNotRead) {
  const std::uint8_t bytes[4] = {};
  const std::size_t tooLong[] = {5};
  const std::size_t tooLongTogether[] = {3, 2};
  const std::size_t empty[] = {4, 0};
  vx_audio good = VX_AUDIO_INIT;
  good.data = bytes;
  good.data_length = sizeof(bytes);
  good.sample_rate = 44100;
  good.channels = 2;
  const auto resultWith = [&](const std::function<void(vx_audio&)>& change) {
    vx_audio audio = good;
    change(audio);
    return vx_recorder_append_audio(recorder, &audio);
  };
  EXPECT_EQ(resultWith([](vx_audio&) {}), VX_DROPPED);
  EXPECT_EQ(resultWith([](vx_audio& audio) { audio.data = nullptr; }), VX_INVALID_ARGUMENT);
  EXPECT_EQ(resultWith([](vx_audio& audio) { audio.data_length = 0; }), VX_INVALID_ARGUMENT);
  for (const double rate : {0.0, 0.5, -44100.0, 999.0, 1e6 + 1, HUGE_VAL, std::nan("")}) {
    EXPECT_EQ(resultWith([&](vx_audio& audio) { audio.sample_rate = rate; }), VX_INVALID_ARGUMENT)
        << rate;
  }
  EXPECT_EQ(resultWith([](vx_audio& audio) { audio.config_length = 2; }), VX_INVALID_ARGUMENT);
  EXPECT_EQ(resultWith([](vx_audio& audio) { audio.unit_count = 1; }), VX_INVALID_ARGUMENT);
  EXPECT_EQ(resultWith([](vx_audio& audio) { audio.timescale = -1; }), VX_INVALID_ARGUMENT);
  const auto resultWithUnits = [&](const auto& lengths) {
    return resultWith([&](vx_audio& audio) {
      audio.unit_lengths = lengths;
      audio.unit_count = std::size(lengths);
    });
  };
  EXPECT_EQ(resultWithUnits(tooLong), VX_INVALID_ARGUMENT);
  EXPECT_EQ(resultWithUnits(tooLongTogether), VX_INVALID_ARGUMENT);
  EXPECT_EQ(resultWithUnits(empty), VX_INVALID_ARGUMENT);
}
