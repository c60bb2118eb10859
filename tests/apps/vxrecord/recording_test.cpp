// A recording from an input that does as told.
#include "recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <stdexcept>
#include <utility>

#include "VXVideoRecorder/VXRecordingRepair.h"
#include "interruption.h"
#include "support/temporary_folder.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace vxrecord {
namespace {

/// Noise, over which an encoder takes its time.
LibavPointer<AVFrame> noise(int width, int height) {
  LibavPointer<AVFrame> picture = makeFrame();
  picture->format = AV_PIX_FMT_BGR0;
  picture->width = width;
  picture->height = height;
  EXPECT_EQ(av_frame_get_buffer(picture.get(), 0), 0);
  std::minstd_rand random(1);
  std::generate_n(picture->data[0], picture->linesize[0] * height,
                  [&] { return static_cast<std::uint8_t>(random() >> 8); });
  return picture;
}

class ScriptedInput : public Input {
 public:
  explicit ScriptedInput(bool live = false, int width = 64, int height = 48)
      : _isLive(live), _picture(noise(width, height)) {}

  ScriptedInput& pictures(std::int64_t fromMs, std::int64_t untilMs, std::int64_t stepMs = 40) {
    for (std::int64_t ms = fromMs; ms < untilMs; ms += stepMs) {
      _steps.push_back([this, ms](MediaFrame& frame) { return show(frame, ms); });
    }
    return *this;
  }
  /// Nothing changes; every tenth of a second it says so.
  ScriptedInput& standsUntil(std::int64_t untilMs) {
    for (std::int64_t ms = 100; ms <= untilMs; ms += 100) {
      _steps.push_back([this, ms](MediaFrame&) {
        _standsAtMs = ms;
        return ReadResult::idle;
      });
    }
    return *this;
  }
  /// Silence, a tenth of a second at a time.
  ScriptedInput& sounds(std::int64_t fromMs, std::int64_t untilMs) {
    _hasSound = true;
    for (std::int64_t ms = fromMs; ms < untilMs; ms += 100) {
      _steps.push_back([ms](MediaFrame& frame) {
        frame.kind = MediaFrame::Kind::sound;
        frame.timeMs = ms;
        frame.sound.start = soundSamplesAt(ms);
        for (auto& channel : frame.sound.channels) {
          channel.assign(static_cast<std::size_t>(soundSamplesAt(100)), 0.0F);
        }
        return ReadResult::frame;
      });
    }
    return *this;
  }
  ScriptedInput& pauseKey() {
    return happens([] { togglePause(); });
  }
  ScriptedInput& throws(const char* what) {
    return happens([what] { throw std::runtime_error(what); });
  }
  ScriptedInput& breaks(const char* why) {
    _steps.push_back([this, why](MediaFrame&) {
      _trouble = why;
      return ReadResult::broken;
    });
    return *this;
  }

  ReadResult read(MediaFrame& frame) override {
    ++reads;
    return _next < _steps.size() ? _steps[_next++](frame) : ReadResult::end;
  }
  bool isLive() const override { return _isLive; }
  bool hasSound() const override { return _hasSound; }
  bool repeat(MediaFrame& frame) override {
    if (_standsAtMs) {
      show(frame, *_standsAtMs);
    }
    return _standsAtMs.has_value();
  }
  std::string trouble() const override { return _trouble; }

  std::size_t reads = 0;

 private:
  ScriptedInput& happens(const std::function<void()>& event) {
    _steps.push_back([this, event](MediaFrame& frame) {
      event();
      return read(frame);
    });
    return *this;
  }
  ReadResult show(MediaFrame& frame, std::int64_t timeMs) const {
    frame.kind = MediaFrame::Kind::picture;
    frame.timeMs = timeMs;
    frame.picture.reset(av_frame_clone(_picture.get()));
    return ReadResult::frame;
  }

  bool _isLive;
  bool _hasSound = false;
  LibavPointer<AVFrame> _picture;
  std::vector<std::function<ReadResult(MediaFrame&)>> _steps;
  std::size_t _next = 0;
  std::optional<std::int64_t> _standsAtMs;
  std::string _trouble;
};

class RecordingTest : public testing::Test {
 protected:
  RecordingTest() {
    options.storagePath = folder.path();
    options.filename = "a.mp4";
    options.pixelFormat = *pixelFormatNamed("BGRA");
    options.talk = Talk::quiet;
  }
  RunResult record(ScriptedInput& input) const {
    return Recording(options, outputPlaceFor(options), input, false).run();
  }
  /// The file, which is said to be done.
  static VXRecordingInspection recorded(const RunResult& result) {
    EXPECT_TRUE(result.isDone);
    return VXRecordingRepair::inspectRecordingAtPath(result.file.value(), VXInspectionDepth::index)
        .value();
  }

