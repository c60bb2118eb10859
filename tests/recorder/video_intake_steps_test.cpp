// Video intake, step by step: in what order a frame is taken in, and what each step hands on.
#include "support/recorder_fixture.h"

#include "platform/cf_ref.h"

#include <array>
#include <numeric>

using namespace vx;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr std::uint32_t kY420 = kCVPixelFormatType_420YpCbCr8Planar;
constexpr std::uint32_t kUnknownFormat = 0x3F3F3F3F;

/// Looks around whenever the recorder says something.
struct LookingDelegate : RememberingDelegate {
  std::function<void(const std::string&)> look;
  void writeLog(const std::string& message, std::int32_t level) override {
    look(message);
    RememberingDelegate::writeLog(message, level);
  }
};

class VideoIntakeSteps : public RecorderTest {
 protected:
  void lookAtEveryLine(std::function<void(const std::string&)> look) {
    auto looking = std::make_shared<LookingDelegate>();
    looking->look = std::move(look);
    delegate = looking;
    recorder->delegate = looking;
  }
  std::vector<std::pair<std::int64_t, std::int64_t>> timesOfSamples() const {
    std::vector<std::pair<std::int64_t, std::int64_t>> times;
    for (const AppendedSample& sample : input->samples) {
      times.emplace_back(sample.presentationTime.value, sample.duration.value);
    }
    return times;
  }
};

// ---- the frame dictionary ------------------------------------------------------------------

TEST_F(VideoIntakeSteps, KeysAreReadInOrderAndTheRotationTakesEffectAtOnce) {
  EXPECT_THROW(append(FrameBuilder().set("multiVideoType", 8u).set("timestamp", "soon")),
               NSException);
  EXPECT_FALSE(recorder->isVideoRotation());
  recorder->appendVideoSample({{"multiVideoType", 7u}});
  EXPECT_THROW(recorder->appendVideoSample({{"multiVideoType", 8u}, {"pixelFormatType", "y420"}}),
               NSException);
  EXPECT_TRUE(recorder->isVideoRotation());
  EXPECT_TRUE(delegate->lines().empty());
}

TEST_F(VideoIntakeSteps, RotationFollowsEveryFrameButTheFirstOneDecides) {
  append(FrameBuilder().at(0).set("multiVideoType", 8u));
  append(FrameBuilder().at(40));
  EXPECT_FALSE(recorder->isVideoRotation());
  EXPECT_NEAR(recorder->videoWriterInput()->transform().b, 1, 1e-12);
}

TEST_F(VideoIntakeSteps, LargeSizesHaveNoSign) {
  append(FrameBuilder().size(3000000000u, 1).withoutPixels());
  const NSDictionary settings = recorder->videoWriterInput()->outputSettings().value();
  EXPECT_EQ(settings.objectForKey(AVVideoWidthKey)->number()->doubleValue(), 3000000000.0);
}

TEST_F(VideoIntakeSteps, HostTimesCountModulo32Bits) {
  useScriptedWriter(4294967290u);
  append(FrameBuilder().set("timestamp", std::int64_t{4294967290}));
  append(FrameBuilder().set("timestamp", std::int64_t{4294967296 + 30}));
  EXPECT_THAT(timesOfSamples(), ElementsAre(std::pair(0, 36)));
}

TEST_F(VideoIntakeSteps, FrameIsConvertedAsItsDictionarySays) {
  useScriptedWriter();
  constexpr std::uint32_t kBytesPerRow = 12;  // two pixels, and four bytes that are none
  std::array<std::uint8_t, 2 * kBytesPerRow> bytes{};
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
  recorder->appendVideoSample({{"frameBuffer", NSData::dataWithBytes(bytes.data(), bytes.size())},
                               {"pixelFormatType", kCVPixelFormatType_32BGRA},
                               {"width", 2u},
                               {"height", 2u},
                               {"bytesPerRow", kBytesPerRow}});
  ASSERT_NE(peer.buffer(), nullptr);
  EXPECT_EQ(CVPixelBufferGetPixelFormatType(peer.buffer()), kCVPixelFormatType_32BGRA);
  CVPixelBufferLockBaseAddress(peer.buffer(), 0);
  const auto* rows = static_cast<const std::uint8_t*>(CVPixelBufferGetBaseAddress(peer.buffer()));
  EXPECT_EQ(rows[0], 1);
  EXPECT_EQ(rows[CVPixelBufferGetBytesPerRow(peer.buffer()) + 7], 20);
  CVPixelBufferUnlockBaseAddress(peer.buffer(), 0);
}

