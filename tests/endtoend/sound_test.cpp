// The sound track of whole recordings, read back by FFmpeg and GStreamer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "support/sound_recording.h"

namespace vx::test {
namespace {

constexpr std::int64_t kTrim = 4410;  // a tenth of a second

/// Sound that no two pieces of are equal, so that a misplaced sample shows.
std::vector<float> noise(std::size_t samples) {
  std::mt19937 random(1);
  std::uniform_real_distribution<float> level(-0.3F, 0.3F);
  std::vector<float> wave = tone(samples);
  for (float& sample : wave) {
    sample = sample / 2 + level(random);
  }
  return wave;
}

std::vector<float> without(std::vector<float> samples, std::int64_t trimmed, int channels) {
  samples.erase(samples.begin(), samples.begin() + trimmed * channels);
  return samples;
}

const CodedSound& twoSeconds() {
  static const CodedSound sound = encodeAac(noise(86 * kUnitSamples));
  return sound;
}

/// Two seconds and a half of pictures with two seconds of sound from `start` samples on.
struct Recorded {
  SoundRecording recording;
  explicit Recorded(std::int64_t start, const CodedSound& sound = twoSeconds()) {
    recording.picturesUntil(200);
    recording.units(sound, start);
    recording.picturesUntil(2500);
    EXPECT_TRUE(recording.stop());
  }
  SoundTrack track() const { return readSound(recording.path()); }
};

TEST(Sound, KeepsEveryAccessUnitByteForByte) {
  const SoundTrack track = Recorded(0).track();
  EXPECT_EQ(track.units, twoSeconds().units);
  EXPECT_EQ(track.config, twoSeconds().config);
  EXPECT_EQ(track.sampleRate, 44100);
  EXPECT_EQ(track.channels, 2);
}

TEST(Sound, IsHeardExactlyAsDecodedBehindTheTrim) {
  const SoundTrack track = Recorded(0).track();
  EXPECT_EQ(track.samples(), without(decodeAac(twoSeconds()), kTrim, 2));
  ASSERT_FALSE(track.pieces.empty());
  EXPECT_EQ(track.pieces.front().time, kTrim);
}

TEST(Sound, StartsLateBehindAnEmptyEdit) {
  const SoundTrack track = Recorded(22050).track();
  EXPECT_EQ(track.samples(), without(decodeAac(twoSeconds()), kTrim, 2));
  EXPECT_EQ(track.pieces.front().time, 22050 + kTrim);
}

TEST(Sound, IsPlacedToTheMillisecondWhenItStartsBetweenTwo) {
  const SoundTrack track = Recorded(1061).track();  // 24.06 ms
  EXPECT_NEAR(static_cast<double>(track.pieces.front().time), 1061 + kTrim, 22.05);
  EXPECT_EQ(track.samples(), without(decodeAac(twoSeconds()), kTrim, 2));
}

TEST(Sound, IsStoredAndNotHeardFromBeforeTheFirstPicture) {
  const SoundTrack track = Recorded(-3 * 44100 / 10).track();
  EXPECT_EQ(track.units, twoSeconds().units);
  EXPECT_EQ(track.samples(), without(decodeAac(twoSeconds()), 3 * 44100 / 10, 2));
  EXPECT_EQ(track.pieces.front().time, 0);
}

TEST(Sound, LosesNothingWhenTheEncodersDelayLiesBeforeTheStart) {
  SoundRecording recording;
  recording.picturesUntil(200);
  const CodedSound& sound = twoSeconds();
  recording.sound(SoundRecording::bufferOf(sound)
                      .at(CMTimeMake(-sound.delay, 44100))
                      .trim(CMTimeMake(sound.delay, 44100))
                      .unit(sound.units[0]));
  recording.units(sound, kUnitSamples - sound.delay, 1);
  recording.picturesUntil(2500);
  ASSERT_TRUE(recording.stop());
  const SoundTrack track = readSound(recording.path());
  EXPECT_EQ(track.pieces.front().time, 0);
  EXPECT_EQ(track.samples(), without(decodeAac(sound), sound.delay, 2));
}

TEST(Sound, KeepsAGap) {
  SoundRecording recording;
  recording.picturesUntil(200);
  recording.units(twoSeconds(), 0, 0, 20);
  recording.units(twoSeconds(), 44100, 20, 40);
  recording.picturesUntil(2000);
  ASSERT_TRUE(recording.stop());
  const SoundTrack track = readSound(recording.path());
  ASSERT_EQ(track.units.size(), 40u);
  EXPECT_EQ(track.unitTimes[20] - track.unitTimes[0], 44100);
  EXPECT_EQ(track.unitTimes[21] - track.unitTimes[20], 1024);
}

TEST(Sound, OfTimeZeroPlaysBackToBack) {
  SoundRecording recording;
  recording.picturesUntil(200);
  for (std::size_t i = 0; i < twoSeconds().units.size(); ++i) {
    recording.unit(twoSeconds(), i, 0);
  }
  recording.picturesUntil(2500);
  ASSERT_TRUE(recording.stop());
  EXPECT_EQ(readSound(recording.path()).samples(), without(decodeAac(twoSeconds()), kTrim, 2));
}

TEST(Sound, OfTheFactoryPlaysBackToBack) {
  SoundRecording recording;
  recording.picturesUntil(200);
  for (const SoundBytes& unit : twoSeconds().units) {
    const auto buffer = CFRef<CMSampleBufferRef>::adopt(VXVideoRecorder::createAudioSampleBuffer(
        unit.data(), static_cast<std::int32_t>(unit.size()), aacStream()));
    recording.driven().recorder().appendAudioSample(buffer.get());
  }
  recording.picturesUntil(2500);
  ASSERT_TRUE(recording.stop());
  const SoundTrack track = readSound(recording.path());
  EXPECT_EQ(track.units, twoSeconds().units);
  EXPECT_EQ(track.samples(), without(decodeAac(twoSeconds()), kTrim, 2));
}

TEST(Sound, WhoseTimesGoBackIsPlacedAtTheEnd) {
  SoundRecording recording;
  recording.picturesUntil(200);
  recording.units(twoSeconds(), 0, 0, 40);
  recording.units(twoSeconds(), 5000, 40, 86);
  recording.picturesUntil(2500);
  ASSERT_TRUE(recording.stop());
  EXPECT_EQ(readSound(recording.path()).samples(),
            without(decodeAac({44100,
                               2,
                               twoSeconds().config,
                               {twoSeconds().units.begin(), twoSeconds().units.begin() + 86},
                               0}),
                    kTrim, 2));
}

TEST(Sound, ComesAsAdtsOrInBuffersOfMany) {
  SoundRecording recording;
  recording.picturesUntil(200);
  AudioBufferBuilder many = SoundRecording::bufferOf(twoSeconds());
  for (std::size_t i = 0; i < 43; ++i) {
    many.unit(twoSeconds().units[i]);
  }
  recording.sound(many);
  SoundBytes adtsRun;
  for (std::size_t i = 43; i < twoSeconds().units.size(); ++i) {
    const AudioBytes frame = adts(twoSeconds().units[i]);
    adtsRun.insert(adtsRun.end(), frame.begin(), frame.end());
  }
  recording.sound(AudioBufferBuilder().at(CMTimeMake(43 * 1024, 44100)).unit(adtsRun).unsized());
  recording.picturesUntil(2500);
  ASSERT_TRUE(recording.stop());
  const SoundTrack track = readSound(recording.path());
  EXPECT_EQ(track.units, twoSeconds().units);
  EXPECT_EQ(track.samples(), without(decodeAac(twoSeconds()), kTrim, 2));
}

TEST(Sound, MakesNoTrackWhenNoneComes) {
  SoundRecording recording;
  recording.picturesUntil(500);
  ASSERT_TRUE(recording.stop());
  EXPECT_EQ(readFile(recording.path()).tracks.size(), 1u);
}

TEST(Sound, MakesNoTrackWhenAllOfItIsRefused) {
  SoundRecording recording;
  recording.picturesUntil(200);
  AudioStreamBasicDescription other = aacStream();
  other.mFormatID = kAudioFormatLinearPCM;
  recording.sound(AudioBufferBuilder().stream(other).unit(twoSeconds().units[0]));
  recording.picturesUntil(500);
  ASSERT_TRUE(recording.stop());
  EXPECT_EQ(readFile(recording.path()).tracks.size(), 1u);
  EXPECT_EQ(decodeStrictly(recording.path(), nullptr).errors, 0);
}

TEST(Sound, SurvivesARefusedBufferInTheMiddle) {
  SoundRecording recording;
  recording.picturesUntil(200);
  recording.units(twoSeconds(), 0, 0, 43);
  recording.sound(AudioBufferBuilder().stream(aacStream(48000)).unit(twoSeconds().units[0]));
  recording.sound(AudioBufferBuilder().unit(SoundBytes(1 << 20, 0x21)).unsized());
  recording.units(twoSeconds(), 43 * kUnitSamples, 43);
  recording.picturesUntil(2500);
  ASSERT_TRUE(recording.stop());
  EXPECT_EQ(readSound(recording.path()).units, twoSeconds().units);
}

TEST(Sound, AllOfWhichIsTrimmedLeavesTheFileWhole) {
  SoundRecording recording;
  recording.picturesUntil(200);
  recording.units(twoSeconds(), 0, 0, 2);
  recording.picturesUntil(1000);
  ASSERT_TRUE(recording.stop());
  EXPECT_EQ(decodeStrictly(recording.path(), nullptr).errors, 0);
  EXPECT_EQ(readFile(recording.path()).durationMs, 1002);
}

/// Whether the growing file can be opened by now and `holds` what is waited for.
bool waitForFile(const std::function<bool()>& holds) {
  return waitUntil([&] {
    try {
      return holds();
    } catch (const ReadError&) {
      return false;  // its head is not written yet
    }
  });
}

// A file that is still growing is what a crash would leave.
TEST(SoundInAGrowingFile, IsHeardExactlyWhereItWillBe) {
  for (const std::int64_t start : {0, 22050, -11025}) {
    SoundRecording recording;
    recording.picturesUntil(200);
    recording.units(twoSeconds(), start);
    recording.picturesUntil(2500);
    SoundTrack track;
    ASSERT_TRUE(waitForFile([&] {
      track = readSound(recording.path());
      return track.units.size() == twoSeconds().units.size();
    }));
    const std::int64_t unheard = std::max(kTrim, -start);
    EXPECT_EQ(track.units, twoSeconds().units);
    EXPECT_EQ(track.samples(), without(decodeAac(twoSeconds()), unheard, 2)) << start;
    EXPECT_EQ(track.pieces.front().time, std::max<std::int64_t>(start + kTrim, 0));
    EXPECT_TRUE(recording.stop());
  }
}

/// Times of the pictures that are in the growing file once nothing more comes.
std::vector<std::int64_t> committedTimes(const SoundRecording& recording, std::size_t expected) {
  std::vector<std::int64_t> times;
  waitForFile([&] {
    times = readFile(recording.path()).videoTimesMs();
    return times.size() >= expected;
  });
  return times;
}

TEST(SoundInAGrowingFile, NeverHoldsThePicturesBack) {
  enum class Sound { never, stops, late };
  for (const Sound kind : {Sound::never, Sound::stops, Sound::late}) {
    SoundRecording recording;
    recording.picturesUntil(1000);
    if (kind == Sound::stops) {
      recording.units(twoSeconds(), 0, 0, 20);
    }
    recording.picturesUntil(10000);
    if (kind == Sound::late) {
      recording.units(twoSeconds(), 441000, 0, 20);
    }
    // The last picture is held until the next one tells its duration.
    EXPECT_EQ(committedTimes(recording, 100).size(), 100u);
    EXPECT_TRUE(recording.stop());
    const SoundTrack track = readSound(recording.path());
    EXPECT_EQ(track.units.size(), kind == Sound::never ? 0u : 20u);
    EXPECT_EQ(readFile(recording.path()).videoTimesMs().size(), 101u);
  }
}

struct Form {
  int sampleRate;
  int channels;
};
class SoundForms : public testing::TestWithParam<Form> {};
INSTANTIATE_TEST_SUITE_P(All, SoundForms,
                         testing::Values(Form{8000, 1}, Form{11025, 2}, Form{48000, 1},
                                         Form{48000, 6}, Form{96000, 2}, Form{44100, 3},
                                         Form{44100, 4}, Form{44100, 5}, Form{44100, 8}),
                         [](const auto& test) {
                           return std::to_string(test.param.sampleRate) + "Hz" +
                                  std::to_string(test.param.channels);
                         });

TEST_P(SoundForms, AreHeardExactly) {
  const auto [sampleRate, channels] = GetParam();
  CodedSound sound =
      encodeAac(tone(static_cast<std::size_t>(sampleRate), sampleRate), sampleRate, channels);
  const bool isPlain = sound.config.size() <= 5;  // without a program config of its own
  if (isPlain) {
    sound.config.clear();  // the writer makes it
  }
  const SoundTrack track = Recorded(0, sound).track();
  EXPECT_EQ(track.sampleRate, sampleRate);
  EXPECT_EQ(track.channels, channels);
  EXPECT_EQ(track.units, sound.units);
  sound.config = track.config;
  const std::vector<float> expected = without(decodeAac(sound), (sampleRate + 5) / 10, channels);
  EXPECT_EQ(track.samples(), expected);
}

TEST(SoundInGStreamer, IsHeardWhereItWasPlaced) {
  const Recorded recorded(44100, encodeAac(tone(44100)));
  const SoundTrack played = playSoundWithGStreamer(recorded.recording.path());
  const SoundTrack expected = recorded.track();
  ASSERT_FALSE(played.pieces.empty());
  EXPECT_EQ(played.pieces.front().time, 44100 + kTrim);
  EXPECT_EQ(played.samples().size() * 2, expected.samples().size());
}

}  // namespace
}  // namespace vx::test
