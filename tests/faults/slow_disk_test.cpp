// A disk that takes its time: the host never waits for it, and memory stays bounded.
#include "faults/fault_disk.h"
#include "faults/replay_encoder.h"
#include "stress/form.h"
#include "support/movie_checker.h"
#include "support/recorder_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

namespace vx::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

/// Lets calls through until it is closed; then they wait until it is opened.
class Gate {
 public:
  void pass() {
    std::unique_lock lock(_mutex);
    if (!_isClosed) return;
    _isHeld = true;
    _changed.notify_all();
    _changed.wait(lock, [&] { return !_isClosed; });
  }
  void close() {
    std::lock_guard lock(_mutex);
    _isClosed = true;
  }
  void open() {
    std::lock_guard lock(_mutex);
    _isClosed = false;
    _changed.notify_all();
  }
  /// Waits until a call is held; false after a minute without.
  bool waitUntilHeld() {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, std::chrono::minutes(1), [&] { return _isHeld; });
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  bool _isClosed = false;
  bool _isHeld = false;
};

class SlowDisk : public testing::Test {
 protected:
  static constexpr std::uint32_t kPictureBytes = 1 << 20;
  // One is being committed, 32 MiB wait coded, one more is coded and has no room, 12 wait uncoded.
  static constexpr std::size_t kMostCoded = 1 + 32 + 1;
  static constexpr std::size_t kMostAccepted = kMostCoded + 12;

  SlowDisk() {
    recorder->setStoragePath(folder.path());
    recorder->setFilename("movie.mp4");
    gate.close();
    startWithParts(
        *recorder, path,
        {.makeEncoder =
             [count = coded] { return std::make_unique<ReplayEncoder>(count, kPictureBytes); }},
        CGSizeMake(64, 48));
  }
  ~SlowDisk() override {
    gate.open();
    recorder->stop();
    delegate->waitForFilesDone();  // the writing thread passes the gate until then
  }

  static void TearDownTestSuite() {
    if (testing::UnitTest::GetInstance()->current_test_suite()->Failed()) return;
    report(
        "a sync that does not return while the host goes on | 3 recordings | the host's calls "
        "return; 46 frames of 1 MiB wait, the rest is refused with a log line; no accepted frame");
  }

  bool isReady() const { return recorder->videoWriterInput()->isReadyForMoreMediaData(); }
  void append() {
    recorder->appendVideoSample(FrameBuilder().at(timeMs).build());
    timeMs += 40;
  }
  /// Appends until the recorder has no room and never will while the disk holds on.
  void fill() {
    append();
    while (!(coded->load() >= kMostCoded && !isReady())) {
      if (isReady()) append();
      std::this_thread::yield();
    }
  }
  std::size_t refused() const {
    std::size_t count = 0;
    for (const auto& line : delegate->lines())
      count += line.message.find("sample not appended") != std::string::npos ? 1 : 0;
    return count;
  }

  TemporaryFolder folder;
  std::string path = folder / "movie.mp4";
  Gate gate;
  std::atomic<std::size_t> syncs{0};
  FaultDisk disk{folder.path(), withoutWaiting([this](const DiskEvent& event) {
                   // The head's is let through.
                   if (event.call == DiskCall::sync && ++syncs > 1) gate.pass();
                   return DiskAnswer{};
                 })};
  CodedCount coded = std::make_shared<std::atomic<std::size_t>>(0);
  std::shared_ptr<RememberingDelegate> delegate = std::make_shared<RememberingDelegate>();
  std::shared_ptr<VXVideoRecorder> recorder = VXVideoRecorder::initWithDelegate(delegate);
  std::uint32_t timeMs = 0;
};

// Nothing here could go on if the host's calls waited for the disk: they are made while it holds.
TEST_F(SlowDisk, NeverHoldsTheHostAndTakesABoundedNumberOfFrames) {
  fill();
  ASSERT_TRUE(gate.waitUntilHeld());
  EXPECT_EQ(coded->load(), kMostCoded);
  const std::size_t before = refused();
  for (int i = 0; i < 3; ++i) append();
  EXPECT_EQ(refused(), before + 3);
  EXPECT_THAT(delegate->lines().back().message, HasSubstr("readyForMoreMediaData = 0, status = 1"));
}

TEST_F(SlowDisk, LosesNoFrameThatWasAccepted) {
  fill();
  gate.open();
  ASSERT_TRUE(
      recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::minutes(1)));
  recorder->stop();
  ASSERT_TRUE(delegate->waitForFilesDone());
  const CheckedMovie movie = checkMovieFile(path);
  EXPECT_THAT(movie.findings, IsEmpty());
  ASSERT_NE(movie.video(), nullptr);
  // The last frame is held by the recorder until it is stopped.
  EXPECT_EQ(movie.video()->samples.size(), kMostAccepted + 1);
}

TEST_F(SlowDisk, KeepsWhatIsInTheFileReadableWhileItHolds) {
  fill();
  ASSERT_TRUE(gate.waitUntilHeld());
  const CheckedMovie movie = checkMovieFile(path, FileEnd::mayBeTorn);
  EXPECT_THAT(movie.findings, IsEmpty());
  EXPECT_EQ(movie.form, MovieForm::fragmented);
}

}  // namespace
}  // namespace vx::test
