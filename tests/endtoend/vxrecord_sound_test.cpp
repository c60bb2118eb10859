// vxrecord --audio: the input's sound beside its pictures, through pauses and cuts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <tuple>

#include "endtoend/vxrecord_run.h"
#include "support/media_reader.h"
#include "support/sound.h"
#include "support/temporary_folder.h"
#include "test_picture.h"

namespace vx::test {
namespace {

constexpr double kTogetherMs = 10;
constexpr float kLoud = 0.2F;
// By the clock a busy machine may drop frames, and with them a flash; of so few and small ones it
// drops none.
constexpr const char* kByTheClock = "test:160x120@10";

/// Where the picture flashes: a place of the built-in picture.
std::vector<double> flashTimes(const std::string& path) {
  std::vector<double> times;
  bool wasOn = false;
  decodeStrictly(path, [&](const Picture& picture) {
    const auto place = vxrecord::FlashPlace::inPicture(picture.width, picture.height);
    const bool isOn = picture.meanAround(place.centerX, place.centerY, 3).green > 128;
    if (isOn && !wasOn) {
      times.push_back(static_cast<double>(picture.timeMs));
    }
    wasOn = isOn;
  });
  return times;
}

std::vector<double> beepTimes(const SoundTrack& track) {
  std::vector<double> times;
  for (double from = 0;;) {
    const double onset = track.onsetMs(kLoud, from);
    if (onset < 0) {
      return times;
    }
    times.push_back(onset);
    from = onset + 300;
  }
}

void expectTogether(const std::string& path, std::size_t count) {
  const std::vector<double> flashes = flashTimes(path);
  for (const SoundTrack& track : {readSound(path), playSoundWithGStreamer(path)}) {
    const std::vector<double> beeps = beepTimes(track);
    ASSERT_EQ(flashes.size(), count);
    ASSERT_EQ(beeps.size(), count);
    for (std::size_t i = 0; i < count; ++i) {
      EXPECT_NEAR(flashes[i], beeps[i], kTogetherMs) << i;
    }
  }
}

struct SoundRun {
  TemporaryFolder folder;
  std::string path = folder / "sound.mp4";