// ---- accepting a frame ---------------------------------------------------------------------

TEST_F(VideoIntakeSteps, SizeOfZeroEndsTheRoadBehindTheDictionaryToo) {
  const auto fail = [](VXVideoRecorder&, std::uint32_t) { FAIL(); };
  peer.addFrameWithPixelFormatType(kY420, CGSizeMake(0, 48), 5, fail);
  peer.addFrameWithPixelFormatType(kY420, CGSizeMake(64, 0), 5, fail);
  EXPECT_EQ(recorder->writer(), nullptr);
  EXPECT_EQ(peer.startTime(), 0u);
}

TEST_F(VideoIntakeSteps, HandleIsCalledOnceWithTheRelativeTime) {
  useScriptedWriter(4294967290u);
  std::vector<std::uint32_t> times;
  peer.addFrameWithPixelFormatType(kY420, CGSizeMake(64, 48), 10,
                                   [&](VXVideoRecorder& given, std::uint32_t relativeTimeMs) {
                                     EXPECT_EQ(&given, recorder.get());
                                     times.push_back(relativeTimeMs);
                                   });
  EXPECT_THAT(times, ElementsAre(16u));
}

TEST_F(VideoIntakeSteps, ThreadIsNamedBeforeTheDiskIsAskedAndThatBeforeTheHeldFrameIsWritten) {
  useScriptedWriter();
  recorder->setFilename("named.mp4");
  peer.limitFreeSpace() = ~std::uint64_t{0};
  std::vector<std::string> seen;
  lookAtEveryLine([&](const std::string& message) {
    if (message == line(" status 1 with error (null)")) {
      ASSERT_NE(recorder->thread, nullptr);
      EXPECT_EQ(recorder->thread->name(), "[VXVideoRecorder] named.mp4 (1)");
      seen.push_back("shortage");
    }
  });
  input->onAppend = [&](CMSampleBufferRef) { seen.push_back("append"); };
  appendAt(0);
  appendAt(40);
  EXPECT_THAT(seen, ElementsAre("shortage", "shortage", "append"));
}

TEST_F(VideoIntakeSteps, HeldFrameIsWrittenBeforeTheNewOneIsConverted) {
  useScriptedWriter();
  appendAt(0);
  std::size_t poolsAtAppend = 0;
  input->onAppend = [&](CMSampleBufferRef) { poolsAtAppend = peer.pools().size(); };
  append(FrameBuilder().at(40).size(32, 16));  // a size that takes a pool of its own
  EXPECT_EQ(poolsAtAppend, 1u);
  EXPECT_EQ(peer.pools().size(), 2u);
}

TEST_F(VideoIntakeSteps, RefusedFrameIsNotConvertedAndNotAskedOfTheDisk) {
  useScriptedWriter();
  peer.limitFreeSpace() = ~std::uint64_t{0};
  input->ready = false;
  appendAt(0);
  EXPECT_EQ(delegate->lines().size(), 1u);
  EXPECT_TRUE(peer.pools().empty());
  EXPECT_EQ(recorder->thread, nullptr);
}

TEST_F(VideoIntakeSteps, WriterWithoutVideoInputRefusesEveryFrame) {
  recorder->setWriter(writer);
  appendAt(0);
  EXPECT_EQ(countOf(line(" appendVideoSample - sample not appended; readyForMoreMediaData = 0, "
                         "status = 1")),
            1);
  EXPECT_EQ(peer.buffer(), nullptr);
}

TEST_F(VideoIntakeSteps, PauseEndsBehindItsBlackAndTheClockIsSetBefore) {
  useScriptedWriter();
  appendAt(0);
  recorder->pause();
  std::vector<std::pair<bool, std::uint32_t>> seen;
  lookAtEveryLine([&](const std::string& message) {
    if (message == line(" Pixel buffer create failed")) {
      seen.emplace_back(peer.pause(), peer.startTime());
    }
  });
  append(FrameBuilder().at(5000).size(8, 8).format(kUnknownFormat));
  EXPECT_THAT(seen, ElementsAre(Pair(true, 4000u), Pair(false, 4000u))) << "black, then the frame";
}

