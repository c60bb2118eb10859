// Stop and pause; finish_step_test.cpp and destruction_test.cpp have the rest of the file.
#include "support/media_reader.h"
#include "support/recorder_fixture.h"

using namespace vx;

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class Stop : public RecorderTest {
 protected:
  std::vector<std::string> messages() const {
    std::vector<std::string> texts;
    for (const auto& entry : delegate->lines()) {
      texts.push_back(entry.message);
    }
    return texts;
  }
};

TEST_F(Stop, WithoutWriterDoesNothing) {
  recorder->setWriting(true);
  recorder->stop();
  EXPECT_TRUE(recorder->writing());
  EXPECT_TRUE(delegate->lines().empty());
}

TEST_F(Stop, WritesTheHeldFrameForOneMillisecond) {
  useScriptedWriter();
  appendAt(0);
  appendAt(40);
  recorder->stop();
  ASSERT_EQ(input->samples.size(), 2u);
  EXPECT_EQ(input->samples[1].presentationTime.value, 40);
  EXPECT_EQ(input->samples[1].duration.value, 1);
  EXPECT_EQ(peer.timestamp(), 41u);
  ASSERT_EQ(writer->sessionEnds.size(), 1u);
  EXPECT_EQ(writer->sessionEnds[0].value, 42);
  EXPECT_EQ(writer->sessionEnds[0].timescale, 1000);
  EXPECT_EQ(peer.buffer(), nullptr);
}

TEST_F(Stop, ClosesInOrder) {
  useScriptedWriter();
  appendAt(0);
  recorder->setWriting(true);
  recorder->stop();
  EXPECT_THAT(writer->calls, ElementsAre("startSession", "append", "markAsFinished", "endSession",
                                         "finishWriting"));
  EXPECT_FALSE(recorder->writing());
}

TEST_F(Stop, WritesTheFrameThatIsHeldInAPauseAsItIs) {
  useScriptedWriter();
  appendAt(0);
  const CVPixelBufferRef held = peer.buffer();
  recorder->pause();
  recorder->stop();
  ASSERT_EQ(input->samples.size(), 1u);
  EXPECT_EQ(input->samples[0].image, held);
  EXPECT_EQ(input->samples[0].duration.value, 1);
  EXPECT_TRUE(peer.pause());
}

TEST_F(Stop, EndsRightBehindTheVideoWhenTheHeldFrameIsRefused) {
  useScriptedWriter();
  appendAt(0);
  appendAt(40);
  input->acceptsSamples = false;
  recorder->stop();
  EXPECT_EQ(peer.timestamp(), 40u);
  EXPECT_EQ(writer->sessionEnds.at(0).value, 41);
}

TEST_F(Stop, WriterWithoutAVideoInputIsEndedAllTheSame) {
  recorder->setWriter(writer);
  recorder->stop();
  EXPECT_THAT(writer->calls, ElementsAre("endSession", "finishWriting"));
  EXPECT_TRUE(delegate->lines().empty());
}

TEST_F(Stop, LeavesTheAudioInputOpen) {
  useScriptedWriter();
  auto audio = std::make_shared<ScriptedInput>(AVMediaTypeAudio);
  recorder->setAudioWriterInput(audio);
  recorder->stop();
  EXPECT_EQ(input->timesMarkedAsFinished, 1);
  EXPECT_EQ(audio->timesMarkedAsFinished, 0);
}

TEST_F(Stop, KeepsTheHeldFrameThatTheInputRefuses) {
  useScriptedWriter();
  appendAt(0);
  const CVPixelBufferRef held = peer.buffer();
  input->ready = false;
  recorder->stop();
  EXPECT_EQ(peer.buffer(), held);
  EXPECT_EQ(writer->sessionEnds.at(0).value, 1);
}

TEST_F(Stop, EndTimeWraps) {
  useScriptedWriter();
  peer.timestamp() = 4294967295u;
  recorder->stop();
  ASSERT_EQ(writer->sessionEnds.size(), 1u);
  EXPECT_EQ(writer->sessionEnds[0].value, 0);
  EXPECT_EQ(writer->sessionEnds[0].timescale, 1000);
}

