// Flashes and beeps that start together, measured in files that others read back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/media_reader.h"
#include "support/sound_recording.h"

namespace vx::test {
namespace {

constexpr double kTogetherMs = 10;
constexpr float kLoud = 0.25F;
constexpr int kBright = 128;

/// Access units of one beep between silence; the tone begins with unit `kBeepUnit`'s samples as a
/// decoder gives them out.
struct Beep {
  static constexpr std::size_t kBeepUnit = 6;
  CodedSound sound = [] {
    constexpr std::size_t kQuiet = 5 * kUnitSamples;
    std::vector<float> wave(kQuiet, 0.0F);
    const std::vector<float> loud = tone(4 * kUnitSamples);
    wave.insert(wave.end(), loud.begin(), loud.end());
    wave.insert(wave.end(), 6 * kUnitSamples, 0.0F);
    return encodeAac(wave);
  }();
};

/// Times of the first bright picture behind each dark one.
std::vector<double> flashTimes(const std::string& path) {
  std::vector<double> times;
  bool wasBright = false;
  EXPECT_EQ(decodeStrictly(path,
                           [&](const Picture& picture) {
                             const bool isBright = picture.at(32, 24).green > kBright;
                             if (isBright && !wasBright) {
                               times.push_back(static_cast<double>(picture.timeMs));
                             }
                             wasBright = isBright;
                           })
                .errors,
            0);
  return times;
}

std::vector<double> beepTimes(const SoundTrack& track) {
  constexpr double kLongerThanABeepMs = 200;
  std::vector<double> times;
  for (double from = 0;;) {
    const double onset = track.onsetMs(kLoud, from);
    if (onset < 0) {
      return times;
    }
    times.push_back(onset);
    from = onset + kLongerThanABeepMs;
  }
}

void expectTogether(const std::vector<double>& flashes, const std::vector<double>& beeps,
                    std::size_t count) {
  ASSERT_EQ(flashes.size(), count);
  ASSERT_EQ(beeps.size(), count);
  double worst = 0;
  for (std::size_t i = 0; i < count; ++i) {
    EXPECT_NEAR(flashes[i], beeps[i], kTogetherMs) << i;
    worst = std::max(worst, std::abs(flashes[i] - beeps[i]));
  }
  testing::Test::RecordProperty("worstMs", std::to_string(worst));
}

/// Plays the host: one clock for pictures and sound, and the recorder's rule for pauses.
class SyncHost {
 public:
  /// A beep's units so that the tone begins at this time of the file, with the flash at the same
  /// host time. Times are in milliseconds of the host.
  void flashAndBeep(std::uint32_t hostMs) {
    recording.picture(hostMs, true);
    const std::int64_t file = static_cast<std::int64_t>(hostMs) - _leftOutMs;
    const std::int64_t onset = file * 44100 / 1000;
    recording.units(_beep.sound, onset - static_cast<std::int64_t>(Beep::kBeepUnit) * kUnitSamples);
    recording.picture(hostMs + 100, false);
    _lastMs = hostMs + 100;
  }
  void dark(std::uint32_t hostMs) {
    recording.picture(hostMs);
    _lastMs = hostMs;
  }
  /// Nothing comes until `hostMs`, where the next picture is shown.
  void pauseUntil(std::uint32_t hostMs) {
    constexpr std::int64_t kLongest = 1000;
    recording.pause();
    _leftOutMs += std::max<std::int64_t>(hostMs - _lastMs - kLongest, 0);
    dark(hostMs);
  }

  SoundRecording recording;

 private:
  Beep _beep;
  std::int64_t _leftOutMs = 0;
  std::int64_t _lastMs = 0;
};

TEST(SoundSync, HoldsAtTheStart) {
  SyncHost host;
  host.dark(0);
  host.dark(200);
  host.flashAndBeep(500);
  host.flashAndBeep(1500);
  host.dark(2500);
  ASSERT_TRUE(host.recording.stop());
  expectTogether(flashTimes(host.recording.path()), beepTimes(readSound(host.recording.path())), 2);
}

TEST(SoundSync, HoldsBehindFiftyPauses) {
  constexpr std::uint32_t kPauses = 50;
  SyncHost host;
  host.dark(0);
  host.dark(200);
  std::uint32_t now = 500;
  host.flashAndBeep(now);
  for (std::uint32_t i = 0; i < kPauses; ++i) {
    now += 500;
    host.dark(now);
    now += 300 + i * 97;  // some shorter than the second that stays, most longer
    host.pauseUntil(now);
    now += 300;
    host.flashAndBeep(now);
  }
  host.dark(now + 500);
  ASSERT_TRUE(host.recording.stop());
  const std::vector<double> flashes = flashTimes(host.recording.path());
  expectTogether(flashes, beepTimes(readSound(host.recording.path())), kPauses + 1);
  expectTogether(flashes, beepTimes(playSoundWithGStreamer(host.recording.path())), kPauses + 1);
}

/// The same beep and flash through two hours: what is decoded is the first and the last minute.
TEST(SoundSync, HoldsAtTheEndOfTwoHours) {
  constexpr std::uint32_t kSecondsOfRecording = 7200;
  constexpr std::int64_t kPeriodUnits = 431;  // about ten seconds
  const Beep beep;
  SoundRecording recording;
  recording.picture(0);
  recording.picture(40);
  std::uint32_t beeps = 0;
  const std::int64_t end = std::int64_t{kSecondsOfRecording} * 44100 / kUnitSamples;
  for (std::int64_t unit = 0; unit < end; ++unit) {
    const auto phase = static_cast<std::size_t>(unit % kPeriodUnits);
    recording.unit(beep.sound, phase < beep.sound.units.size() ? phase : 2, unit * kUnitSamples);
    if (phase == Beep::kBeepUnit) {
      const auto ms = static_cast<std::uint32_t>(unit * kUnitSamples * 1000 / 44100);
      recording.picture(ms, true);
      recording.picture(ms + 100, false);
      ++beeps;
    }
  }
  recording.picture(kSecondsOfRecording * 1000);
  ASSERT_TRUE(recording.stop());
  const std::vector<double> flashes = flashTimes(recording.path());
  ASSERT_EQ(flashes.size(), beeps);
  const double lastMinuteMs = (kSecondsOfRecording - 60) * 1000.0;
  const std::vector<double> first = beepTimes(readSound(recording.path(), {0, 60000}));
  const std::vector<double> last = beepTimes(readSound(recording.path(), {lastMinuteMs, 1e18}));
  ASSERT_GE(first.size(), 5u);
  ASSERT_GE(last.size(), 5u);
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_NEAR(first[i], flashes[i], kTogetherMs);
    EXPECT_NEAR(last[last.size() - 1 - i], flashes[flashes.size() - 1 - i], kTogetherMs);
  }
  // Nothing adds up: what a beep is off at the end, it was off at the start.
  EXPECT_NEAR(first[0] - flashes[0], last.back() - flashes.back(), 2);
  RecordProperty("startMs", std::to_string(first[0] - flashes[0]));
  RecordProperty("endMs", std::to_string(last.back() - flashes.back()));
}

}  // namespace
}  // namespace vx::test
