// Recorders that are let go of at awkward moments, again and again: nothing hangs, nothing is left
// behind, and the host hears as often as it should.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "stress/child.h"
#include "stress/form.h"
#include "support/frame_source.h"
#include "support/movie_checker.h"
#include "support/program.h"
#include "support/recorder_peer.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

std::size_t entriesOf(const char* folder) {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    static_cast<void>(entry);
    ++count;
  }
  return count;
}

/// Recordings of a few small frames, one after the other.
class AgainAndAgain : public testing::Test {
 protected:
  void SetUp() override {
    std::thread([] {}).join();  // a sanitizer's own thread comes with the first
    threadsBefore = entriesOf("/proc/self/task");
    record(2);  // whatever a process makes once is there now
    recorder->stop();
    ASSERT_TRUE(ear->waitForFilesDone());
    letGo();
    ASSERT_TRUE(waitUntil([&] { return entriesOf("/proc/self/task") <= threadsBefore; }));
    filesBefore = entriesOf("/proc/self/fd");
  }
  void TearDown() override {
    EXPECT_TRUE(waitUntil([&] { return entriesOf("/proc/self/task") <= threadsBefore; }));
    EXPECT_TRUE(waitUntil([&] { return entriesOf("/proc/self/fd") <= filesBefore; }));
  }

  /// A recorder with these many frames, at least one of which is written when there are two.
  void record(int frames) {
    std::filesystem::remove(path);
    ear = std::make_shared<RememberingDelegate>();
    makeRecorder();
    for (int i = 0; i < frames; ++i) {
      append(i);
    }
  }
  void makeRecorder() {
    recorder = VXVideoRecorder::initWithDelegate(ear);
    recorder->setStoragePath(folder.path());
    recorder->setFilename("again.mp4");
  }
  void append(int number) {
    if (const auto input = recorder->videoWriterInput()) {
      ASSERT_TRUE(input->waitUntilReadyForMoreMediaData(kBound));
    }
    recorder->appendVideoSample(
        {{"timestamp", static_cast<std::uint32_t>(number * 40)},
         {"frameBuffer", NSData::dataWithBytesNoCopy(picture.bytes.data(), picture.bytes.size())},
         {"pixelFormatType", picture.format},
         {"width", picture.width},
         {"height", picture.height},
         {"bytesPerRow", picture.bytesPerRow}});
  }
  /// Drops the recorder; the pools that it leaves to the process are given back here, so that what
  /// is left is what leaked.
  void letGo() {
    const std::vector<CVPixelBufferPoolRef> pools =
        recorder ? VXVideoRecorderPeer(*recorder).pools() : std::vector<CVPixelBufferPoolRef>();
    recorder.reset();
    for (CVPixelBufferPoolRef pool : pools) {
      CVPixelBufferPoolRelease(pool);
    }
  }
  bool becomesWhole(std::size_t frames) const {
    return waitUntil([&] {
             std::error_code missing;
             return std::filesystem::file_size(path, missing) > 64 && !missing &&
                    checkMovieFile(path, FileEnd::mayBeTorn).form == MovieForm::plain;
           }) &&
           isWhole(frames);
  }
  bool isWhole(std::size_t frames) const {
    const CheckedMovie movie = checkMovieFile(path);
    EXPECT_THAT(movie.findings, testing::IsEmpty());
    return movie.form == MovieForm::plain && movie.video() != nullptr &&
           movie.video()->samples.size() == frames;
  }

  TemporaryFolder folder;
  std::string path = folder / "again.mp4";
  SourceFrame picture = makeSourceFrame(kCVPixelFormatType_32BGRA, 64, 48, quarters(64, 48));
  std::shared_ptr<RememberingDelegate> ear;
  std::shared_ptr<VXVideoRecorder> recorder;
  std::size_t threadsBefore = 0;
  std::size_t filesBefore = 0;
};

void reportRounds(const char* what, int count) {
  report(std::string(what) + " | " + std::to_string(count) +
         " recordings | nothing; no hang, no thread or file left, the notice as often as due");
}

