// Video intake: the held frame, its times, pauses and refusals.
#include "support/recorder_fixture.h"

#include <thread>

using namespace vx;

namespace {

class VideoIntake : public RecorderTest {
 protected:
  std::vector<std::pair<std::int64_t, std::int64_t>> timesOfSamples() const {
    std::vector<std::pair<std::int64_t, std::int64_t>> times;
    for (const AppendedSample& sample : input->samples) {
      EXPECT_EQ(sample.presentationTime.timescale, 1000);
      EXPECT_EQ(sample.duration.timescale, 1000);
      times.emplace_back(sample.presentationTime.value, sample.duration.value);
    }
    return times;
  }
  std::string refusal(int readiness, int status) const {
    return line(" appendVideoSample - sample not appended; readyForMoreMediaData = " +
                std::to_string(readiness) + ", status = " + std::to_string(status));
  }
};

using testing::ElementsAre;
using testing::Pair;

TEST_F(VideoIntake, FirstFrameOpensTheFileAndWritesNothing) {
  appendAt(5000);
  ASSERT_NE(recorder->writer(), nullptr);
  EXPECT_EQ(recorder->writer()->status(), AVAssetWriterStatusWriting);
  EXPECT_TRUE(recorder->writing());
  EXPECT_EQ(peer.startTime(), 5000u);
  EXPECT_EQ(peer.timestamp(), 0u);
  EXPECT_NE(peer.buffer(), nullptr);
  EXPECT_TRUE(recorder->firstVideoBuffer());
  EXPECT_FALSE(recorder->startedSession());
  EXPECT_EQ(countOf(line(" Started writing video file.")), 1);
}

TEST_F(VideoIntake, FramesLastUntilTheNextOne) {
  useScriptedWriter(5000);
  appendAt(5000);
  EXPECT_TRUE(input->samples.empty());
  appendAt(5040);
  appendAt(5100);
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 40), Pair(40, 60)));
  EXPECT_TRUE(input->samples[0].forcesKeyFrame);
  EXPECT_EQ(input->samples[0].keyFrameMode, kCMAttachmentMode_ShouldPropagate);
  EXPECT_FALSE(input->samples[1].forcesKeyFrame);
  EXPECT_EQ(peer.timestamp(), 100u);
}

TEST_F(VideoIntake, FirstSampleStartsTheSessionOnce) {
  useScriptedWriter();
  recorder->setFirstVideoBuffer(true);
  appendAt(0);
  appendAt(40);
  appendAt(80);
  ASSERT_EQ(writer->sessionStarts.size(), 1u);
  EXPECT_EQ(writer->sessionStarts[0].value, 0);
  EXPECT_EQ(writer->sessionStarts[0].timescale, 1000);
  EXPECT_THAT(writer->calls, ElementsAre("startSession", "append", "append"));
  EXPECT_TRUE(recorder->startedSession());
  EXPECT_FALSE(recorder->firstVideoBuffer());
  EXPECT_EQ(recorder->firstVideoFrameTime().value, 0);
  EXPECT_TRUE(CMTIME_IS_VALID(recorder->firstVideoFrameTime()));
  EXPECT_EQ(countOf(line(" started session in appendVideoSample")), 1);
}

TEST_F(VideoIntake, SampleAloneKeepsItsDescription) {
  useScriptedWriter();
  appendAt(0);
  input->onAppend = [](CMSampleBufferRef sample) {
    EXPECT_EQ(CFGetRetainCount(CMSampleBufferGetFormatDescription(sample)), 1);
  };
  appendAt(40);
  EXPECT_EQ(input->samples.size(), 1u);
}

TEST_F(VideoIntake, FirstVideoFrameTimeIsSetBehindTheAppend) {
  useScriptedWriter();
  bool wasValidDuringAppend = true;
  input->onAppend = [&](CMSampleBufferRef) {
    wasValidDuringAppend = CMTIME_IS_VALID(recorder->firstVideoFrameTime());
  };
  input->acceptsSamples = false;
  appendAt(0);
  appendAt(40);
  EXPECT_FALSE(wasValidDuringAppend);
  EXPECT_TRUE(CMTIME_IS_VALID(recorder->firstVideoFrameTime()));
}

TEST_F(VideoIntake, EqualTimesGiveDurationZero) {
  useScriptedWriter();
  appendAt(0);
  appendAt(0);
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 0)));
}

