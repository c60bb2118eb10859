// Audio intake: the factory, the gate behind the first video sample, priming and refusals.
#include "platform/cf_ref.h"
#include "support/audio_buffers.h"
#include "support/recorder_fixture.h"

#include <atomic>
#include <limits>
#include <regex>
#include <thread>

using namespace vx;
using test::aacStream;
using test::AudioBufferBuilder;

namespace {

using Buffer = CFRef<CMSampleBufferRef>;

constexpr std::uint8_t kUnit[] = {0x21, 0x10, 0x04, 0x60};

Buffer makeWithFactory(std::int32_t length, const AudioStreamBasicDescription& stream) {
  static const std::vector<std::uint8_t> bytes(4096, 0x55);
  return Buffer::adopt(VXVideoRecorder::createAudioSampleBuffer(bytes.data(), length, stream));
}

Buffer bufferAt(CMTime time) { return AudioBufferBuilder().at(time).unit(kUnit).build(); }

// ---- the factory ---------------------------------------------------------------------------

TEST(AudioFactory, CopiesTheBytesIntoABufferOfTheStream) {
  std::vector<std::uint8_t> bytes{1, 2, 3, 4, 5};
  const AudioStreamBasicDescription stream = aacStream(48000, 1);
  const Buffer buffer =
      Buffer::adopt(VXVideoRecorder::createAudioSampleBuffer(bytes.data(), 5, stream));
  bytes.assign(5, 0);
  ASSERT_TRUE(buffer);
  EXPECT_TRUE(CMSampleBufferDataIsReady(buffer.get()));
  const CMBlockBufferRef block = CMSampleBufferGetDataBuffer(buffer.get());
  ASSERT_EQ(CMBlockBufferGetDataLength(block), 5u);
  EXPECT_EQ(CMBlockBufferGetBytes(block)[0], 1);
  EXPECT_EQ(CMBlockBufferGetBytes(block)[4], 5);
  EXPECT_EQ(*CMAudioFormatDescriptionGetStreamBasicDescription(
                CMSampleBufferGetFormatDescription(buffer.get())),
            stream);
}

TEST(AudioFactory, ClaimsAlways512SamplesFromTimeZeroOn) {
  for (const std::int32_t length : {1, 512, 4096}) {
    const Buffer buffer = makeWithFactory(length, aacStream());
    ASSERT_TRUE(buffer);
    EXPECT_EQ(CMSampleBufferGetNumSamples(buffer.get()), 512);
    EXPECT_EQ(CMTimeCompare(CMSampleBufferGetPresentationTimeStamp(buffer.get()), kCMTimeZero), 0);
  }
}

TEST(AudioFactory, GivesOneTimingToAllSamplesAndNoSizes) {
  const Buffer buffer = makeWithFactory(100, aacStream(44100));
  CMSampleTimingInfo timing;
  ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(buffer.get(), 0, &timing), noErr);
  EXPECT_EQ(timing.duration.value, 1024);
  EXPECT_EQ(timing.duration.timescale, 44100);
  EXPECT_TRUE(CMTIME_IS_INVALID(timing.decodeTimeStamp));
  EXPECT_EQ(CMSampleBufferGetSampleSize(buffer.get(), 0), 0u);
}

TEST(AudioFactory, CutsTheFractionOffTheRateForTheTimescale) {
  const Buffer buffer = makeWithFactory(100, aacStream(22050.5));
  CMSampleTimingInfo timing;
  ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(buffer.get(), 0, &timing), noErr);
  EXPECT_EQ(timing.duration.timescale, 22050);
  EXPECT_EQ(CMAudioFormatDescriptionGetStreamBasicDescription(
                CMSampleBufferGetFormatDescription(buffer.get()))
                ->mSampleRate,
            22050.5);
}

TEST(AudioFactory, HandsItsOnlyReferenceToTheCaller) {
  // A leak checker fails this test if anything else is kept.
  for (int i = 0; i < 100; ++i) {
    makeWithFactory(64, aacStream());
  }
}

struct BadRate {
  const char* name;
  double rate;
};
class AudioFactoryRates : public testing::TestWithParam<BadRate> {};
INSTANTIATE_TEST_SUITE_P(
    All, AudioFactoryRates,
    testing::Values(BadRate{"Zero", 0}, BadRate{"Negative", -44100},
                    BadRate{"NotANumber", std::numeric_limits<double>::quiet_NaN()},
                    BadRate{"Infinite", std::numeric_limits<double>::infinity()}),
    [](const auto& test) { return test.param.name; });

TEST_P(AudioFactoryRates, MakeNoBufferAndNoLogLine) {
  testing::internal::CaptureStderr();
  EXPECT_FALSE(makeWithFactory(64, aacStream(GetParam().rate)));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(AudioFactory, TakesARateThatNoTimescaleHolds) {
  for (const double rate : {0.5, 1e300}) {
    const Buffer buffer = makeWithFactory(64, aacStream(rate));
    EXPECT_TRUE(buffer);
  }
}

TEST(AudioFactory, ReturnsABufferWithoutDataWhenThereIsNothingToAttach) {
  testing::internal::CaptureStderr();
  const Buffer buffer = makeWithFactory(0, aacStream());
  const std::string log = testing::internal::GetCapturedStderr();
  ASSERT_TRUE(buffer);
  EXPECT_EQ(CMSampleBufferGetDataBuffer(buffer.get()), nullptr);
  EXPECT_FALSE(CMSampleBufferDataIsReady(buffer.get()));
  EXPECT_NE(log.find(" Failed to convert audio buffer list into sample buffer (" +
                     std::to_string(kCMSampleBufferError_InvalidSampleData) + ")\n"),
            std::string::npos)
      << log;
}

TEST(AudioFactory, NeedsNoPlaceForNoBytes) {
  EXPECT_TRUE(Buffer::adopt(VXVideoRecorder::createAudioSampleBuffer(nullptr, 0, aacStream())));
}

TEST(AudioFactory, LogsWhatIsRaisedAndMakesNoBuffer) {
  for (const std::int32_t length : {-1, std::numeric_limits<std::int32_t>::min()}) {
    testing::internal::CaptureStderr();
    EXPECT_FALSE(makeWithFactory(length, aacStream()));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(std::regex_search(log, std::regex(" createAudioSampleBuffer exception : .+\\.\n$")))
        << log;
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
  }
}

TEST(AudioFactory, LogsALengthWithoutBytes) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(VXVideoRecorder::createAudioSampleBuffer(nullptr, 16, aacStream()), nullptr);
  EXPECT_NE(testing::internal::GetCapturedStderr().find(" createAudioSampleBuffer exception : "),
            std::string::npos);
}

TEST(AudioFactory, RunsOnAnyThread) {
  std::vector<std::thread> threads;
  std::atomic<int> made = 0;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int k = 0; k < 50; ++k) {
        made += makeWithFactory(k + 1, aacStream()).get() != nullptr;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(made, 200);
}

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

TEST_F(AudioIntake, ClearsItsFirstBufferAndSaysThatItPrimesBeforeItDoes) {
  struct Looking : RememberingDelegate {
    std::function<void()> look;
    void writeLog(const std::string&, std::int32_t) override { look(); }
  };
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