TEST_F(AgainAndAgain, DestroyedWhileRecording) {
  const int count = rounds(5, 1000);
  for (int i = 0; i < count && !HasFailure(); ++i) {
    const int frames = 1 + i % 5;
    record(frames);
    letGo();
    EXPECT_TRUE(becomesWhole(static_cast<std::size_t>(frames)));
    EXPECT_EQ(ear->filesDone(), 0);
  }
  reportRounds("recorder destroyed while it records", count);
}

TEST_F(AgainAndAgain, DestroyedWhileFinishing) {
  const int count = rounds(5, 1000);
  for (int i = 0; i < count && !HasFailure(); ++i) {
    const int frames = 1 + i % 5;
    record(frames);
    recorder->stop();
    letGo();
    EXPECT_TRUE(ear->waitForFilesDone());
    EXPECT_TRUE(isWhole(static_cast<std::size_t>(frames)));
    EXPECT_EQ(ear->filesDone(), 1);
  }
  reportRounds("recorder destroyed while it finishes", count);
}

TEST_F(AgainAndAgain, StoppedTwice) {
  const int count = rounds(5, 1000);
  for (int i = 0; i < count && !HasFailure(); ++i) {
    record(3);
    recorder->stop();
    recorder->stop();
    EXPECT_TRUE(ear->waitForFilesDone());
    recorder->stop();
    letGo();
    EXPECT_TRUE(isWhole(3));
    EXPECT_EQ(ear->filesDone(), 1);
  }
  reportRounds("`stop` twice, and again after the notice", count);
}

TEST_F(AgainAndAgain, StoppedWithoutAFrame) {
  const int count = rounds(5, 1000);
  for (int i = 0; i < count && !HasFailure(); ++i) {
    record(0);
    recorder->stop();
    recorder->pause();
    recorder->stop();
    letGo();
    EXPECT_EQ(ear->filesDone(), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
  }
  report("`stop` without a frame | " + std::to_string(count) +
         " times | nothing: no file, no notice");
}

/// Lets go of the host's recorder from within a log line or the notice.
struct LettingGo : RememberingDelegate {
  void writeLog(const std::string& message, std::int32_t level) override {
    RememberingDelegate::writeLog(message, level);
    if (!at.empty() && message.find(at) != std::string::npos) {
      host->reset();
    }
  }
  void writeVideoFileDone() override {
    if (at.empty()) {
      host->reset();
    }
    RememberingDelegate::writeVideoFileDone();
  }
  std::shared_ptr<VXVideoRecorder>* host = nullptr;
  std::string at;
};

TEST_F(AgainAndAgain, DestroyedFromWithinItsOwnCalls) {
  const int count = rounds(8, 1000);
  const std::vector<std::string> moments = {"Started writing", "started session", "Record again",
                                            ""};
  for (int i = 0; i < count && !HasFailure(); ++i) {
    std::filesystem::remove(path);
    auto lettingGo = std::make_shared<LettingGo>();
    lettingGo->at = moments[static_cast<std::size_t>(i) % moments.size()];
    lettingGo->host = &recorder;
    ear = lettingGo;
    makeRecorder();
    for (int frame = 0; frame < 3 && recorder; ++frame) {
      append(frame);
    }
    const bool isStopped = recorder != nullptr;
    if (isStopped) {
      recorder->stop();
      EXPECT_TRUE(ear->waitForFilesDone());
    }
    EXPECT_TRUE(waitUntil(
        [&] { return checkMovieFile(path, FileEnd::mayBeTorn).form == MovieForm::plain; }));
    EXPECT_EQ(ear->filesDone(), isStopped ? 1 : 0);
  }
  reportRounds("recorder destroyed from within its own callbacks", count);
}

TEST_F(AgainAndAgain, LeftBehindByAProcessThatEnds) {
  const int count = rounds(5, 1000);
  for (int i = 0; i < count && !HasFailure(); ++i) {
    Child child([&](const Teller&) {
      record(3);
      if (i % 3 == 0) {
        recorder->stop();  // and still there
      } else if (i % 3 == 1) {
        recorder->stop();
        recorder.reset();
      } else {
        recorder.reset();
      }
    });
    EXPECT_EQ(child.wait(), 0);
    EXPECT_TRUE(isWhole(3)) << i % 3;
  }
  reportRounds("recorder left behind by a process that ends", count);
}

}  // namespace
}  // namespace vx::test