TEST_F(VideoIntake, ClockThatStepsBackWraps) {
  useScriptedWriter(5000);
  appendAt(5000);
  appendAt(4990);
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 4294967286)));
}

TEST_F(VideoIntake, ClockMayWrapAround) {
  useScriptedWriter(4294967290u);
  appendAt(4294967290u);
  appendAt(30);
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 36)));
}

TEST_F(VideoIntake, PresentationTimesAreWidenedWithoutSign) {
  useScriptedWriter();
  peer.timestamp() = 4294967295u;
  appendAt(4294967295u);
  appendAt(4294967295u);
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(4294967295, 0)));
}

struct PauseCase {
  std::uint32_t frameTime;
  std::uint32_t blackMs;
};

class PauseLength : public VideoIntake, public testing::WithParamInterface<PauseCase> {};

TEST_P(PauseLength, IsCappedAtOneSecondOfBlack) {
  useScriptedWriter(10000);
  appendAt(10000);
  appendAt(10200);  // the held frame now starts at 200 ms
  recorder->pause();
  appendAt(GetParam().frameTime);
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 200), Pair(200, GetParam().blackMs)));
  EXPECT_EQ(GetParam().frameTime - peer.startTime(), 200 + GetParam().blackMs);
  EXPECT_FALSE(peer.pause());
}

INSTANTIATE_TEST_SUITE_P(All, PauseLength,
                         testing::Values(PauseCase{10200, 0}, PauseCase{10800, 600},
                                         PauseCase{10900, 700}, PauseCase{11200, 1000},
                                         PauseCase{11201, 1000}, PauseCase{15200, 1000},
                                         PauseCase{10190, 1000}, PauseCase{0, 1000}));

TEST_F(VideoIntake, ShortPauseStaysAsItIsWhileTheClockWraps) {
  useScriptedWriter(4294967000u);
  appendAt(4294967000u);
  appendAt(4294967200u);
  recorder->pause();
  appendAt(304);  // 400 ms later
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 200), Pair(200, 400)));
  EXPECT_EQ(peer.startTime(), 4294967000u);
}

TEST_F(VideoIntake, PauseMovesTheStartTimeByWhatItCut) {
  useScriptedWriter(0);
  appendAt(0);
  appendAt(100);
  recorder->pause();
  appendAt(5100);
  EXPECT_EQ(peer.startTime(), 4000u);
  EXPECT_EQ(peer.timestamp(), 1100u);
}

TEST_F(VideoIntake, PauseReplacesTheHeldFrameByBlackWithoutReleasingIt) {
  useScriptedWriter();
  appendAt(0);
  const CVPixelBufferRef heldBefore = peer.buffer();
  const auto references = CFGetRetainCount(heldBefore);
  recorder->pause();
  std::uint8_t luma = 0;
  std::uint8_t chroma = 0;
  input->onAppend = [&](CMSampleBufferRef sample) {
    const CVPixelBufferRef image = CMSampleBufferGetImageBuffer(sample);
    CVPixelBufferLockBaseAddress(image, 0);
    luma = *static_cast<std::uint8_t*>(CVPixelBufferGetBaseAddressOfPlane(image, 0));
    chroma = *static_cast<std::uint8_t*>(CVPixelBufferGetBaseAddressOfPlane(image, 2));
    CVPixelBufferUnlockBaseAddress(image, 0);
  };
  append(FrameBuilder().at(300).grey(200));
  ASSERT_EQ(input->samples.size(), 1u);
  EXPECT_NE(input->samples[0].image, heldBefore);
  EXPECT_EQ(luma, 0x10);
  EXPECT_EQ(chroma, 0x80);
  EXPECT_EQ(CFGetRetainCount(heldBefore), references);
}

TEST_F(VideoIntake, PauseWaitsForAFrameThatIsAccepted) {
  useScriptedWriter();
  appendAt(0);
  recorder->pause();
  input->ready = false;
  appendAt(2000);
  appendAt(3000);
  EXPECT_TRUE(peer.pause());
  input->ready = true;
  appendAt(4000);
  EXPECT_FALSE(peer.pause());
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 1000)));
}

TEST_F(VideoIntake, RefusedFrameIsLoggedAndTheHeldOneStays) {
  useScriptedWriter();
  appendAt(0);
  const CVPixelBufferRef held = peer.buffer();
  input->ready = false;
  appendAt(40);
  EXPECT_EQ(peer.buffer(), held);
  EXPECT_EQ(countOf(refusal(0, 1)), 1);
  input->ready = true;
  appendAt(80);
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 80)));
}

