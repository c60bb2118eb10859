// The folder of a recording goes away while it is recorded.
#include "faults/fault_disk.h"
#include "stress/form.h"
#include "support/movie_checker.h"
#include "support/program.h"
#include "support/recorder_fixture.h"
#include "support/small_disk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/mount.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

namespace vx::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class LostFolder : public testing::Test {
 protected:
  LostFolder() {
    std::filesystem::create_directories(storage);
    std::filesystem::create_directories(around / "bystander");
    std::ofstream(around / "bystander/movie.mp4") << "precious";
    recorder->setStoragePath(storage);
    recorder->setFilename("movie.mp4");
  }

  static void TearDownTestSuite() {
    if (testing::UnitTest::GetInstance()->current_test_suite()->Failed()) return;
    report(
        "folder removed, renamed, replaced, write-protected; disk unmounted, disk read-only | "
        "once each | told by status and text; a moved recording is complete, nothing else is "
        "touched");
  }

  void record(std::uint32_t fromMs, std::uint32_t untilMs) {
    for (std::uint32_t ms = fromMs; ms < untilMs; ms += 40) {
      if (const auto input = recorder->videoWriterInput())
        input->waitUntilReadyForMoreMediaData(std::chrono::minutes(1));
      recorder->appendVideoSample(FrameBuilder().at(ms).build());
    }
  }
  /// Until there is something in the file.
  void begin() {
    record(0, 400);
    ASSERT_TRUE(waitUntil([&] {
      const CheckedMovie movie = checkMovieFile(storage + "/movie.mp4", FileEnd::mayBeTorn);
      return movie.video() != nullptr && !movie.video()->samples.empty();
    }));
  }
  void stop() {
    writer = recorder->writer();
    ASSERT_NE(writer, nullptr);
    // The last frame is held until now, and needs room too.
    recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::minutes(1));
    recorder->stop();
    ASSERT_TRUE(delegate->waitForFilesDone());
  }
  void expectFailure(const char* cause) {
    EXPECT_EQ(writer->status(), AVAssetWriterStatusFailed);
    ASSERT_TRUE(writer->error().has_value());
    EXPECT_THAT(writer->error()->localizedDescription(), HasSubstr(cause));
    EXPECT_THAT(writer->error()->localizedDescription(), HasSubstr(storage));
    EXPECT_THAT(delegate->lines().back().message, HasSubstr("Record movie.mp4 - failed"));
    EXPECT_EQ(delegate->filesDone(), 1);
    EXPECT_EQ(readWholeFile(around / "bystander/movie.mp4").size(), 8u);
  }
  static void expectWhole(const std::string& path, std::size_t pictures) {
    const CheckedMovie movie = checkMovieFile(path);
    EXPECT_THAT(movie.findings, IsEmpty());
    EXPECT_EQ(movie.form, MovieForm::plain);
    ASSERT_NE(movie.video(), nullptr);
    EXPECT_EQ(movie.video()->samples.size(), pictures);
  }

  TemporaryFolder around;
  std::string storage = around / "recordings";
  std::shared_ptr<RememberingDelegate> delegate = std::make_shared<RememberingDelegate>();
  std::shared_ptr<VXVideoRecorder> recorder = VXVideoRecorder::initWithDelegate(delegate);
  std::shared_ptr<AVAssetWriter> writer;
};

TEST_F(LostFolder, ThatWasRemovedFailsTheRecording) {
  begin();
  std::filesystem::remove_all(storage);
  record(400, 800);
  stop();
  expectFailure("was removed");
  EXPECT_FALSE(std::filesystem::exists(storage));
}

TEST_F(LostFolder, ThatWasRenamedFailsTheRecordingAndKeepsAllOfIt) {
  begin();
  std::filesystem::rename(storage, around / "renamed");
  record(400, 800);
  stop();
  expectFailure("was moved");
  expectWhole(around / "renamed/movie.mp4", 20);
}

TEST_F(LostFolder, LeavesWhatTookItsPlaceAlone) {
  begin();
  std::filesystem::rename(storage, around / "renamed");
  std::filesystem::rename(around / "bystander", storage);
  record(400, 800);
  recorder->setFolderLimitSize(1);
  stop();
  EXPECT_EQ(writer->status(), AVAssetWriterStatusFailed);
  EXPECT_EQ(readWholeFile(storage + "/movie.mp4").size(), 8u);
  expectWhole(around / "renamed/movie.mp4", 20);
}

TEST_F(LostFolder, ThatMayNotBeWrittenToAnyMoreIsNoReasonToStop) {
  begin();
  ASSERT_EQ(::chmod(storage.c_str(), 0555), 0);
  record(400, 800);
  stop();
  ::chmod(storage.c_str(), 0755);
  EXPECT_EQ(writer->status(), AVAssetWriterStatusCompleted);
  expectWhole(storage + "/movie.mp4", 20);
}

TEST_F(LostFolder, OfADiskThatWasUnmountedFailsTheRecording) {
  if (::mount("tmpfs", storage.c_str(), "tmpfs", 0, "size=200m") != 0)
    GTEST_SKIP() << "mounting a small disk needs root";
  begin();
  ASSERT_EQ(::umount2(storage.c_str(), MNT_DETACH), 0);
  record(400, 800);
  stop();
  expectFailure("its disk removed");
  EXPECT_TRUE(std::filesystem::is_empty(storage));
}

TEST_F(LostFolder, OfADiskThatBecameReadOnlyFailsTheRecording) {
  FaultDisk disk(storage);
  begin();
  disk.answerWith(failCall(disk.callCount() + 1, EROFS, true));
  record(400, 4000);
  stop();
  expectFailure("became read-only");
  const CheckedMovie movie = checkMovieFile(storage + "/movie.mp4", FileEnd::mayBeTorn);
  EXPECT_THAT(movie.findings, IsEmpty());
  EXPECT_EQ(movie.form, MovieForm::fragmented);
}

TEST_F(LostFolder, DoesNotKeepTheNextRecordingFromWorking) {
  begin();
  std::filesystem::remove_all(storage);
  stop();
  std::filesystem::create_directories(storage);
  const auto next = VXVideoRecorder::initWithDelegate(delegate);
  next->setStoragePath(storage);
  next->setFilename("next.mp4");
  recorder = next;
  record(0, 400);
  recorder->stop();
  ASSERT_TRUE(delegate->waitForFilesDone(2));
  expectWhole(storage + "/next.mp4", 10);
}

}  // namespace
}  // namespace vx::test