TEST_F(VideoIntakeSteps, PauseBeforeTheFirstFrameIsABlackOfNoLength) {
  recorder->pause();
  useScriptedWriter(5000);
  appendAt(5000);
  EXPECT_FALSE(peer.pause());
  appendAt(5040);
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 0), Pair(0, 40)));
}

TEST_F(VideoIntakeSteps, BlackOfAPauseHasTheNewFramesSizeAndFormat) {
  useScriptedWriter();
  appendAt(0);
  recorder->pause();
  OSType format = 0;
  std::size_t width = 0;
  std::size_t height = 0;
  input->onAppend = [&](CMSampleBufferRef sample) {
    const CVPixelBufferRef image = CMSampleBufferGetImageBuffer(sample);
    format = CVPixelBufferGetPixelFormatType(image);
    width = CVPixelBufferGetWidth(image);
    height = CVPixelBufferGetHeight(image);
  };
  append(FrameBuilder().at(300).size(32, 16).format(kCVPixelFormatType_32BGRA));
  EXPECT_EQ(format, kCVPixelFormatType_32BGRA);
  EXPECT_EQ(width, 32u);
  EXPECT_EQ(height, 16u);
}

// ---- the handle ----------------------------------------------------------------------------

TEST_F(VideoIntakeSteps, HeldFrameThatNoAttemptCanWriteIsOverwrittenWithoutARelease) {
  useScriptedWriter();
  appendAt(0);
  const auto lost = CFRef<CVPixelBufferRef>::retain(peer.buffer());
  const auto references = CFGetRetainCount(lost.get());
  input->nextReadiness = {true, false, false};
  appendAt(40);
  EXPECT_NE(peer.buffer(), lost.get());
  EXPECT_EQ(CFGetRetainCount(lost.get()), references);
  appendAt(100);
  EXPECT_THAT(timesOfSamples(), ElementsAre(std::pair(0, 100)));
  CFRelease(lost.get());  // in the recorder's place
}

TEST_F(VideoIntakeSteps, FrameThatCannotBeConvertedLeavesTheHeldOneAsItIs) {
  useScriptedWriter();
  appendAt(0);
  const CVPixelBufferRef held = peer.buffer();
  input->nextReadiness = {true, false};
  append(FrameBuilder().at(40).size(8, 8).format(kUnknownFormat).set("isHwDecode", true));
  EXPECT_EQ(peer.buffer(), held);
}

// ---- writing the held frame ----------------------------------------------------------------

TEST_F(VideoIntakeSteps, SessionStartsAtTheTimeOfTheFirstSampleWhateverItIs) {
  useScriptedWriter();
  peer.timestamp() = 500;
  appendAt(500);
  appendAt(540);
  ASSERT_EQ(writer->sessionStarts.size(), 1u);
  EXPECT_EQ(CMTimeCompare(writer->sessionStarts[0], CMTimeMake(500, 1000)), 0);
  EXPECT_EQ(CMTimeCompare(recorder->firstVideoFrameTime(), CMTimeMake(500, 1000)), 0);
  EXPECT_FALSE(input->samples.at(0).forcesKeyFrame);
}

TEST_F(VideoIntakeSteps, SessionThatRunsIsNotStartedAgain) {
  useScriptedWriter();
  recorder->setStartedSession(true);
  appendAt(0);
  appendAt(40);
  EXPECT_THAT(writer->sessionStarts, IsEmpty());
  EXPECT_TRUE(delegate->lines().empty());
  EXPECT_EQ(input->samples.size(), 1u);
}

TEST_F(VideoIntakeSteps, SessionIsSaidToBeStartedWhenItIsAndBeforeTheSample) {
  useScriptedWriter();
  bool wasStarted = false;
  std::vector<std::string> callsSoFar;
  lookAtEveryLine([&](const std::string&) {
    wasStarted = recorder->startedSession();
    callsSoFar = writer->calls;
  });
  appendAt(0);
  appendAt(40);
  EXPECT_TRUE(wasStarted);
  EXPECT_THAT(callsSoFar, ElementsAre("startSession"));
}

TEST_F(VideoIntakeSteps, InputThatIsTakenAwayWithinALineTakesNoSample) {
  useScriptedWriter();
  lookAtEveryLine([&](const std::string&) { recorder->setVideoWriterInput(nullptr); });
  appendAt(0);
  appendAt(40);
  EXPECT_TRUE(input->samples.empty());
  EXPECT_EQ(peer.timestamp(), 0u);
  EXPECT_EQ(countOf(line(" AVAssetWriter status: AVAssetWriterStatusWriting (1)")), 1);
}