TEST_F(VideoIntake, RefusalPrintsTheAudioInputsReadiness) {
  useScriptedWriter();
  auto audio = std::make_shared<ScriptedInput>(AVMediaTypeAudio);
  recorder->setAudioWriterInput(audio);
  input->ready = false;
  appendAt(0);
  EXPECT_EQ(countOf(refusal(1, 1)), 1);
  audio->ready = false;
  appendAt(40);
  EXPECT_EQ(countOf(refusal(0, 1)), 1);
}

TEST_F(VideoIntake, WriterThatDoesNotWriteRefusesWithItsStatus) {
  useScriptedWriter();
  for (const AVAssetWriterStatus status :
       {AVAssetWriterStatusUnknown, AVAssetWriterStatusCompleted, AVAssetWriterStatusFailed,
        AVAssetWriterStatusCancelled}) {
    writer->currentStatus = status;
    appendAt(0);
    EXPECT_EQ(countOf(refusal(0, static_cast<int>(status))), 1);
  }
  EXPECT_EQ(peer.buffer(), nullptr);
}

TEST_F(VideoIntake, NullFrameIsIgnored) {
  recorder->appendVideoSample(nullptr);
  EXPECT_EQ(recorder->writer(), nullptr);
  EXPECT_TRUE(delegate->lines().empty());
}

TEST_F(VideoIntake, FrameWithoutSizeOnlyUpdatesTheRotation) {
  recorder->appendVideoSample({{"multiVideoType", 8u}, {"width", 0u}, {"height", 48u}});
  EXPECT_TRUE(recorder->isVideoRotation());
  recorder->appendVideoSample({{"multiVideoType", 7u}, {"width", 64u}});
  EXPECT_FALSE(recorder->isVideoRotation());
  recorder->appendVideoSample({{"multiVideoType", 0xFFFFFFFFu}});
  EXPECT_TRUE(recorder->isVideoRotation());
  EXPECT_EQ(recorder->writer(), nullptr);
  EXPECT_TRUE(delegate->lines().empty());
}

TEST_F(VideoIntake, FrameWithoutPixelsIsBlack) {
  useScriptedWriter();
  append(FrameBuilder().at(0).withoutPixels());
  ASSERT_NE(peer.buffer(), nullptr);
  CVPixelBufferLockBaseAddress(peer.buffer(), 0);
  EXPECT_EQ(*static_cast<std::uint8_t*>(CVPixelBufferGetBaseAddressOfPlane(peer.buffer(), 0)),
            0x10);
  CVPixelBufferUnlockBaseAddress(peer.buffer(), 0);
}

TEST_F(VideoIntake, TextUnderANumericKeyReachesTheCaller) {
  EXPECT_THROW(append(FrameBuilder().set("timestamp", "soon")), NSException);
  EXPECT_EQ(recorder->writer(), nullptr);
}

TEST_F(VideoIntake, OtherWrongKindsReadAsNothing) {
  useScriptedWriter();
  append(FrameBuilder()
             .set("timestamp", NSNull{})
             .set("isHwDecode", NSArray{})
             .set("multiVideoType", NSDictionary{})
             .set("frameBuffer", 5));
  EXPECT_NE(peer.buffer(), nullptr);
  EXPECT_FALSE(recorder->isVideoRotation());
}

TEST_F(VideoIntake, FailedAppendLeavesTheTimeToTheNextSample) {
  useScriptedWriter();
  appendAt(0);
  input->acceptsSamples = false;
  appendAt(40);
  EXPECT_EQ(peer.timestamp(), 0u);
  EXPECT_EQ(countOf(line(" AVAssetWriter status: AVAssetWriterStatusWriting (1)")), 1);
  input->acceptsSamples = true;
  appendAt(100);
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 40), Pair(0, 100)));
  EXPECT_TRUE(input->samples[1].forcesKeyFrame);
}

TEST_F(VideoIntake, HeldFrameIsOfferedOnceMoreWhenTheInputTurnedNotReady) {
  useScriptedWriter();
  appendAt(0);
  input->nextReadiness = {true, false, true};  // accepted, first attempt, second attempt
  appendAt(40);
  input->nextReadiness = {true, false, true};
  appendAt(100);
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 40), Pair(40, 60)));
}