  ProgramResult record(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(),
                     {"--storage-path", folder.path(), "--filename", "sound.mp4"});
    return runVxrecord(arguments);
  }
};

TEST(VxrecordSound, BeepsAndFlashesStartTogether) {
  const SoundRun run;
  ASSERT_EQ(run.record({"--audio", "--duration", "4", "test:320x240@50"}).status, 0);
  expectTogether(run.path, 4);
  const SoundTrack track = readSound(run.path);
  EXPECT_EQ(track.sampleRate, 44100);
  EXPECT_EQ(track.channels, 2);
  EXPECT_EQ(track.pieces.front().time, 0);  // nothing of the sound is lost
}

TEST(VxrecordSound, MeetsThePictureAgainBehindAPause) {
  for (const auto& [at, length, beeps] :
       {std::tuple{"2.5", "4.2", 6}, std::tuple{"2.5", "0.3", 10}, std::tuple{"0", "1.5", 8}}) {
    const SoundRun run;
    ASSERT_EQ(run.record({"--audio", "--duration", "10", "--pause-at", at, "--pause-for", length,
                          "test:320x240@50"})
                  .status,
              0);
    expectTogether(run.path, static_cast<std::size_t>(beeps));
  }
}

TEST(VxrecordSound, IsRecordedByTheClockToo) {
  const SoundRun run;
  ASSERT_EQ(run.record({"--audio", "--realtime", "--duration", "2.5", kByTheClock}).status, 0);
  expectTogether(run.path, 3);
}

TEST(VxrecordSound, MeetsThePictureAgainBehindAPauseThatAPersonMade) {
  const SoundRun run;
  Program program(vxrecordWith({"--storage-path", run.folder.path(), "--filename", "sound.mp4",
                                "--audio", "--realtime", kByTheClock}));
  ASSERT_TRUE(waitUntil([&] { return lastProgressMs(program.errors()) >= 1400; }));
  program.signal(SIGUSR2);
  ASSERT_TRUE(waitUntil([&] {
    return program.errors().find("paused") != std::string::npos &&
           program.errors().rfind("paused") > program.errors().find("paused") + 60;
  }));
  program.signal(SIGUSR2);
  const std::int64_t pausedAt = lastProgressMs(program.errors());
  ASSERT_TRUE(waitUntil([&] { return lastProgressMs(program.errors()) >= pausedAt + 3500; }));
  program.signal(SIGTERM);
  ASSERT_EQ(program.wait(), 0);
  const std::vector<double> flashes = flashTimes(run.path);
  const std::vector<double> beeps = beepTimes(readSound(run.path));
  ASSERT_GE(flashes.size(), 4u);
  // A flash or beep that the pause cut in two may be seen and not heard; all others go together.
  std::size_t together = 0;
  for (const double flash : flashes) {
    together +=
        static_cast<std::size_t>(std::count_if(beeps.begin(), beeps.end(), [&](double beep) {
          return std::abs(beep - flash) <= kTogetherMs;
        }));
  }
  EXPECT_GE(together + 1, flashes.size());
}

TEST(VxrecordSound, IsTakenFromAFileWhateverItsForm) {
  const SoundRun run;
  const std::string source = run.folder / "source.mkv";
  ASSERT_EQ(run.record({"--audio", "--duration", "3", "test:320x240@50"}).status, 0);
  makeWithFFmpeg(
      {"-i", run.path, "-c:v", "copy", "-c:a", "flac", "-ar", "48000", "-ac", "1", source});
  ASSERT_EQ(run.record({"--audio", source}).status, 0);
  expectTogether(run.path, 3);
  EXPECT_EQ(readSound(run.path).channels, 2);
}

// In a recording, pictures come up to a second before the sound of their moment.
TEST(VxrecordSound, IsCutWhereThePicturesAreAndNotBefore) {
  const SoundRun run;
  const std::string source = run.folder / "source.mp4";
  ASSERT_EQ(run.record({"--audio", "--duration", "4", "test:320x240@50"}).status, 0);
  std::filesystem::rename(run.path, source);
  ASSERT_EQ(run.record({"--audio", "--duration", "2.5", source}).status, 0);
  expectTogether(run.path, 3);
  EXPECT_GE(readSound(run.path).unitTimes.back(), 44100 * 12 / 5);
}

TEST(VxrecordSound, StartsLateWhereTheInputsDoes) {
  const SoundRun run;
  const std::string source = run.folder / "source.mkv";
  makeWithFFmpeg({"-f", "lavfi", "-i", "testsrc=s=64x48:r=25:d=4", "-itsoffset", "1.5", "-f",
                  "lavfi", "-i", "sine=frequency=1000:duration=2,volume=8", "-c:v", "libx264",
                  "-c:a", "flac", source});
  ASSERT_EQ(run.record({"--audio", source}).status, 0);
  EXPECT_NEAR(readSound(run.path).onsetMs(kLoud, 0), 1500, kTogetherMs);
  EXPECT_NEAR(playSoundWithGStreamer(run.path).onsetMs(kLoud, 0), 1500, kTogetherMs);
}

TEST(VxrecordSound, IsMissedWithAWordWhenTheInputHasNone) {
  const SoundRun run;
  const std::string source = run.folder / "source.mkv";
  makeWithFFmpeg({"-f", "lavfi", "-i", "testsrc=s=64x48:r=25:d=1", "-c:v", "libx264", source});
  const ProgramResult result = run.record({"--audio", source});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.errors, testing::HasSubstr("has no sound"));
  EXPECT_EQ(readFile(run.path).tracks.size(), 1u);
  EXPECT_EQ(run.record({"--audio", "--quiet", source}).errors, "");
  EXPECT_THAT(run.record({source}).errors, testing::Not(testing::HasSubstr("has no sound")));
}

TEST(VxrecordSound, IsLeftOutUnlessAskedFor) {
  const SoundRun run;
  ASSERT_EQ(run.record({"--duration", "1", "test:320x240@50"}).status, 0);
  EXPECT_EQ(readFile(run.path).tracks.size(), 1u);
}

TEST(VxrecordSound, IsKeptInACrash) {
  const SoundRun run;
  Program program(vxrecordWith({"--storage-path", run.folder.path(), "--filename", "sound.mp4",
                                "--audio", "--realtime", kByTheClock}));
  ASSERT_TRUE(waitUntil([&] { return lastProgressMs(program.errors()) >= 3500; }));
  program.signal(SIGKILL);
  program.wait();
  const std::vector<double> flashes = flashTimes(run.path);
  const std::vector<double> beeps = beepTimes(readSound(run.path));
  ASSERT_GE(flashes.size(), 3u);
  ASSERT_GE(beeps.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(flashes[i], beeps[i], kTogetherMs);
  }
  const SoundTrack track = readSound(run.path);
  EXPECT_GE(track.unitTimes.back(), 44100 * 5 / 2);
  // A growing file is trimmed as exactly as a finished one.
  std::vector<float> expected =
      decodeAac({track.sampleRate, track.channels, track.config, track.units, kUnitSamples});
  expected.erase(expected.begin(), expected.begin() + kUnitSamples * track.channels);
  EXPECT_EQ(track.samples(), expected);
}

}  // namespace
}  // namespace vx::test