TEST_F(VideoIntakeSteps, WriterThatIsTakenAwayWithinALineHasNoSessionStarted) {
  useScriptedWriter();
  appendAt(0);
  peer.limitFreeSpace() = ~std::uint64_t{0};
  lookAtEveryLine([&](const std::string&) { recorder->setWriter(nullptr); });
  appendAt(40);
  EXPECT_THAT(writer->sessionStarts, IsEmpty());
  EXPECT_TRUE(recorder->startedSession());
  EXPECT_THAT(timesOfSamples(), ElementsAre(Pair(0, 40)));
}

TEST_F(VideoIntakeSteps, FirstVideoFrameTimeStaysThatOfTheFirstSample) {
  useScriptedWriter();
  recorder->setFirstVideoFrameTime(CMTimeMake(7, 1000));
  appendAt(0);
  appendAt(40);
  EXPECT_EQ(recorder->firstVideoFrameTime().value, 7);
}

TEST_F(VideoIntakeSteps, FlagOfTheFirstVideoBufferIsClearedBeforeTheSampleIsOffered) {
  useScriptedWriter();
  recorder->setFirstVideoBuffer(true);
  bool wasSet = true;
  input->onAppend = [&](CMSampleBufferRef) { wasSet = recorder->firstVideoBuffer(); };
  appendAt(0);
  EXPECT_TRUE(recorder->firstVideoBuffer());
  appendAt(40);
  EXPECT_FALSE(wasSet);
}

TEST_F(VideoIntakeSteps, InputThatIsNotReadyChangesNothing) {
  useScriptedWriter();
  appendAt(0);
  recorder->setFirstVideoBuffer(true);
  const CVPixelBufferRef held = peer.buffer();
  input->ready = false;
  peer.appendBufferWithDuration(5);
  EXPECT_EQ(peer.buffer(), held);
  EXPECT_EQ(peer.timestamp(), 0u);
  EXPECT_TRUE(recorder->firstVideoBuffer());
  EXPECT_TRUE(delegate->lines().empty());
}

struct OfferedFrame : VideoIntakeSteps, testing::WithParamInterface<bool> {};

TEST_P(OfferedFrame, IsReleasedWhetherItIsAcceptedOrNot) {
  useScriptedWriter();
  input->acceptsSamples = GetParam();
  appendAt(0);
  const auto offered = CFRef<CVPixelBufferRef>::retain(peer.buffer());
  appendAt(40);
  EXPECT_EQ(input->samples.size(), 1u);
  EXPECT_EQ(CFGetRetainCount(offered.get()), 1);
}

INSTANTIATE_TEST_SUITE_P(All, OfferedFrame, testing::Bool());

// ---- the sample ----------------------------------------------------------------------------

TEST_F(VideoIntakeSteps, SampleHasTheTimeOfTheClockAndAReferenceOfItsOwn) {
  useScriptedWriter();
  appendAt(0);
  peer.timestamp() = 4294967295u;
  const auto sample =
      CFRef<CMSampleBufferRef>::adopt(peer.setVedioBuffer(peer.buffer(), 4294967286u));
  ASSERT_TRUE(sample);
  CMSampleTimingInfo timing;
  ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(sample.get(), 0, &timing), noErr);
  EXPECT_EQ(timing.presentationTimeStamp.value, 4294967295);
  EXPECT_EQ(timing.presentationTimeStamp.timescale, 1000);
  EXPECT_EQ(timing.duration.value, 4294967286);
  EXPECT_EQ(timing.duration.timescale, 1000);
  EXPECT_TRUE(CMTIME_IS_INVALID(timing.decodeTimeStamp));
  EXPECT_EQ(CMSampleBufferGetImageBuffer(sample.get()), peer.buffer());
  EXPECT_EQ(CFGetRetainCount(peer.buffer()), 2);
  EXPECT_EQ(CFGetRetainCount(sample.get()), 1);
}

TEST_F(VideoIntakeSteps, NoSampleIsMadeOfNothing) {
  EXPECT_EQ(peer.setVedioBuffer(nullptr, 40), nullptr);
}

}  // namespace
