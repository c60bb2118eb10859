// Destruction: a stop, and then everything goes, in order and without a word.
#include "support/recorder_fixture.h"

#include "platform/cf_ref.h"

using namespace vx;

namespace {

using testing::ElementsAre;

using Destruction = RecorderTest;

/// An object of this kind that notes when it goes.
template <typename T, typename... Arguments>
std::shared_ptr<T> noting(std::vector<std::string>& gone, const std::string& name,
                          Arguments... arguments) {
  return std::shared_ptr<T>(new T(arguments...), [&gone, name](T* object) {
    gone.push_back(name);
    delete object;
  });
}

TEST_F(Destruction, OfAnIdleRecorderSaysNothing) {
  recorder.reset();
  EXPECT_TRUE(delegate->lines().empty());
  EXPECT_EQ(delegate.use_count(), 1);
}

TEST_F(Destruction, WritesTheHeldFrameForOneMillisecond) {
  useScriptedWriter();
  appendAt(0);
  appendAt(40);
  recorder.reset();
  ASSERT_EQ(input->samples.size(), 2u);
  EXPECT_EQ(input->samples[1].duration.value, 1);
}

TEST_F(Destruction, AfterAStopLogsWhatTheWriterRaises) {
  useScriptedWriter();
  recorder->stop();
  writer->complete(AVAssetWriterStatusCompleted);
  input->raisesOnFinish = NSException(NSInternalInconsistencyException, "finished already");
  const std::string expected = line(" exception : finished already. (");
  recorder.reset();
  EXPECT_THAT(delegate->lines().back().message, testing::StartsWith(expected));
}

TEST_F(Destruction, LetsGoOfEverythingInOrderAfterTheStop) {
  std::vector<std::string> gone;
  auto video = noting<ScriptedInput>(gone, "video input");
  video->calls = &gone;
  auto handler = noting<int>(gone, "completion handler");
  recorder->delegate = noting<RememberingDelegate>(gone, "delegate");
  recorder->setWriter(noting<ScriptedWriter>(gone, "writer"));
  recorder->setVideoWriterInput(std::move(video));
  recorder->setAudioWriterInput(noting<ScriptedInput>(gone, "audio input", AVMediaTypeAudio));
  recorder->setCompletionHandler([handler = std::move(handler)] {});
  recorder.reset();
  EXPECT_THAT(gone, ElementsAre("markAsFinished", "delegate", "writer", "audio input",
                                "video input", "completion handler"));
}

TEST_F(Destruction, DoesNotReleaseAHeldFrameThatCouldNotBeWritten) {
  useScriptedWriter();
  appendAt(0);
  const auto held = CFRef<CVPixelBufferRef>::retain(peer.buffer());
  input->ready = false;
  recorder.reset();
  EXPECT_TRUE(input->samples.empty());
  EXPECT_EQ(CFGetRetainCount(held.get()), 2);
  CFRelease(held.get());  // in the recorder's place
}

TEST_F(Destruction, OfAHeldFrameWithoutAWriterWritesNothing) {
  useScriptedWriter();
  appendAt(0);
  const auto held = CFRef<CVPixelBufferRef>::adopt(peer.buffer());
  recorder->setWriter(nullptr);
  recorder.reset();
  EXPECT_TRUE(input->samples.empty());
  EXPECT_EQ(input->timesMarkedAsFinished, 0);
  EXPECT_TRUE(delegate->lines().empty());
}

TEST_F(Destruction, LetsNothingOutThatTheDelegateRaises) {
  struct Raising : VXVideoRecorderDelegate {
    bool wasAsked = false;
    void writeLog(const std::string&, std::int32_t) override {
      wasAsked = true;
      throw std::runtime_error("the host's own");
    }
  };
  useScriptedWriter();
  appendAt(0);
  const auto raising = std::make_shared<Raising>();
  recorder->delegate = raising;
  EXPECT_NO_THROW(recorder.reset());
  EXPECT_TRUE(raising->wasAsked);
  EXPECT_EQ(raising.use_count(), 1);
}

TEST_F(Destruction, FinishesTheFileWithoutAWordToTheDelegate) {
  useScriptedWriter();
  recorder->setFilename("new_1.mp4");
  recorder->setFileNamePrefix("old");
  recorder->setFolderLimitSize(1);
  const std::string victim = folder / "old.mp4";
  std::ofstream(victim) << std::string(2'000'000, 'x');
  appendAt(0);
  recorder.reset();
  EXPECT_EQ(delegate.use_count(), 1);
  const auto linesBefore = delegate->lines().size();
  ASSERT_EQ(writer->finishHandlers.size(), 1u);
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_EQ(delegate->lines().size(), linesBefore);
  EXPECT_EQ(delegate->filesDone(), 0);
  EXPECT_FALSE(std::filesystem::exists(victim)) << "the quota is kept all the same";
}

TEST_F(Destruction, DeletesNothingWithoutAQuota) {
  useScriptedWriter();
  recorder->setFilename("new_1.mp4");
  recorder->setFileNamePrefix("old");
  std::ofstream(folder / "old.mp4") << "x";
  recorder.reset();
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_TRUE(std::filesystem::exists(folder / "old.mp4"));
}

TEST_F(Destruction, QuotaSparesTheFileWhateverItsName) {
  useScriptedWriter();
  std::ofstream(folder / "rec_a_1.mp4") << std::string(2'000'000, 'x');
  writer->url = NSURL::fileURLWithPath(folder / "rec_a_1.mp4");
  recorder->setFilename("next_1.mp4");
  recorder->setFileNamePrefix("rec");
  recorder->setFolderLimitSize(1);
  recorder.reset();
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_TRUE(std::filesystem::exists(folder / "rec_a_1.mp4"));
}

}  // namespace
