// Audio intake: the gate behind the first video sample, priming and refusals.
#include "platform/cf_ref.h"
#include "support/audio_buffers.h"
#include "support/recorder_fixture.h"

using namespace vx;
using test::aacStream;
using test::AudioBufferBuilder;

namespace {

using Buffer = CFRef<CMSampleBufferRef>;

constexpr std::uint8_t kUnit[] = {0x21, 0x10, 0x04, 0x60};

Buffer makeWithFactory(std::int32_t length, const AudioStreamBasicDescription& stream) {
  static const std::vector<std::uint8_t> bytes(64, 0x55);
  return Buffer::adopt(VXVideoRecorder::createAudioSampleBuffer(bytes.data(), length, stream));
}

Buffer bufferAt(CMTime time) { return AudioBufferBuilder().at(time).unit(kUnit).build(); }

// ---- appending -----------------------------------------------------------------------------

/// A recorder in the middle of a recording with audio.
class AudioIntake : public RecorderTest {
 protected:
  AudioIntake() {
    useScriptedWriter();
    audioInput->calls = &writer->calls;
    audioInput->onAppend = [this](CMSampleBufferRef sample) {
      const Object* trim =
          CMGetAttachment(sample, kCMSampleBufferAttachmentKey_TrimDurationAtStart, &trimMode);
      trims.push_back(trim ? CMTimeMakeFromDictionary(*trim->dictionary()) : kCMTimeInvalid);
    };
    recorder->setAudioWriterInput(audioInput);
    recorder->setFirstVideoFrameTime(kCMTimeZero);
    recorder->setStartedSession(true);
    recorder->setFirstAudioBuffer(true);
  }
  ~AudioIntake() override { audioInput->onAppend = nullptr; }

  void appendAudio(const Buffer& buffer) { recorder->appendAudioSample(buffer.get()); }
  void appendAudioAt(std::int64_t ms) { appendAudio(bufferAt(CMTimeMake(ms, 1000))); }

  std::string refusal(int readiness, int status) const {
    return line(" appendAudioSample - sample not appended;  readyForMoreMediaData = " +
                std::to_string(readiness) + ", status = " + std::to_string(status));
  }

