// Writer set-up, start and status report.
#include "platform/cf_ref.h"
#include "support/recorder_fixture.h"

using namespace vx;

namespace {

using WriterSetup = RecorderTest;

std::vector<std::string> keysOf(const NSDictionary& dictionary) { return dictionary.allKeys(); }

TEST_F(WriterSetup, VideoSettingsHaveTheirKeysInOrder) {
  const NSDictionary settings = peer.videoSettings(CGSizeMake(1366, 767));
  EXPECT_THAT(keysOf(settings),
              testing::ElementsAre(AVVideoCodecKey, AVVideoWidthKey, AVVideoHeightKey,
                                   AVVideoScalingModeKey, AVVideoCompressionPropertiesKey));
  EXPECT_EQ(*settings.objectForKey(AVVideoCodecKey), Object(AVVideoCodecH264));
  EXPECT_EQ(*settings.objectForKey(AVVideoScalingModeKey), Object(AVVideoScalingModeResizeAspect));
}

TEST_F(WriterSetup, VideoSizeIsKeptAsFloatingPointNeitherRoundedNorBounded) {
  for (const CGSize size : {CGSizeMake(1366, 767), CGSizeMake(1.5, 4294967295.0)}) {
    const NSDictionary settings = peer.videoSettings(size);
    const NSNumber width = *settings.objectForKey(AVVideoWidthKey)->number();
    const NSNumber height = *settings.objectForKey(AVVideoHeightKey)->number();
    EXPECT_EQ(width.kind(), NSNumber::Kind::real);
    EXPECT_EQ(width.doubleValue(), size.width);
    EXPECT_EQ(height.kind(), NSNumber::Kind::real);
    EXPECT_EQ(height.doubleValue(), size.height);
  }
}

TEST_F(WriterSetup, CompressionIsTheSameForEverySize) {
  for (const CGSize size : {CGSizeMake(1, 1), CGSizeMake(7680, 4320)}) {
    const NSDictionary settings = peer.videoSettings(size);
    const NSDictionary& compression =
        *settings.objectForKey(AVVideoCompressionPropertiesKey)->dictionary();
    EXPECT_THAT(keysOf(compression),
                testing::ElementsAre(AVVideoAverageBitRateKey, AVVideoMaxKeyFrameIntervalKey,
                                     AVVideoExpectedSourceFrameRateKey, AVVideoProfileLevelKey));
    EXPECT_EQ(*compression.objectForKey(AVVideoAverageBitRateKey), Object(10485760));
    EXPECT_EQ(*compression.objectForKey(AVVideoMaxKeyFrameIntervalKey), Object(30));
    EXPECT_EQ(*compression.objectForKey(AVVideoExpectedSourceFrameRateKey), Object(30));
    EXPECT_EQ(*compression.objectForKey(AVVideoProfileLevelKey),
              Object(AVVideoProfileLevelH264HighAutoLevel));
    for (const std::string_view key : {AVVideoAverageBitRateKey, AVVideoMaxKeyFrameIntervalKey,
                                       AVVideoExpectedSourceFrameRateKey}) {
      EXPECT_EQ(compression.objectForKey(key)->number()->kind(), NSNumber::Kind::signedInteger);
    }
  }
}

TEST_F(WriterSetup, AudioHintTellsOnlyCodingRateAndObjectType) {
  const CMAudioFormatDescriptionRef hint = peer.makeAudioFormatDescription();
  ASSERT_NE(hint, nullptr);
  const AudioStreamBasicDescription aac44100{44100.0, 0x61616320, 1, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(*CMAudioFormatDescriptionGetStreamBasicDescription(hint), aac44100);
  std::size_t cookieSize = 1;
  CMAudioFormatDescriptionGetMagicCookie(hint, &cookieSize);
  EXPECT_EQ(cookieSize, 0u);
  CFRelease(hint);
}

TEST_F(WriterSetup, AudioHintIsOneForTheProcessAndAReferenceForEachCaller) {
  const CMAudioFormatDescriptionRef hint = peer.makeAudioFormatDescription();
  const auto before = CFGetRetainCount(hint);
  EXPECT_EQ(peer.makeAudioFormatDescription(), hint);
  EXPECT_EQ(CFGetRetainCount(hint), before + 1);
  CFRelease(hint);
  CFRelease(hint);
}

TEST_F(WriterSetup, AudioHintIsTheCallersToRelease) {
  const CMAudioFormatDescriptionRef hint = peer.makeAudioFormatDescription();
  const auto references = CFGetRetainCount(hint);
  peer.prepareAudioWriter();
  EXPECT_EQ(recorder->audioWriterInput()->sourceFormatHint(), hint);
  EXPECT_EQ(CFGetRetainCount(hint), references + 2) << "the input's, and one that nobody releases";
  recorder->setAudioWriterInput(nullptr);
  EXPECT_EQ(CFGetRetainCount(hint), references + 1);
  CFRelease(hint);
}

TEST_F(WriterSetup, AudioInputIsMadeOnceAndAddedToTheWriter) {
  recorder->setWriter(writer);
  peer.prepareAudioWriter();
  const auto first = recorder->audioWriterInput();
  ASSERT_NE(first, nullptr);
  EXPECT_TRUE(first->expectsMediaDataInRealTime());
  EXPECT_EQ(first->outputSettings(), std::nullopt);
  EXPECT_NE(first->sourceFormatHint(), nullptr);
  peer.prepareAudioWriter();
  EXPECT_EQ(recorder->audioWriterInput(), first);
  EXPECT_THAT(writer->inputs, testing::ElementsAre(first));
}

TEST_F(WriterSetup, AudioInputIsMadeEvenWithoutAWriter) {
  peer.prepareAudioWriter();
  EXPECT_NE(recorder->audioWriterInput(), nullptr);
}

TEST_F(WriterSetup, StartResetsTheFlagsAndLogs) {
  writer->currentStatus = AVAssetWriterStatusUnknown;
  recorder->setWriter(writer);
  recorder->setStartedSession(true);
  recorder->setFirstVideoFrameTime(CMTimeMake(1, 1000));
  peer.startWriting();
  EXPECT_FALSE(recorder->startedSession());
  EXPECT_TRUE(recorder->firstAudioBuffer());
  EXPECT_TRUE(recorder->firstVideoBuffer());
  EXPECT_EQ(CMTimeCompare(recorder->firstVideoFrameTime(), kCMTimeInvalid), 0);
  EXPECT_TRUE(recorder->writing());
  EXPECT_THAT(delegate->lines(), testing::ElementsAre(RememberingDelegate::Line{
                                     line(" Started writing video file."), 2}));
}

TEST_F(WriterSetup, FlagsAreResetBeforeTheWriterIsAskedToStart) {
  struct AskedToStart : ScriptedWriter {
    std::function<void()> onStart;
    bool startWriting() override {
      onStart();
      return false;
    }
  };
  auto asked = std::make_shared<AskedToStart>();
  asked->currentStatus = AVAssetWriterStatusUnknown;
  recorder->setWriter(asked);
  recorder->setStartedSession(true);
  recorder->setFirstVideoFrameTime(CMTimeMake(1, 1000));
  int timesAsked = 0;
  asked->onStart = [&] {
    ++timesAsked;
    EXPECT_FALSE(recorder->startedSession());
    EXPECT_TRUE(recorder->firstAudioBuffer());
    EXPECT_TRUE(recorder->firstVideoBuffer());
    EXPECT_EQ(CMTimeCompare(recorder->firstVideoFrameTime(), kCMTimeInvalid), 0);
    EXPECT_TRUE(recorder->writing());
    EXPECT_TRUE(delegate->lines().empty());
  };
  peer.startWriting();
  EXPECT_EQ(timesAsked, 1);
}

TEST_F(WriterSetup, StartWithoutWriterIsAnErrorWithStatusUnknown) {
  peer.startWriting();
  EXPECT_TRUE(recorder->writing());
  EXPECT_TRUE(recorder->firstVideoBuffer());
  EXPECT_THAT(
      delegate->lines(),
      testing::ElementsAre(RememberingDelegate::Line{line(" Error in startWriting"), 2},
                           RememberingDelegate::Line{
                               line(" AVAssetWriter status: AVAssetWriterStatusUnknown (0)"), 2}));
}

TEST_F(WriterSetup, StartOfWritingWriterChangesNothing) {
  recorder->setWriter(writer);
  recorder->setStartedSession(true);
  recorder->setFirstVideoFrameTime(CMTimeMake(1, 1000));
  peer.startWriting();
  EXPECT_TRUE(recorder->startedSession());
  EXPECT_FALSE(recorder->firstAudioBuffer());
  EXPECT_FALSE(recorder->firstVideoBuffer());
  EXPECT_EQ(recorder->firstVideoFrameTime().value, 1);
  EXPECT_FALSE(recorder->writing());
  EXPECT_TRUE(writer->calls.empty());
  EXPECT_TRUE(delegate->lines().empty());
}

TEST_F(WriterSetup, RefusedStartIsLoggedWithTheStatus) {
  writer->currentStatus = AVAssetWriterStatusFailed;
  writer->currentError = NSError("Domain", -7, "why");
  writer->starts = false;
  recorder->setWriter(writer);
  peer.startWriting();
  EXPECT_TRUE(recorder->writing());
  EXPECT_THAT(delegate->lines(),
              testing::ElementsAre(RememberingDelegate::Line{line(" Error in startWriting"), 2},
                                   RememberingDelegate::Line{
                                       line(" AVAssetWriter status: AVAssetWriterStatusFailed (3)\n"
                                            "Error Domain=Domain Code=-7 \"why\""),
                                       2}));
}

struct StatusText {
  std::int64_t status;
  const char* text;
};

class WriterStatusText : public RecorderTest, public testing::WithParamInterface<StatusText> {};

TEST_P(WriterStatusText, IsReported) {
  writer->currentStatus = static_cast<AVAssetWriterStatus>(GetParam().status);
  recorder->setWriter(writer);
  peer.logWriterStatus();
  EXPECT_THAT(delegate->lines(),
              testing::ElementsAre(RememberingDelegate::Line{
                  line(std::string(" AVAssetWriter status: ") + GetParam().text), 2}));
}

INSTANTIATE_TEST_SUITE_P(All, WriterStatusText,
                         testing::Values(StatusText{0, "AVAssetWriterStatusUnknown (0)"},
                                         StatusText{1, "AVAssetWriterStatusWriting (1)"},
                                         StatusText{2, "AVAssetWriterStatusCompleted (2)"},
                                         StatusText{3, "AVAssetWriterStatusFailed (3)\n(null)"},
                                         StatusText{4, "AVAssetWriterStatusCancelled (4)"},
                                         StatusText{5, ""}));

TEST_F(WriterSetup, StatusWithoutWriterIsUnknown) {
  peer.logWriterStatus();
  EXPECT_EQ(countOf(line(" AVAssetWriter status: AVAssetWriterStatusUnknown (0)")), 1);
}

TEST_F(WriterSetup, PresentationTimeIsNotLoggedAndItsSampleLeftAlone) {
  useScriptedWriter();
  appendAt(0);
  const auto sample = CFRef<CMSampleBufferRef>::adopt(peer.setVedioBuffer(peer.buffer(), 40));
  peer.logPresentationTime(nullptr, "Video Sample");
  peer.logPresentationTime(sample.get(), "Audio Sample");
  EXPECT_EQ(CFGetRetainCount(sample.get()), 1);
  EXPECT_TRUE(delegate->lines().empty());
  EXPECT_TRUE(writer->calls.empty());
}

}  // namespace
