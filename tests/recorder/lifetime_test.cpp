// A recorder may be let go of at any moment, on any thread; its file is completed all the same.
#include "platform/avfoundation/outstanding_work.h"

#include "support/recorder_fixture.h"

#include <sys/wait.h>
#include <unistd.h>

#include <future>
#include <thread>

using namespace vx;

namespace {
bool inForkedChild = false;
}

/// Asked by the leak check at a program's end. A child forked beside running threads has their
/// memory but not their stacks: what only those refer to is no leak.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() {
  return inForkedChild ? 1 : 0;
}

namespace {

class Lifetime : public RecorderTest {
 protected:
  void recordSomeFrames() {
    recorder->setFilename("file.mp4");
    for (std::uint32_t i = 0; i < 5; ++i) {
      recorder->videoWriterInput() &&
          recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::minutes(1));
      appendAt(i * 40);
    }
  }
  /// Blocks until the file is a plain MP4, whose index comes last, or a minute is over.
  bool waitForWholeFile() const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (std::chrono::steady_clock::now() < deadline) {
      if (isPlain()) {
        return true;
      }
      std::this_thread::yield();
    }
    return false;
  }
  /// The placeholder behind `ftyp` has become a 64-bit `mdat`.
  bool isPlain() const {
    std::ifstream file(folder / "file.mp4", std::ios::binary);
    char head[40] = {};
    file.read(head, sizeof head);
    return file && std::string_view(head + 36, 4) == "mdat";
  }

  /// Runs `body` in a child process that then returns from main (as far as a fork can); its exit
  /// status, or -1 when it did not end by itself.
  template <typename Body>
  int inChild(Body&& body) {
    const pid_t child = fork();
    if (child == 0) {
      inForkedChild = true;
      body();
      std::exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
};

TEST_F(Lifetime, LetGoWithoutStopCompletesTheFile) {
  recordSomeFrames();
  recorder.reset();
  EXPECT_TRUE(waitForWholeFile());
  EXPECT_EQ(delegate->filesDone(), 0);
}

TEST_F(Lifetime, LetGoOnAnotherThreadCompletesTheFile) {
  recordSomeFrames();
  std::thread([moved = std::move(recorder)]() mutable { moved.reset(); }).join();
  EXPECT_TRUE(waitForWholeFile());
}

TEST_F(Lifetime, LetGoRightAfterStopCompletesAndAnnouncesTheFile) {
  recordSomeFrames();
  recorder->stop();
  recorder.reset();
  EXPECT_TRUE(delegate->waitForFilesDone());
  EXPECT_TRUE(isPlain());
}

/// Lets go of the recorder from within one of its own calls.
struct LettingGo : RememberingDelegate {
  std::shared_ptr<VXVideoRecorder>* host = nullptr;
  std::string at;  // the line that it lets go at; empty: the notice
  bool alsoStops = false;

  void writeLog(const std::string& message, std::int32_t level) override {
    RememberingDelegate::writeLog(message, level);
    if (!at.empty() && message.find(at) != std::string::npos) {
      act();
    }
  }
  void writeVideoFileDone() override {
    if (at.empty()) {
      act();
    }
    RememberingDelegate::writeVideoFileDone();
  }
  void act() {
    if (alsoStops) {
      (*host)->stop();
    }
    host->reset();
  }
};

class LetGoFromWithin : public Lifetime, public testing::WithParamInterface<const char*> {};

TEST_P(LetGoFromWithin, HarmsNobody) {
  auto lettingGo = std::make_shared<LettingGo>();
  lettingGo->at = GetParam();
  lettingGo->host = &recorder;
  recorder->delegate = lettingGo;
  recorder->setFilename("file.mp4");
  for (std::uint32_t i = 0; i < 3 && recorder; ++i) {
    appendAt(i * 40);
  }
  if (recorder) {
    recorder->stop();
    EXPECT_TRUE(lettingGo->waitForFilesDone());
  }
  EXPECT_TRUE(waitForWholeFile());
}

INSTANTIATE_TEST_SUITE_P(All, LetGoFromWithin,
                         testing::Values("Started writing", "started session", "Record file.mp4",
                                         ""));

TEST_F(Lifetime, StopFromWithinALogLineEndsTheFile) {
  auto lettingGo = std::make_shared<LettingGo>();
  lettingGo->at = "started session";
  lettingGo->alsoStops = true;
  lettingGo->host = &recorder;
  recorder->delegate = lettingGo;
  recorder->setFilename("file.mp4");
  appendAt(0);
  EXPECT_NO_THROW(appendAt(40));
  EXPECT_TRUE(lettingGo->waitForFilesDone());
}

TEST_F(Lifetime, WriterThatIsTakenAwayWithinALineOfTheStopIsNotAskedAnyMore) {
  struct TakingAway : VXVideoRecorderDelegate {
    VXVideoRecorder* host = nullptr;
    void writeLog(const std::string&, std::int32_t) override { host->setWriter(nullptr); }
  };
  useScriptedWriter();
  recorder->setWriting(true);
  appendAt(0);
  const auto takingAway = std::make_shared<TakingAway>();
  takingAway->host = recorder.get();
  recorder->delegate = takingAway;
  recorder->stop();
  EXPECT_THAT(writer->calls, testing::ElementsAre("startSession", "append", "markAsFinished"));
  EXPECT_FALSE(recorder->writing());
}

TEST_F(Lifetime, ReturningFromMainAfterStopLeavesAWholeFile) {
  EXPECT_EQ(inChild([&] {
              recordSomeFrames();
              recorder->stop();
            }),
            0);
  EXPECT_TRUE(isPlain());
}

TEST_F(Lifetime, ReturningFromMainAfterLettingGoLeavesAWholeFile) {
  EXPECT_EQ(inChild([&] {
              recordSomeFrames();
              recorder.reset();
            }),
            0);
  EXPECT_TRUE(isPlain());
}

TEST_F(Lifetime, QuotaOfAFileFinishedAtExitIsApplied) {
  const std::string victim = folder / "old.mp4";
  std::ofstream(victim) << std::string(2'000'000, 'x');
  EXPECT_EQ(inChild([&] {
              recorder->setFileNamePrefix("old");
              recorder->setFolderLimitSize(1);
              recordSomeFrames();
              recorder->stop();
            }),
            0);
  EXPECT_FALSE(std::filesystem::exists(victim));
}

TEST_F(Lifetime, RecorderInAStaticIsCompletedByItsDestructor) {
  EXPECT_EQ(inChild([&] {
              static std::shared_ptr<VXVideoRecorder> kept;
              recordSomeFrames();
              kept = std::move(recorder);
            }),
            0);
  EXPECT_TRUE(isPlain());
}

TEST_F(Lifetime, RecorderInAStaticThatGoesBehindTheWaitIsCompletedToo) {
  EXPECT_EQ(inChild([&] {
              static std::shared_ptr<VXVideoRecorder> kept;
              // As for an earlier file: the program waits before it lets go of this static.
              outstanding_work::begin();
              outstanding_work::end();
              recorder->setFilename("file.mp4");
              for (std::uint32_t i = 0; i < 10; ++i) {  // much is still to be coded then
                append(FrameBuilder().at(i * 40).size(1920, 1080));
              }
              kept = std::move(recorder);
            }),
            0);
  EXPECT_TRUE(isPlain());
}

TEST_F(Lifetime, ExitFromWithinTheNoticeDoesNotHang) {
  struct Exiting : VXVideoRecorderDelegate {
    void writeVideoFileDone() override { std::exit(7); }
  };
  EXPECT_EQ(inChild([&] {
              recorder->delegate = std::make_shared<Exiting>();
              recordSomeFrames();
              recorder->stop();
              pause();
            }),
            7);
  EXPECT_TRUE(isPlain());
}

TEST_F(Lifetime, ChildThatExitsWhileTheParentCompletesAFileDoesNotHang) {
  /// Holds the thread that completes the file: one that ran might hold a lock of the sanitizer's
  /// while the process forks, which the child would wait for.
  struct Holding : VXVideoRecorderDelegate {
    std::promise<void> begun;
    std::promise<void> mayEnd;
    void writeVideoFileDone() override {
      begun.set_value();
      mayEnd.get_future().wait();
    }
  };
  const auto holding = std::make_shared<Holding>();
  recorder->delegate = holding;
  recordSomeFrames();
  recorder->stop();
  holding->begun.get_future().wait();
  EXPECT_EQ(inChild([] {}), 0);
  holding->mayEnd.set_value();
}

TEST_F(Lifetime, WriterThatFailsIsAnnouncedAsFailed) {
  append(FrameBuilder().at(0).size(20000, 1));
  EXPECT_EQ(recorder->writer()->status(), AVAssetWriterStatusFailed);
  recorder->stop();
  ASSERT_TRUE(delegate->waitForFilesDone());
  EXPECT_EQ(countOf(line(" Record Display_1.mp4 - failed")), 1);
}

}  // namespace
