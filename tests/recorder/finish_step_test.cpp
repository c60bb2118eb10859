// What comes once the writer has finished: the quota, the line of the log, the notice.
#include "support/recorder_fixture.h"

#include <thread>

using namespace vx;

namespace {

using testing::ElementsAre;

using FinishStep = RecorderTest;

TEST_F(FinishStep, CompletedWriterIsDone) {
  useScriptedWriter();
  recorder->setFilename("a.mp4");
  recorder->stop();
  EXPECT_TRUE(delegate->lines().empty());
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_THAT(delegate->lines(), ElementsAre(RememberingDelegate::Line{recordLine("done"), 2}));
  EXPECT_EQ(delegate->filesDone(), 1);
}

TEST_F(FinishStep, EveryOtherStatusIsFailed) {
  for (const auto status : {AVAssetWriterStatusUnknown, AVAssetWriterStatusWriting,
                            AVAssetWriterStatusFailed, AVAssetWriterStatusCancelled}) {
    useScriptedWriter();
    recorder->setFilename("a.mp4");
    writer->currentStatus = AVAssetWriterStatusWriting;
    recorder->stop();
    writer->complete(status);
  }
  EXPECT_EQ(countOf(recordLine("failed")), 4);
  EXPECT_EQ(delegate->filesDone(), 4);
}

TEST_F(FinishStep, WriterThatIsGoneCountsAsFailed) {
  useScriptedWriter();
  recorder->stop();
  auto handlers = std::move(writer->finishHandlers);
  writer->currentStatus = AVAssetWriterStatusCompleted;  // what nobody can ask it any more
  std::weak_ptr<ScriptedWriter> gone = writer;
  recorder->setWriter(nullptr);
  writer.reset();
  EXPECT_TRUE(gone.expired()) << "the finish step keeps it";
  handlers.at(0)();
  EXPECT_EQ(countOf(recordLine("failed")), 1);
}

TEST_F(FinishStep, CarriesTheNameOfItsMoment) {
  useScriptedWriter();
  recorder->setFilename("then.mp4");
  recorder->stop();
  recorder->setFilename("later.mp4");
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_EQ(countOf(line(" Record then.mp4 - done")), 1);
}

TEST_F(FinishStep, AbsentNamePrintsAsNull) {
  useScriptedWriter();
  recorder->stop();
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_EQ(countOf(line(" Record (null) - done")), 1);
}

TEST_F(FinishStep, QuotaRunsBeforeTheLineWithTheLimitOfThatMoment) {
  useScriptedWriter();
  recorder->setFilename("new_1.mp4");
  recorder->setFileNamePrefix("old");
  const std::string victim = folder / "old.mp4";
  std::ofstream(victim) << std::string(2'000'000, 'x');
  recorder->stop();
  recorder->setFolderLimitSize(1);
  bool victimWasGone = false;
  struct Watcher : VXVideoRecorderDelegate {
    std::function<void()> onLine;
    void writeLog(const std::string&, std::int32_t) override { onLine(); }
  };
  auto watcher = std::make_shared<Watcher>();
  watcher->onLine = [&] { victimWasGone = !std::filesystem::exists(victim); };
  recorder->delegate = watcher;
  writer->complete(AVAssetWriterStatusFailed);
  EXPECT_TRUE(victimWasGone);
}

TEST_F(FinishStep, QuotaSparesByTheNameOfItsMoment) {
  useScriptedWriter();
  recorder->setFilename("rec_a_1.mp4");
  recorder->setFileNamePrefix("rec");
  recorder->setFolderLimitSize(1);
  std::ofstream(folder / "rec_a_2.mp4") << std::string(2'000'000, 'x');
  std::ofstream(folder / "rec_b_2.mp4") << std::string(2'000'000, 'x');
  recorder->stop();
  recorder->setFilename("rec_b_1.mp4");
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_TRUE(std::filesystem::exists(folder / "rec_a_2.mp4"));
  EXPECT_FALSE(std::filesystem::exists(folder / "rec_b_2.mp4"));
}

TEST_F(FinishStep, CompletionHandlerOfTheHostIsNeverCalled) {
  useScriptedWriter();
  bool called = false;
  recorder->setCompletionHandler([&] { called = true; });
  recorder->stop();
  writer->complete(AVAssetWriterStatusCompleted);
  recorder.reset();
  EXPECT_FALSE(called);
}

TEST_F(FinishStep, RunsOnAThreadOfTheWriter) {
  struct ThreadOfTheNotice : RememberingDelegate {
    std::thread::id thread;
    void writeVideoFileDone() override {
      thread = std::this_thread::get_id();
      RememberingDelegate::writeVideoFileDone();
    }
  };
  const auto noting = std::make_shared<ThreadOfTheNotice>();
  recorder->delegate = noting;
  appendAt(0);
  recorder->stop();
  ASSERT_TRUE(noting->waitForFilesDone());
  EXPECT_NE(noting->thread, std::this_thread::get_id());
}

TEST_F(FinishStep, QuotaSparesTheFileEvenIfTheHostNamedTheNextOneBefore) {
  for (const std::optional<std::string>& next :
       {std::optional<std::string>(), std::optional<std::string>("next_1.mp4")}) {
    recorder = VXVideoRecorder::initWithDelegate(delegate);
    recorder->setStoragePath(folder.path());
    recorder->setFilename("rec_a_1.mp4");
    recorder->setFileNamePrefix("rec");
    recorder->setFolderLimitSize(1);
    std::ofstream(folder / "rec_z_1.mp4") << std::string(2'000'000, 'x');
    appendAt(0);
    recorder->setFilename(next);
    recorder->stop();
    ASSERT_TRUE(delegate->waitForFilesDone(next ? 2 : 1));
    EXPECT_TRUE(std::filesystem::exists(folder / "rec_a_1.mp4"));
    EXPECT_FALSE(std::filesystem::exists(folder / "rec_z_1.mp4"));
  }
}

TEST_F(FinishStep, QuotaSparesTheFileEvenIfTheHostChoseTheFolderAroundItMeanwhile) {
  useScriptedWriter();
  std::filesystem::create_directories(folder / "rec.mp4");
  std::ofstream(folder / "rec.mp4/now.mp4") << std::string(2'000'000, 'x');
  std::ofstream(folder / "rec0.mp4") << std::string(2'000'000, 'x');
  writer->url = NSURL::fileURLWithPath(folder / "rec.mp4/now.mp4");
  recorder->setStoragePath(folder / "rec.mp4");
  recorder->setFilename("now.mp4");
  recorder->setFileNamePrefix("rec");
  recorder->setFolderLimitSize(1);
  recorder->stop();
  recorder->setStoragePath(folder.path());
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_TRUE(std::filesystem::exists(folder / "rec.mp4/now.mp4"));
  EXPECT_FALSE(std::filesystem::exists(folder / "rec0.mp4"));
}

TEST_F(FinishStep, FolderThatIsGoneBeforeTheQuotaIsNoHindrance) {
  useScriptedWriter();
  recorder->setFilename("a_1.mp4");
  recorder->setFileNamePrefix("rec");
  recorder->setFolderLimitSize(1);
  recorder->stop();
  std::filesystem::remove_all(folder.path());
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_EQ(countOf(recordLine("done")), 1);
  EXPECT_EQ(delegate->filesDone(), 1);
}

TEST_F(FinishStep, WithoutQuotaNothingIsDeleted) {
  useScriptedWriter();
  recorder->setFilename("new_1.mp4");
  recorder->setFileNamePrefix("old");
  const std::string other = folder / "old.mp4";
  std::ofstream(other) << "x";
  recorder->stop();
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_TRUE(std::filesystem::exists(other));
}

TEST_F(FinishStep, RecorderLivesUntilTheFinishStepHasRun) {
  useScriptedWriter();
  recorder->setFilename("a.mp4");
  recorder->stop();
  std::weak_ptr<VXVideoRecorder> weak = recorder;
  recorder.reset();
  EXPECT_FALSE(weak.expired());
  writer->raisesOnFinish = NSException(NSInternalInconsistencyException, "finished");
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(delegate->filesDone(), 1);
}

TEST_F(FinishStep, DelegateMayLeaveOutTheNotice) {
  useScriptedWriter();
  recorder->setFilename("a.mp4");
  struct LinesOnly : VXVideoRecorderDelegate {
    std::vector<std::string> lines;
    void writeLog(const std::string& message, std::int32_t) override { lines.push_back(message); }
  };
  auto linesOnly = std::make_shared<LinesOnly>();
  recorder->delegate = linesOnly;
  recorder->stop();
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_THAT(linesOnly->lines, ElementsAre(recordLine("done")));
}

TEST_F(FinishStep, LineComesBeforeTheNotice) {
  useScriptedWriter();
  struct Ordered : VXVideoRecorderDelegate {
    std::vector<std::string> events;
    void writeLog(const std::string&, std::int32_t) override { events.push_back("line"); }
    void writeVideoFileDone() override { events.push_back("notice"); }
  };
  auto ordered = std::make_shared<Ordered>();
  recorder->delegate = ordered;
  recorder->stop();
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_THAT(ordered->events, ElementsAre("line", "notice"));
}

TEST_F(FinishStep, StoppedFileItselfSurvivesItsQuota) {
  recorder->setFilename("rec_1.mp4");
  recorder->setFileNamePrefix("rec");
  recorder->setFolderLimitSize(1);
  const std::string victim = folder / "record-of-old.mp4";
  std::ofstream(victim) << std::string(2'000'000, 'x');
  appendAt(0);
  recorder->stop();
  ASSERT_TRUE(delegate->waitForFilesDone());
  EXPECT_TRUE(std::filesystem::exists(folder / "rec_1.mp4"));
  EXPECT_FALSE(std::filesystem::exists(victim));
}

TEST_F(FinishStep, DelegateMayBeNone) {
  useScriptedWriter();
  recorder->stop();
  recorder->delegate = nullptr;
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_TRUE(writer->finishHandlers.empty());
  EXPECT_TRUE(delegate->lines().empty());
  EXPECT_EQ(delegate->filesDone(), 0);
}

}  // namespace
