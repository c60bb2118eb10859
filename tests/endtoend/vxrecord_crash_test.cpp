// A recording whose process dies can be opened, and little of it is missing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <numeric>

#include "endtoend/vxrecord_run.h"
#include "support/media_reader.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

/// A live recording of the built-in picture.
struct LiveRun {
  explicit LiveRun(const std::string& picture = "test:320x240@30")
      : program(vxrecordWith({"--storage-path", folder.path(), "--realtime", picture})) {}

  TemporaryFolder folder;
  std::string path = folder / "Display_1.mp4";
  Program program;

  std::int64_t shownMs() const { return lastProgressMs(program.errors()); }
  std::uintmax_t sizeBytes() const {
    std::error_code missing;
    const std::uintmax_t size = std::filesystem::file_size(path, missing);
    return missing ? 0 : size;
  }
  void kill() {
    program.signal(SIGKILL);
    EXPECT_EQ(program.wait(), 128 + SIGKILL);
  }
};

void expectWholeFrames(const std::string& path) {
  const std::vector<std::int64_t> numbers = frameNumbers(path);
  ASSERT_FALSE(numbers.empty());
  EXPECT_EQ(numbers.front(), 0);
  EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
  EXPECT_EQ(readFile(path).packets.size(), numbers.size());
}

class Killed : public testing::TestWithParam<std::int64_t> {};

INSTANTIATE_TEST_SUITE_P(AfterMilliseconds, Killed, testing::Values(500, 1500, 2500, 4000));

TEST_P(Killed, LosesAtMostTheLastSecond) {
  // Small, so that a busy processor is not what the recording waits for.
  LiveRun run("test:160x120@30");
  ASSERT_TRUE(waitUntil([&] { return run.shownMs() >= GetParam(); }));
  const std::int64_t shownMs = run.shownMs();
  run.kill();
  expectWholeFrames(run.path);
  EXPECT_GE(readFile(run.path).videoTimesMs().back(), shownMs - 1000);
}

TEST(Killed, RightAfterTheFirstFrameItOpens) {
  LiveRun run;
  ASSERT_TRUE(waitUntil([&] { return run.sizeBytes() > 4096; }));
  run.kill();
  expectWholeFrames(run.path);
}

TEST(Killed, WithASlowPictureStillKeepsWhatWasShown) {
  const TemporaryFolder folder;
  Program program(vxrecordWith({"--storage-path", folder.path(), "--realtime", "test:320x240@2"}));
  ASSERT_TRUE(waitUntil([&] { return lastProgressMs(program.errors()) >= 3000; }));
  const std::int64_t shownMs = lastProgressMs(program.errors());
  program.signal(SIGKILL);
  program.wait();
  // A frame reaches the writer when the next one tells its duration, so the second that may be
  // missing is counted from the end of the last frame in the file.
  constexpr std::int64_t kFrameMs = 500;
  const std::int64_t endMs = readFile(folder / "Display_1.mp4").videoTimesMs().back() + kFrameMs;
  EXPECT_GE(endMs, shownMs - 1000);
}

TEST(Killed, AgainAndAgainEveryFileOpens) {
  for (const std::uintmax_t sizeBytes : {6000u, 20000u, 40000u, 60000u, 80000u}) {
    LiveRun run;
    ASSERT_TRUE(waitUntil([&] { return run.sizeBytes() > sizeBytes; }));
    run.kill();
    expectWholeFrames(run.path);
  }
}

}  // namespace
}  // namespace vx::test