TEST_F(Stop, ClearsNothing) {
  useScriptedWriter(7);
  recorder->setFirstAudioBuffer(true);
  appendAt(7);
  appendAt(47);
  recorder->pause();
  input->ready = false;
  const CVPixelBufferRef held = peer.buffer();
  recorder->stop();
  EXPECT_EQ(peer.buffer(), held);
  EXPECT_EQ(recorder->writer(), writer);
  EXPECT_EQ(recorder->videoWriterInput(), input);
  EXPECT_EQ(peer.startTime(), 7u);
  EXPECT_EQ(peer.timestamp(), 40u);
  EXPECT_TRUE(peer.pause());
  EXPECT_TRUE(recorder->startedSession());
  EXPECT_TRUE(recorder->firstAudioBuffer());
  EXPECT_TRUE(CMTIME_IS_VALID(recorder->firstVideoFrameTime()));
  EXPECT_EQ(peer.pools().size(), 1u);
}

TEST_F(Stop, FolderThatIsRemovedDuringTheRecordingEndsItAsFailed) {
  recorder->setFilename("a_1.mp4");
  recorder->setFileNamePrefix("rec");
  recorder->setFolderLimitSize(1);
  appendAt(0);
  appendAt(40);
  std::filesystem::remove_all(folder.path());
  appendAt(80);
  EXPECT_EQ(countOf("[VXVideoRecorder] Error Obtaining System disk Info: Domain = "
                    "NSCocoaErrorDomain, Code = 260",
                    1),
            1);
  EXPECT_EQ(countOf(line(" status 1 with error (null)")), 1);
  recorder->stop();
  ASSERT_TRUE(delegate->waitForFilesDone());
  EXPECT_EQ(countOf(recordLine("failed")), 1);
}

TEST_F(Stop, RecorderThatAnotherOneTookTheFileFromEndsAsFailedAndTheOtherIsWhole) {
  recorder->setFilename("same.mp4");
  appendAt(0);
  appendAt(40);
  const auto secondDelegate = std::make_shared<RememberingDelegate>();
  const auto second = VXVideoRecorder::initWithDelegate(secondDelegate);
  second->setStoragePath(folder.path());
  second->setFilename("same.mp4");
  for (std::uint32_t ms : {0u, 40u, 80u}) {
    const NSDictionary frame = FrameBuilder().at(ms).build();
    second->appendVideoSample(frame);
  }
  recorder->stop();
  ASSERT_TRUE(delegate->waitForFilesDone());
  EXPECT_EQ(countOf(recordLine("failed")), 1);
  second->stop();
  ASSERT_TRUE(secondDelegate->waitForFilesDone());
  EXPECT_THAT(secondDelegate->lines().back().message, HasSubstr(" Record same.mp4 - done"));
  EXPECT_EQ(vx::test::readFile(folder / "same.mp4").videoTimesMs(),
            (std::vector<std::int64_t>{0, 40, 80}));
}

struct GuardedStep {
  const char* name;
  std::function<void(ScriptedWriter&, ScriptedInput&, NSException)> raise;
  bool writingAfterwards;
  std::vector<std::string> calls;
};

class StopRaises : public Stop, public testing::WithParamInterface<GuardedStep> {};

TEST_P(StopRaises, AndTheRestIsSkipped) {
  useScriptedWriter();
  recorder->setWriting(true);
  GetParam().raise(*writer, *input, NSException(NSInternalInconsistencyException, "out of order"));
  recorder->stop();
  EXPECT_THAT(writer->calls, testing::ElementsAreArray(GetParam().calls));
  EXPECT_EQ(recorder->writing(), GetParam().writingAfterwards);
  ASSERT_EQ(delegate->lines().size(), 1u);
  EXPECT_THAT(messages()[0], StartsWith(line(" exception : out of order. (\n    \"")));
  EXPECT_THAT(messages()[0], testing::EndsWith("\n)"));
  EXPECT_EQ(delegate->lines()[0].level, 2);
  EXPECT_TRUE(writer->finishHandlers.empty());
}

