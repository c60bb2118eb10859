// Recordings that are long in frames, in time or in bytes, read back exactly.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "stress/form.h"
#include "stress/recorder_with_parts.h"
#include "stress/stand_ins.h"
#include "support/frame_source.h"
#include "support/media_reader.h"
#include "support/movie_checker.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

using Clock = std::chrono::steady_clock;

std::int64_t residentBytes() {
  std::ifstream statistics("/proc/self/statm");
  std::int64_t all = 0;
  std::int64_t resident = 0;
  statistics >> all >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

std::int64_t millisecondsSince(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

/// The time of picture `number` at 60 a second, to the millisecond.
std::uint32_t timeAt60(std::int64_t number) {
  return static_cast<std::uint32_t>(number * 1000 / 60);
}

/// A recording whose pictures are made by the thousand.
class LongRecording : public testing::Test {
 protected:
  /// With the real encoder, or with the scripted one.
  void start(std::shared_ptr<EncoderScript> script, int width, int height) {
    picture =
        makeSourceFrame(kCVPixelFormatType_420YpCbCr8Planar, width, height, plain({90, 120, 60}));
    recorder = VXVideoRecorder::initWithDelegate(ear);
    recorder->setStoragePath(folder.path());
    recorder->setFilename("long.mp4");
    WriterParts parts;
    if (script) {
      parts.makeEncoder = playedEncoder(std::move(script));
    }
    startWithParts(*recorder, path, std::move(parts), CGSizeMake(width, height));
  }
  void append(std::uint32_t timeMs) {
    if (!recorder->videoWriterInput()->isReadyForMoreMediaData()) {
      ASSERT_TRUE(
          recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::minutes(1)));
    }
    frame.setObject(timeMs, "timestamp");
    recorder->appendVideoSample(frame);
  }
  void describeFrame() {
    frame.setObject(NSData::dataWithBytesNoCopy(picture.bytes.data(), picture.bytes.size()),
                    "frameBuffer");
    frame.setObject(picture.format, "pixelFormatType");
    frame.setObject(picture.width, "width");
    frame.setObject(picture.height, "height");
    frame.setObject(picture.bytesPerRow, "bytesPerRow");
  }
  /// Returns how long the finish took, in milliseconds.
  std::int64_t stop() {
    // Without room the held frame could not be written.
    EXPECT_TRUE(
        recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::minutes(1)));
    const Clock::time_point start = Clock::now();
    recorder->stop();
    EXPECT_TRUE(ear->waitForFilesDone());
    const std::int64_t lasted = millisecondsSince(start);
    EXPECT_EQ(recorder->writer()->status(), AVAssetWriterStatusCompleted);
    return lasted;
  }

  TemporaryFolder folder;
  std::string path = folder / "long.mp4";
  std::shared_ptr<RememberingDelegate> ear = std::make_shared<RememberingDelegate>();
  std::shared_ptr<VXVideoRecorder> recorder;
  SourceFrame picture;
  NSMutableDictionary frame;
};

TEST_F(LongRecording, OfManySmallFramesIsReadBackExactly) {
  const std::int64_t frames = rounds(2000, 1000000);
  start(nullptr, 64, 64);
  describeFrame();
  for (std::int64_t i = 0; i < frames && !HasFatalFailure(); ++i) {
    append(static_cast<std::uint32_t>(i * 7));
  }
  stop();
  const CheckedMovie movie = checkMovieFile(path);
  EXPECT_THAT(movie.findings, testing::IsEmpty());
  ASSERT_NE(movie.video(), nullptr);
  ASSERT_EQ(movie.video()->samples.size(), static_cast<std::size_t>(frames));
  for (std::int64_t i = 0; i < frames; ++i) {
    ASSERT_EQ(movie.video()->samples[static_cast<std::size_t>(i)].time, i * 7);
  }
  const Decoding decoding = decodeStrictly(path, nullptr);
  EXPECT_EQ(decoding.frames, frames);
  EXPECT_EQ(decoding.errors, 0);
  report(std::to_string(frames) + " frames of 64x64 | 1 recording | nothing: all at their times");
}

TEST_F(LongRecording, OfADayHasASmallIndexAndAQuickFinish) {
  const std::int64_t frames = rounds(20000, 24 * 3600 * 60);
  start(EncoderScript::make(), 16, 16);
  describeFrame();
  std::int64_t early = 0;
  for (std::int64_t i = 0; i < frames && !HasFatalFailure(); ++i) {
    append(timeAt60(i));
    early = i == frames / 10 ? residentBytes() : early;
  }
  const std::int64_t growth = residentBytes() - early;
  const std::int64_t finishMs = stop();
  const double bytesPerFrame = static_cast<double>(growth) / (static_cast<double>(frames) * 0.9);
  if (isLongForm()) {
    EXPECT_LE(bytesPerFrame, 6);
  }
  const CheckedMovie movie = checkMovieFile(path);
  EXPECT_THAT(movie.findings, testing::IsEmpty());
  ASSERT_NE(movie.video(), nullptr);
  ASSERT_EQ(movie.video()->samples.size(), static_cast<std::size_t>(frames));
  for (std::int64_t i = 0; i < frames; ++i) {
    ASSERT_EQ(movie.video()->samples[static_cast<std::size_t>(i)].time, timeAt60(i));
  }
  report("a day at 60 a second through a stand-in encoder | " + std::to_string(frames) +
         " pictures | nothing; " + std::to_string(growth / 1024) +
         " KiB more memory after the first tenth, " + std::to_string(bytesPerFrame).substr(0, 4) +
         " B a picture; finish " + std::to_string(finishMs) + " ms");
}

TEST_F(LongRecording, OfMoreThan4GiBIsReadBackExactly) {
  constexpr std::int64_t kMebibyte = 1 << 20;
  const std::int64_t frames = rounds(40, 4200);
  auto script = EncoderScript::make();
  script->paddingBytes = kMebibyte;
  start(script, 64, 48);
  describeFrame();
  for (std::int64_t i = 0; i < frames && !HasFatalFailure(); ++i) {
    append(static_cast<std::uint32_t>(i * 40));
  }
  const std::int64_t finishMs = stop();
  EXPECT_GT(std::filesystem::file_size(path), static_cast<std::uintmax_t>(frames * kMebibyte));
  const CheckedMovie movie = checkMovieFile(path);
  EXPECT_THAT(movie.findings, testing::IsEmpty());
  ASSERT_NE(movie.video(), nullptr);
  ASSERT_EQ(movie.video()->samples.size(), static_cast<std::size_t>(frames));
  std::ifstream file(path, std::ios::binary);
  std::size_t last = 0;
  for (const CheckedSample& sample : movie.video()->samples) {
    last = script->pictureAfter(last, sample.isSync);
    std::vector<std::uint8_t> bytes(script->source.pictures[last].bytes.size());
    file.seekg(static_cast<std::streamoff>(sample.offset));
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    ASSERT_EQ(bytes, script->source.pictures[last].bytes);
  }
  const Decoding decoding = decodeStrictly(path, nullptr);
  EXPECT_EQ(decoding.frames, frames);
  EXPECT_EQ(decoding.errors, 0);
  report("a file of " + std::to_string(std::filesystem::file_size(path)) + " B | " +
         std::to_string(frames) + " pictures | nothing: each read back and decoded; finish " +
         std::to_string(finishMs) + " ms");
}

}  // namespace
}  // namespace vx::test
