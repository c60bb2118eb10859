#include "sound_track.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "recording_delegate.h"
#include "support/program.h"
#include "support/sound.h"
#include "support/temporary_folder.h"

namespace vxrecord {
namespace {

constexpr std::int64_t kFrameMs = 100;
constexpr float kLoud = 0.2F;

/// A recording of ten pictures a second, with a burst of sound at chosen moments of the input.
class SoundTrackTest : public testing::Test {
 protected:
  SoundTrackTest() : _recorder(VXVideoRecorder::initWithDelegate(_delegate)) {
    _recorder->setStoragePath(_folder.path());
    _recorder->setFilename("sound.mp4");
    _recorder->setAudioEnabled(true);
  }

  void begin() { _track.emplace(*_recorder, options); }
  void takePicture(std::int64_t inputMs, std::int64_t leftOutMs = 0) {
    if (const auto& input = _recorder->videoWriterInput()) {
      input->waitUntilReadyForMoreMediaData(vx::test::kBound);
    }
    _recorder->appendVideoSample({{"timestamp", static_cast<std::uint32_t>(inputMs - leftOutMs)},
                                  {"pixelFormatType", vx::kCVPixelFormatType_32BGRA},
                                  {"width", 64u},
                                  {"height", 48u},
                                  {"bytesPerRow", 256u}});
    _track->pictureWasTaken(inputMs, leftOutMs);
    _track->handOver(true);
  }
  void leaveOutPicture(std::int64_t inputMs) { _track->pictureWasLeftOut(inputMs); }
  /// A tenth of a second, loud or silent.
  void takeSound(std::int64_t inputMs, bool isLoud) {
    SoundBlock block;
    block.start = soundSamplesAt(inputMs);
    for (auto& channel : block.channels) {
      channel.resize(static_cast<std::size_t>(soundSamplesAt(inputMs + kFrameMs) - block.start));
      for (std::size_t i = 0; i < channel.size(); ++i) {
        channel[i] = !isLoud ? 0.0F : i / 20 % 2 == 0 ? 0.8F : -0.8F;
      }
    }
    _track->take(block);
  }
  /// Ends the recording, and expects its sound to get loud at these moments of the file.
  void expectLoudAt(const std::vector<double>& wanted) {
    constexpr double kToleranceMs = 15;
    _track->finish();
    _recorder->stop();
    EXPECT_TRUE(_delegate->waitForOutcome());
    const vx::test::SoundTrack sound = vx::test::readSound(_folder / "sound.mp4");
    std::vector<double> moments;
    for (double from = 0; (from = sound.onsetMs(kLoud, from)) >= 0; from += 300) {
      moments.push_back(from);
    }
    EXPECT_THAT(moments, testing::Pointwise(testing::DoubleNear(kToleranceMs), wanted));
  }

  Options options;

 private:
  TemporaryFolder _folder;
  std::shared_ptr<RecordingDelegate> _delegate = std::make_shared<RecordingDelegate>(false);
  std::shared_ptr<VXVideoRecorder> _recorder;
  std::optional<SoundTrack> _track;
};

TEST_F(SoundTrackTest, SoundIsWhereItsPictureIs) {
  begin();
  for (std::int64_t time = 0; time < 2000; time += kFrameMs) {
    takeSound(time, time == 500 || time == 1500);
    takePicture(time);
  }
  expectLoudAt({500, 1500});
}

TEST_F(SoundTrackTest, SoundWaitsForTheFirstPicture) {
  begin();
  takeSound(0, false);
  takeSound(100, true);
  takeSound(200, false);
  for (std::int64_t time = 0; time < 1000; time += kFrameMs) {
    takePicture(time);
  }
  expectLoudAt({100});
}

// A pause of 3 s that nobody announced: the pictures behind it come 2 s earlier.
TEST_F(SoundTrackTest, PauseThatBeginsByItselfEndsWithTheNextPicture) {
  begin();
  for (std::int64_t time = 0; time < 6000; time += kFrameMs) {
    takeSound(time, time == 500 || time == 2000 || time == 3900 || time == 4500);
    if (time < 1000) {
      takePicture(time);
    } else if (time < 4000) {
      leaveOutPicture(time);
    } else {
      takePicture(time, 2000);
    }
  }
  expectLoudAt({500, 2500});
}

TEST_F(SoundTrackTest, SoundThatRunsAheadOfAPlannedPauseIsCutAtIt) {
  options.pause = PauseWish{1000, 3000};
  begin();
  for (std::int64_t time = 0; time < 6000; time += kFrameMs) {
    takeSound(time, time == 1100 || time == 4500);
  }
  for (std::int64_t time = 0; time < 1000; time += kFrameMs) {
    takePicture(time);
  }
  for (std::int64_t time = 4000; time < 6000; time += kFrameMs) {
    takePicture(time, 2000);
  }
  expectLoudAt({2500});
}

TEST_F(SoundTrackTest, PauseBeforeAPlannedOneIsOneOfItsOwn) {
  options.pause = PauseWish{3000, 1000};
  begin();
  for (std::int64_t time = 0; time < 6000; time += kFrameMs) {
    takeSound(time, time == 1500 || time == 2500 || time == 3500 || time == 4500);
    const bool isLeftOut = (time >= 1000 && time < 2000) || (time >= 3000 && time < 4000);
    if (isLeftOut) {
      leaveOutPicture(time);
    } else {
      takePicture(time);
    }
  }
  expectLoudAt({2500, 4500});
}

TEST_F(SoundTrackTest, APersonsPauseMayGoOnWhereAPlannedOneEnds) {
  options.pause = PauseWish{1000, 3000};
  begin();
  for (std::int64_t time = 0; time < 6000; time += kFrameMs) {
    takeSound(time, time == 4000 || time == 4500);
    if (time < 1000) {
      takePicture(time);
    } else if (time <= 4000) {
      leaveOutPicture(time);
    } else {
      takePicture(time, 2200);
    }
  }
  expectLoudAt({2300});
}

TEST_F(SoundTrackTest, APauseOfNoLengthLeavesNothingOut) {
  begin();
  for (std::int64_t time = 0; time < 2000; time += kFrameMs) {
    if (time == 1000) {
      leaveOutPicture(time);
    }
    takePicture(time);
    takeSound(time, time == 1000);
  }
  expectLoudAt({1000});
}

TEST_F(SoundTrackTest, DurationCutsTheSound) {
  options.durationMs = 1000;
  begin();
  for (std::int64_t time = 0; time < 1000; time += kFrameMs) {
    takePicture(time);
  }
  for (std::int64_t time = 0; time < 3000; time += kFrameMs) {
    takeSound(time, time == 500 || time == 1500);
  }
  expectLoudAt({500});
}

}  // namespace
}  // namespace vxrecord