  std::shared_ptr<ScriptedInput> audioInput = std::make_shared<ScriptedInput>(AVMediaTypeAudio);
  std::vector<CMTime> trims;
  CMAttachmentMode trimMode = kCMAttachmentMode_ShouldNotPropagate;
};

using testing::ElementsAre;

TEST_F(AudioIntake, WritesTheTimeThatTheBufferCarries) {
  appendAudio(bufferAt(CMTimeMake(4711, 44100)));
  ASSERT_EQ(audioInput->samples.size(), 1u);
  EXPECT_EQ(audioInput->samples[0].presentationTime.value, 4711);
  EXPECT_EQ(audioInput->samples[0].presentationTime.timescale, 44100);
}

TEST_F(AudioIntake, DropsInSilenceWhatComesBeforeTheFirstVideoSample) {
  recorder->setFirstVideoFrameTime(kCMTimeInvalid);
  audioInput->ready = false;
  appendAudioAt(0);
  EXPECT_TRUE(audioInput->samples.empty());
  EXPECT_TRUE(delegate->lines().empty());
  EXPECT_TRUE(recorder->firstAudioBuffer());
}

TEST_F(AudioIntake, OpensItsGateEvenIfTheFirstVideoSampleWasRefused) {
  recorder->setFirstVideoFrameTime(kCMTimeInvalid);
  input->acceptsSamples = false;
  appendAt(0);
  appendAt(40);
  appendAudioAt(0);
  EXPECT_EQ(audioInput->samples.size(), 1u);
}

TEST_F(AudioIntake, LogsABufferWhileTheInputIsNotReady) {
  audioInput->ready = false;
  appendAudioAt(0);
  EXPECT_TRUE(audioInput->samples.empty());
  EXPECT_EQ(countOf(refusal(0, 1)), 1);
  EXPECT_TRUE(recorder->firstAudioBuffer());
}

TEST_F(AudioIntake, AsksForTheReadinessAgainForTheLogLine) {
  audioInput->nextReadiness = {false, true};
  appendAudioAt(0);
  EXPECT_EQ(countOf(refusal(1, 1)), 1);
}

TEST_F(AudioIntake, AsksTheWriterForItsStatusOnceAndAgainForTheLogLine) {
  struct CountingWriter : ScriptedWriter {
    mutable int questions = 0;
    AVAssetWriterStatus status() const override {
      return ++questions == 1 ? AVAssetWriterStatusFailed : AVAssetWriterStatusCancelled;
    }
  };
  const auto counting = std::make_shared<CountingWriter>();
  recorder->setWriter(counting);
  appendAudioAt(0);
  EXPECT_EQ(countOf(refusal(1, 4)), 1);
  EXPECT_EQ(counting->questions, 2);
  // An input that is not ready decides alone.
  audioInput->ready = false;
  appendAudioAt(0);
  EXPECT_EQ(counting->questions, 3);
  recorder->setWriter(writer);
}

TEST_F(AudioIntake, LogsABufferWhileTheWriterIsNotWriting) {
  for (const AVAssetWriterStatus status :
       {AVAssetWriterStatusUnknown, AVAssetWriterStatusCompleted, AVAssetWriterStatusFailed,
        AVAssetWriterStatusCancelled}) {
    writer->currentStatus = status;
    appendAudioAt(0);
    EXPECT_EQ(countOf(refusal(1, static_cast<int>(status))), 1);
  }
  EXPECT_TRUE(audioInput->samples.empty());
}

TEST_F(AudioIntake, LogsEveryBufferWithoutAnAudioInput) {
  recorder->setAudioWriterInput(nullptr);
  appendAudioAt(0);
  appendAudioAt(23);
  EXPECT_EQ(countOf(refusal(0, 1)), 2);
}

TEST_F(AudioIntake, LogsABufferWithoutAWriter) {
  recorder->setWriter(nullptr);
  appendAudioAt(0);
  EXPECT_EQ(countOf(refusal(1, 0)), 1);
}

TEST_F(AudioIntake, LogsEvenANullBufferWhileNotReady) {
  audioInput->ready = false;
  recorder->appendAudioSample(nullptr);
  EXPECT_EQ(countOf(refusal(0, 1)), 1);
}

TEST_F(AudioIntake, IgnoresANullBufferWhileReady) {
  recorder->setStartedSession(false);
  recorder->appendAudioSample(nullptr);
  EXPECT_TRUE(delegate->lines().empty());
  EXPECT_TRUE(writer->calls.empty());
  EXPECT_TRUE(recorder->firstAudioBuffer());
}

TEST_F(AudioIntake, StartsASessionThatIsNotStartedAtTheBuffersTime) {
  recorder->setStartedSession(false);
  appendAudio(bufferAt(CMTimeMake(300, 1000)));
  ASSERT_EQ(writer->sessionStarts.size(), 1u);
  EXPECT_EQ(CMTimeCompare(writer->sessionStarts[0], CMTimeMake(300, 1000)), 0);
  EXPECT_TRUE(recorder->startedSession());
  EXPECT_THAT(writer->calls, ElementsAre("startSession", "append"));
  EXPECT_THAT(
      delegate->lines(),
      ElementsAre(RememberingDelegate::Line{line(" started session in appendAudioSample"), 2},
                  RememberingDelegate::Line{line(" Priming audio"), 2}));
}

TEST_F(AudioIntake, StartsNoSecondSession) {
  appendAudioAt(0);
  EXPECT_TRUE(writer->sessionStarts.empty());
  EXPECT_EQ(countOf(line(" started session in appendAudioSample")), 0);
}

TEST_F(AudioIntake, LogsTheWritersStatusForARefusedBufferAndGoesOn) {
  audioInput->acceptsSamples = false;
  appendAudioAt(0);
  EXPECT_EQ(countOf(line(" AVAssetWriter status: AVAssetWriterStatusWriting (1)")), 1);
  EXPECT_FALSE(recorder->firstAudioBuffer());
  audioInput->acceptsSamples = true;
  appendAudioAt(23);
  EXPECT_EQ(audioInput->samples.size(), 2u);
  EXPECT_EQ(countOf(line(" AVAssetWriter status: AVAssetWriterStatusWriting (1)")), 1);
}

TEST_F(AudioIntake, KeepsNoReferenceToTheBuffer) {
  const Buffer buffer = bufferAt(kCMTimeZero);
  appendAudio(buffer);
  EXPECT_EQ(CFGetRetainCount(buffer.get()), 1);
}

TEST_F(AudioIntake, LeavesADataLessBufferToTheWriter) {
  testing::internal::CaptureStderr();
  appendAudio(makeWithFactory(0, aacStream()));
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(audioInput->samples.size(), 1u);
}

// ---- priming -------------------------------------------------------------------------------

TEST_F(AudioIntake, TrimsATenthOfASecondOffTheFirstBufferOnly) {
  appendAudioAt(0);
  appendAudioAt(23);
  ASSERT_EQ(trims.size(), 2u);
  EXPECT_EQ(trims[0].value, 100000000);
  EXPECT_EQ(trims[0].timescale, 1000000000);
  EXPECT_TRUE(CMTIME_IS_INVALID(trims[1]));
  EXPECT_EQ(countOf(line(" Priming audio")), 1);
}

TEST_F(AudioIntake, LetsTheTrimPropagate) {
  const Buffer buffer = bufferAt(kCMTimeZero);
  appendAudio(buffer);
  CMAttachmentMode mode = kCMAttachmentMode_ShouldNotPropagate;
  ASSERT_NE(CMGetAttachment(buffer.get(), kCMSampleBufferAttachmentKey_TrimDurationAtStart, &mode),
            nullptr);
  EXPECT_EQ(mode, kCMAttachmentMode_ShouldPropagate);
}

TEST_F(AudioIntake, KeepsTheTrimThatABufferBrings) {
  appendAudio(AudioBufferBuilder().unit(kUnit).trim(CMTimeMake(1024, 44100)).build());
  ASSERT_EQ(trims.size(), 1u);
  EXPECT_EQ(trims[0].value, 1024);
  EXPECT_EQ(countOf(line(" Priming audio")), 0);
  EXPECT_FALSE(recorder->firstAudioBuffer());
  appendAudioAt(23);
  EXPECT_TRUE(CMTIME_IS_INVALID(trims[1]));
}

TEST_F(AudioIntake, CountsARefusedBufferAsTheFirst) {
  audioInput->acceptsSamples = false;
  appendAudioAt(0);
  audioInput->acceptsSamples = true;
  appendAudioAt(23);
  EXPECT_TRUE(CMTIME_IS_VALID(trims[0]));
  EXPECT_TRUE(CMTIME_IS_INVALID(trims[1]));
}

struct Looking : RememberingDelegate {
  std::function<void()> look;
  void writeLog(const std::string& message, std::int32_t level) override {
    look();
    RememberingDelegate::writeLog(message, level);
  }
};

TEST_F(AudioIntake, InputThatIsTakenAwayWithinALineTakesNoBuffer) {
  const auto looking = std::make_shared<Looking>();
  looking->look = [&] { recorder->setAudioWriterInput(nullptr); };
  recorder->delegate = looking;
  appendAudioAt(0);
  EXPECT_TRUE(audioInput->samples.empty());
  EXPECT_EQ(looking->lines().back().message,
            line(" AVAssetWriter status: AVAssetWriterStatusWriting (1)"));
}

TEST_F(AudioIntake, SaysThatTheSessionIsStartedWhenItIsAndBeforeItPrimes) {
  recorder->setStartedSession(false);
  std::vector<std::pair<bool, bool>> startedAndFirst;
  const auto looking = std::make_shared<Looking>();
  looking->look = [&] {
    startedAndFirst.emplace_back(recorder->startedSession(), recorder->firstAudioBuffer());
    EXPECT_THAT(writer->calls, ElementsAre("startSession"));
  };
  recorder->delegate = looking;
  appendAudioAt(0);
  EXPECT_THAT(startedAndFirst, ElementsAre(std::pair(true, true), std::pair(true, false)));
}

TEST_F(AudioIntake, WhatTheInputRaisesReachesTheCaller) {
  audioInput->onAppend = [](CMSampleBufferRef) {
    throw NSException(NSInternalInconsistencyException, "out of order");
  };
  EXPECT_THROW(appendAudioAt(0), NSException);
  EXPECT_EQ(delegate->lines().size(), 1u) << "that of the priming";
}

TEST_F(AudioIntake, ClearsItsFirstBufferAndSaysThatItPrimesBeforeItDoes) {
  const Buffer buffer = bufferAt(kCMTimeZero);
  bool wasSet = true;
  bool wasTrimmed = true;
  const auto looking = std::make_shared<Looking>();
  looking->look = [&] {
    wasSet = recorder->firstAudioBuffer();
    wasTrimmed = CMGetAttachment(buffer.get(), kCMSampleBufferAttachmentKey_TrimDurationAtStart,
                                 nullptr) != nullptr;
  };
  recorder->delegate = looking;
  appendAudio(buffer);
  EXPECT_FALSE(wasSet);
  EXPECT_FALSE(wasTrimmed);
  EXPECT_TRUE(CMTIME_IS_VALID(trims.at(0)));
}

TEST_F(AudioIntake, PrimesAnewInEveryFile) {
  appendAudioAt(0);
  recorder->setWriter(nullptr);
  peer.startWriting();  // what the start of a file resets
  recorder->setWriter(writer);
  recorder->setFirstVideoFrameTime(kCMTimeZero);
  appendAudioAt(23);
  appendAudioAt(46);
  EXPECT_TRUE(CMTIME_IS_VALID(trims.at(1)));
  EXPECT_TRUE(CMTIME_IS_INVALID(trims.at(2)));
}

// ---- with the real writer ------------------------------------------------------------------

class AudioIntakeToFile : public RecorderTest {
 protected:
  AudioIntakeToFile() { recorder->setAudioEnabled(true); }
  void appendAudio(const Buffer& buffer) { recorder->appendAudioSample(buffer.get()); }
  int refusals() const {
    int count = 0;
    for (const auto& logged : delegate->lines()) {
      count += logged.message.find("appendAudioSample - sample not appended") != std::string::npos;
    }
    return count;
  }
  int statusReports() const {
    return countOf(line(" AVAssetWriter status: AVAssetWriterStatusWriting (1)"));
  }
};

TEST_F(AudioIntakeToFile, DropsInSilenceUntilTheFirstFrameWasWritten) {
  appendAudio(bufferAt(kCMTimeZero));
  appendAt(0);  // held, not written yet
  appendAudio(bufferAt(kCMTimeZero));
  EXPECT_EQ(countOf(line(" Priming audio")), 0);
  appendAt(40);
  appendAudio(bufferAt(kCMTimeZero));
  EXPECT_EQ(countOf(line(" Priming audio")), 1);
  EXPECT_EQ(refusals(), 0);
  EXPECT_EQ(statusReports(), 0);
}

TEST_F(AudioIntakeToFile, RefusesOtherCodingsAndEmptyBuffersAndGoesOn) {
  appendAt(0);
  appendAt(40);
  AudioStreamBasicDescription pcm = aacStream();
  pcm.mFormatID = kAudioFormatLinearPCM;
  appendAudio(makeWithFactory(64, pcm));
  EXPECT_EQ(statusReports(), 1);
  testing::internal::CaptureStderr();
  appendAudio(makeWithFactory(0, aacStream()));
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(statusReports(), 2);
  appendAudio(bufferAt(kCMTimeZero));
  EXPECT_EQ(statusReports(), 2);
  recorder->stop();
  ASSERT_TRUE(delegate->waitForFilesDone());
  EXPECT_EQ(recorder->writer()->status(), AVAssetWriterStatusCompleted);
}

TEST_F(AudioIntakeToFile, LogsWhatComesAfterTheStop) {
  appendAt(0);
  appendAt(40);
  appendAudio(bufferAt(kCMTimeZero));
  recorder->stop();
  appendAudio(bufferAt(CMTimeMake(23, 1000)));
  EXPECT_EQ(refusals(), 1);
  ASSERT_TRUE(delegate->waitForFilesDone());
  appendAudio(bufferAt(CMTimeMake(46, 1000)));
  EXPECT_EQ(refusals(), 2);
  EXPECT_EQ(countOf(line(" appendAudioSample - sample not appended;  "
                         "readyForMoreMediaData = 0, status = 2")),
            1);
}

TEST_F(AudioIntakeToFile, LogsEveryBufferWhenAudioIsDisabled) {
  recorder->setAudioEnabled(false);
  appendAt(0);
  appendAt(40);
  appendAudio(bufferAt(kCMTimeZero));
  EXPECT_EQ(countOf(line(" appendAudioSample - sample not appended;  "
                         "readyForMoreMediaData = 0, status = 1")),
            1);
}

}  // namespace