TEST_F(VideoIntake, HardwareDecodedFrameOverwritesAHeldOneThatCouldNotBeWritten) {
  useScriptedWriter();
  append(FrameBuilder().at(0).grey(10));
  const CVPixelBufferRef lost = peer.buffer();
  input->nextReadiness = {true, false};
  append(FrameBuilder().at(40).grey(20).set("isHwDecode", true));
  EXPECT_NE(peer.buffer(), lost);
  EXPECT_TRUE(input->samples.empty());
  appendAt(100);
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 100)));
}

TEST_F(VideoIntake, FrameThatCannotBeConvertedLeavesItsTimeToTheNext) {
  useScriptedWriter();
  appendAt(0);
  recorder->appendVideoSample(
      {{"timestamp", 40u}, {"pixelFormatType", 0x3F3F3F3Fu}, {"width", 8u}, {"height", 8u}});
  EXPECT_EQ(peer.buffer(), nullptr);
  EXPECT_EQ(countOf(line(" Pixel buffer create failed")), 1);
  appendAt(100);
  appendAt(150);
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 40), Pair(40, 110)));
}

TEST_F(VideoIntake, ThreadIsNamedOnceAfterTheFirstAcceptedFrame) {
  useScriptedWriter();
  recorder->setFilename("meeting.mp4");
  recorder->setIndex(4294967295u);
  std::shared_ptr<NSThread> deliverer;
  std::thread([&] {
    input->ready = false;
    appendAt(0);
    EXPECT_EQ(recorder->thread, nullptr);
    input->ready = true;
    appendAt(10);
    deliverer = NSThread::currentThread();
  }).join();
  EXPECT_EQ(recorder->thread, deliverer);
  EXPECT_EQ(recorder->thread->name(), "[VXVideoRecorder] meeting.mp4 (-1)");
  recorder->setFilename("other.mp4");
  appendAt(20);
  EXPECT_EQ(recorder->thread, deliverer);
  EXPECT_EQ(recorder->thread->name(), "[VXVideoRecorder] meeting.mp4 (-1)");
}

TEST_F(VideoIntake, LowSpaceIsReportedForEveryFrameAndRecordingGoesOn) {
  useScriptedWriter();
  peer.limitFreeSpace() = ~std::uint64_t{0};
  appendAt(0);
  appendAt(40);
  append(FrameBuilder().at(70).set("isHwDecode", true));  // offered once only
  EXPECT_EQ(countOf(line(" status 1 with error (null)")), 3);
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 40), Pair(40, 30)));
}

TEST_F(VideoIntake, FailedQueryOfTheDiskIsReportedForEveryFrameAndRecordingGoesOn) {
  useScriptedWriter();
  recorder->setStoragePath(folder / "none");
  const RememberingDelegate::Line query{
      "[VXVideoRecorder] Error Obtaining System disk Info: Domain = NSCocoaErrorDomain, Code = 260",
      1};
  const RememberingDelegate::Line shortage{line(" status 1 with error (null)"), 2};
  appendAt(0);
  EXPECT_THAT(delegate->lines(), ElementsAre(query, shortage));
  appendAt(40);
  EXPECT_EQ(countOf(query.message, 1), 2);
  EXPECT_EQ(countOf(shortage.message), 2);
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 40)));
}

TEST_F(VideoIntake, FailedPreparationSetsTheClockAnewWithEveryFrame) {
  // The system would cut a name at a zero byte, so no writer is made for it.
  recorder->setFilename(std::string("re\0cording.mp4", 14));
  appendAt(100);
  EXPECT_EQ(recorder->writer(), nullptr);
  EXPECT_EQ(peer.startTime(), 100u);
  peer.timestamp() = 7;
  appendAt(140);
  EXPECT_EQ(peer.startTime(), 140u);
  EXPECT_EQ(peer.timestamp(), 0u);
  EXPECT_TRUE(delegate->lines().empty());
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  recorder->setFilename("recording.mp4");
  appendAt(180);
  EXPECT_EQ(peer.startTime(), 180u);
  EXPECT_EQ(countOf(line(" Started writing video file.")), 1);
}

/// Looks at the recorder at each line of its log.
struct Onlooker : VXVideoRecorderDelegate {
  std::function<void(const std::string&)> onLine;
  void writeLog(const std::string& message, std::int32_t) override { onLine(message); }
};