  TemporaryFolder folder;
  Options options;
};

TEST_F(RecordingTest, TakesEveryPictureOfAnInputThatWaits) {
  ScriptedInput input;
  const RunResult result = record(input.pictures(0, 4000));
  const VXRecordingInspection file = recorded(result);
  EXPECT_EQ(result.frames, 100);
  EXPECT_EQ(result.dropped, 0);
  EXPECT_EQ(result.durationMs, 3962);
  EXPECT_EQ(file.durationMs(), 3962);
  EXPECT_EQ(result.bytes, file.sizeBytes());
  EXPECT_EQ(result.error, std::nullopt);
}

TEST_F(RecordingTest, CountsWhatALiveInputBringsTooFast) {
  ScriptedInput input(true, 1280, 720);
  const RunResult result = record(input.pictures(0, 100, 1));
  EXPECT_GT(result.dropped, 0);
  EXPECT_EQ(result.frames + result.dropped, 100);
  recorded(result);
}

TEST_F(RecordingTest, EndsWithTheWishedDuration) {
  options.durationMs = 200;
  ScriptedInput input;
  const RunResult result = record(input.pictures(0, 4000));
  EXPECT_EQ(result.frames, 5);
  EXPECT_EQ(result.durationMs, 162);
  EXPECT_EQ(input.reads, 6u);
}

TEST_F(RecordingTest, TakesSoundThatComesBehindThePicturesOfItsTime) {
  options.audio = true;
  options.durationMs = 1000;
  ScriptedInput input;
  const RunResult result = record(input.pictures(0, 1500).sounds(0, 1500));
  EXPECT_EQ(result.frames, 25) << "without the picture of the moment at which it ends";
  const std::optional<VXRecordedTrack> sound = recorded(result).audioTrack();
  ASSERT_TRUE(sound);
  EXPECT_NEAR(static_cast<double>(sound->sampleCount) * 1024, soundSamplesAt(1000), 3 * 1024);
}

TEST_F(RecordingTest, IsTurnedOnDemand) {
  options.rotate = true;
  ScriptedInput input;
  EXPECT_EQ(recorded(record(input.pictures(0, 80))).videoTrack()->rotationDegrees, 90);
}

TEST_F(RecordingTest, KeepsAPictureThatStandsInTheFile) {
  ScriptedInput input(true);
  const RunResult result = record(input.pictures(0, 1).standsUntil(1500));
  EXPECT_EQ(result.frames, 3) << "the first, once more after half a second, the last";
  EXPECT_EQ(result.durationMs, 1502);
  EXPECT_EQ(recorded(result).durationMs(), 1502);
}

TEST_F(RecordingTest, LetsTheLastPictureStandUntilTheEnd) {
  options.durationMs = 3000;
  ScriptedInput input(true);
  EXPECT_EQ(recorded(record(input.pictures(0, 1).standsUntil(5000))).durationMs(), 3000);
}

TEST_F(RecordingTest, APlannedPauseOfAPictureThatStandsBeginsWhenItIsPlanned) {
  options.durationMs = 5000;
  options.pause = PauseWish{1000, 3000};
  ScriptedInput input(true);
  const RunResult result = record(input.pictures(0, 1).standsUntil(6000));
  // The pause begins behind the millisecond before it.
  EXPECT_EQ(recorded(result).durationMs(), 2999);
  EXPECT_EQ(result.durationMs, 2999);
}

TEST_F(RecordingTest, EveryPauseTakesAtMostASecond) {
  ScriptedInput input(true);
  input.pictures(0, 80).pauseKey().pictures(80, 160).pauseKey().pictures(160, 240);
  input.pauseKey().pictures(240, 320).pauseKey().pictures(5000, 5040);
  const RunResult result = record(input);
  EXPECT_EQ(result.durationMs, 1202);
  EXPECT_EQ(recorded(result).durationMs(), 1202);
}

TEST_F(RecordingTest, OfAnInputThatBreaksHoldsWhatCameBefore) {
  ScriptedInput input;
  const RunResult result = record(input.pictures(0, 120).breaks("the wire broke"));
  EXPECT_EQ(recorded(result).durationMs(), 82);
  EXPECT_EQ(result.error, "the wire broke; the recording holds what came before");
  EXPECT_EQ(exitStatusOf(result), ExitStatus::recordingFailed);
}

TEST_F(RecordingTest, OfAnInputThatThrowsHoldsWhatCameBefore) {
  ScriptedInput input;
  const RunResult result = record(input.pictures(0, 120).throws("no such colour"));
  EXPECT_EQ(recorded(result).durationMs(), 82);
  EXPECT_EQ(result.error, "no such colour");
}

TEST_F(RecordingTest, WithoutAPictureTellsTheFirstTroubleAndNoFileOfOthers) {
  folder.makeFile("a.mp4", 100);
  ScriptedInput input;
  const RunResult result = record(input.breaks("the wire broke"));
  EXPECT_EQ(result.error, "the wire broke");
  EXPECT_EQ(result.file, std::nullopt);
  EXPECT_FALSE(result.isDone);
  EXPECT_EQ(std::filesystem::file_size(folder / "a.mp4"), 100u);
}

TEST_F(RecordingTest, WithoutAPictureSaysThatNoneCame) {
  ScriptedInput input;
  EXPECT_EQ(record(input).error, "the input gave no frame, so there is no file");
}

}  // namespace
}  // namespace vxrecord