INSTANTIATE_TEST_SUITE_P(
    All, StopRaises,
    testing::Values(
        GuardedStep{"markAsFinished",
                    [](ScriptedWriter&, ScriptedInput& i, NSException e) { i.raisesOnFinish = e; },
                    true,
                    {"markAsFinished"}},
        GuardedStep{
            "endSession",
            [](ScriptedWriter& w, ScriptedInput&, NSException e) { w.raisesOnEndSession = e; },
            true,
            {"markAsFinished", "endSession"}},
        GuardedStep{"finishWriting",
                    [](ScriptedWriter& w, ScriptedInput&, NSException e) { w.raisesOnFinish = e; },
                    false,
                    {"markAsFinished", "endSession", "finishWriting"}}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(Stop, WhatTheFlushOfTheHeldFrameRaisesPasses) {
  useScriptedWriter();
  recorder->setWriting(true);
  appendAt(0);
  const auto before = delegate->lines().size();
  input->onAppend = [](CMSampleBufferRef) {
    throw NSException(NSInternalInconsistencyException, "from the flush");
  };
  EXPECT_THROW(recorder->stop(), NSException);
  EXPECT_EQ(input->timesMarkedAsFinished, 0);
  EXPECT_TRUE(recorder->writing());
  ASSERT_EQ(delegate->lines().size(), before + 1);
  EXPECT_EQ(messages().back(), line(" started session in appendVideoSample"));
}

TEST_F(Stop, OtherExceptionsThanThePlatformsPass) {
  struct BrokenInput : ScriptedInput {
    void markAsFinished() override { throw std::runtime_error("not the platform's"); }
  };
  useScriptedWriter();
  recorder->setVideoWriterInput(std::make_shared<BrokenInput>());
  EXPECT_THROW(recorder->stop(), std::runtime_error);
  EXPECT_TRUE(delegate->lines().empty());
  EXPECT_TRUE(writer->calls.empty());
  recorder->setVideoWriterInput(input);
}

TEST_F(Stop, PreparedWriterThatNeverStartedIsLoggedAsException) {
  ASSERT_TRUE(peer.prepareWithConfig(CGSizeMake(64, 48)));
  recorder->stop();
  ASSERT_EQ(delegate->lines().size(), 1u);
  EXPECT_THAT(messages()[0], HasSubstr(" exception : "));
  EXPECT_EQ(delegate->filesDone(), 0);
}

TEST_F(Stop, SecondStopIsLoggedAsExceptionAndAnnouncedOnce) {
  appendAt(0);
  recorder->stop();
  recorder->stop();
  ASSERT_TRUE(delegate->waitForFilesDone());
  recorder->stop();
  EXPECT_EQ(delegate->filesDone(), 1);
  EXPECT_EQ(countOf(recordLine("done")), 1);
  int exceptions = 0;
  for (const std::string& message : messages()) {
    exceptions += message.find(" exception : ") != std::string::npos;
  }
  EXPECT_EQ(exceptions, 2);
}

TEST_F(Stop, FramesAfterStopAreRefusedWithTheirLine) {
  appendAt(0);
  recorder->stop();
  ASSERT_TRUE(delegate->waitForFilesDone());
  appendAt(40);
  EXPECT_EQ(countOf(line(" appendVideoSample - sample not appended; readyForMoreMediaData = 0, "
                         "status = 2")),
            1);
}

TEST_F(Stop, PauseOnlySetsTheFlag) {
  useScriptedWriter();
  appendAt(40);
  recorder->setWriting(true);
  const CVPixelBufferRef held = peer.buffer();
  recorder->pause();
  EXPECT_TRUE(peer.pause());
  EXPECT_TRUE(recorder->writing());
  EXPECT_EQ(peer.buffer(), held);
  EXPECT_EQ(peer.startTime(), 0u);
  EXPECT_TRUE(delegate->lines().empty());
  EXPECT_TRUE(writer->calls.empty());
}

TEST_F(Stop, PauseNeedsNoWriter) {
  recorder->pause();
  EXPECT_TRUE(peer.pause());
  EXPECT_EQ(recorder->writer(), nullptr);
  EXPECT_TRUE(delegate->lines().empty());
}

}  // namespace