TEST_F(VideoIntake, ClockIsSetBehindTheStartOfTheWriter) {
  std::vector<std::pair<std::uint32_t, std::uint32_t>> clock;
  auto onlooker = std::make_shared<Onlooker>();
  onlooker->onLine = [&](const std::string& message) {
    if (message == line(" Started writing video file.")) {
      clock.emplace_back(peer.startTime(), peer.timestamp());
    }
  };
  recorder->delegate = onlooker;
  peer.startTime() = 1;
  peer.timestamp() = 2;
  appendAt(5000);
  EXPECT_THAT(clock, ElementsAre(Pair(1u, 2u)));
  EXPECT_EQ(peer.startTime(), 5000u);
  EXPECT_EQ(peer.timestamp(), 0u);
}

TEST_F(VideoIntake, ClockIsSetEvenIfTheDelegateRaisesAtTheStart) {
  auto onlooker = std::make_shared<Onlooker>();
  onlooker->onLine = [](const std::string&) { throw std::runtime_error("the host's own"); };
  recorder->delegate = onlooker;
  peer.timestamp() = 2;
  EXPECT_THROW(appendAt(5000), std::runtime_error);
  ASSERT_NE(recorder->writer(), nullptr);
  EXPECT_EQ(peer.startTime(), 5000u);
  EXPECT_EQ(peer.timestamp(), 0u);
  recorder->delegate = delegate;
}

TEST_F(VideoIntake, WhatTheWriterRaisesReachesTheCaller) {
  useScriptedWriter();
  appendAt(0);
  input->onAppend = [](CMSampleBufferRef) {
    throw NSException(NSInternalInconsistencyException, "out of order");
  };
  EXPECT_THROW(appendAt(40), NSException);
  EXPECT_EQ(peer.timestamp(), 0u);
}

TEST_F(VideoIntake, FailedStartRefusesEveryFrame) {
  append(FrameBuilder().at(100).size(20000, 1));  // too wide for the encoder: the start fails
  EXPECT_EQ(peer.startTime(), 100u);
  EXPECT_EQ(countOf(line(" Error in startWriting")), 1);
  append(FrameBuilder().at(140).size(20000, 1));
  EXPECT_EQ(peer.startTime(), 100u);
  EXPECT_EQ(countOf(refusal(0, 3)), 2);
}

TEST_F(VideoIntake, SampleThatCannotBeMadeIsLoggedAndChangesNoTime) {
  useScriptedWriter();
  peer.timestamp() = 7;
  recorder->setFirstVideoBuffer(true);
  peer.appendBufferWithDuration(5);  // nothing is held
  EXPECT_EQ(countOf(line(" Sample buffer create failed")), 1);
  EXPECT_FALSE(recorder->firstVideoBuffer());
  EXPECT_EQ(peer.timestamp(), 7u);
  EXPECT_TRUE(writer->calls.empty());
}

TEST_F(VideoIntake, PauseWhoseBlackCannotBeMadeKeepsTheHeldFrame) {
  useScriptedWriter();
  appendAt(0);
  const CVPixelBufferRef held = peer.buffer();
  recorder->pause();
  recorder->appendVideoSample(
      {{"timestamp", 300u}, {"pixelFormatType", 0x3F3F3F3Fu}, {"width", 8u}, {"height", 8u}});
  EXPECT_FALSE(peer.pause());
  ASSERT_EQ(input->samples.size(), 1u);
  EXPECT_EQ(input->samples[0].image, held);
  EXPECT_EQ(peer.buffer(), nullptr);
}

TEST_F(VideoIntake, ThreadsNameSaysWhenThereIsNoFilename) {
  useScriptedWriter();
  appendAt(0);
  EXPECT_EQ(recorder->thread->name(), "[VXVideoRecorder] (null) (1)");
}

TEST_F(VideoIntake, SampleIsContiguousOverManyFrames) {
  useScriptedWriter(1000);
  std::uint32_t host = 1000;
  for (std::uint32_t step : {0u, 3u, 17u, 0u, 250u, 16u, 16u, 17u}) {
    appendAt(host += step);
  }
  std::int64_t end = 0;
  for (const auto& [time, duration] : timesOfSamples()) {
    EXPECT_EQ(time, end);
    end = time + duration;
  }
  EXPECT_EQ(end, host - 1000);
  EXPECT_EQ(peer.startTime() + peer.timestamp(), host);
}

}  // namespace
