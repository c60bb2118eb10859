// The recorder object: defaults, preparation, log and errors.
#include "VXVideoRecorder/VXVideoRecorderFramework.h"
#include "support/recorder_fixture.h"

#include <cmath>
#include <cstring>
#include <thread>
#include <type_traits>

using namespace vx;

namespace {

using Configuration = RecorderTest;

TEST_F(Configuration, FreshRecorderHasItsDefaults) {
  EXPECT_EQ(recorder->index(), 1u);
  EXPECT_EQ(recorder->folderLimitSize(), 0u);
  EXPECT_FALSE(recorder->audioEnabled());
  EXPECT_FALSE(recorder->isVideoRotation());
  EXPECT_FALSE(recorder->writing());
  EXPECT_FALSE(recorder->startedSession());
  EXPECT_FALSE(recorder->firstVideoBuffer());
  EXPECT_FALSE(recorder->firstAudioBuffer());
  EXPECT_EQ(recorder->writer(), nullptr);
  EXPECT_EQ(recorder->videoWriterInput(), nullptr);
  EXPECT_EQ(recorder->audioWriterInput(), nullptr);
  EXPECT_EQ(recorder->thread, nullptr);
  EXPECT_EQ(recorder->filename(), std::nullopt);
  EXPECT_EQ(recorder->username(), std::nullopt);
  EXPECT_EQ(recorder->fileNamePrefix(), std::nullopt);
  EXPECT_FALSE(recorder->completionHandler());
  EXPECT_EQ(recorder->delegate, delegate);
  EXPECT_EQ(peer.limitFreeSpace(), 100000000u);
  EXPECT_EQ(peer.startTime(), 0u);
  EXPECT_EQ(peer.timestamp(), 0u);
  EXPECT_FALSE(peer.pause());
  EXPECT_EQ(peer.buffer(), nullptr);
  EXPECT_TRUE(peer.pools().empty());
}

TEST_F(Configuration, FreshRecorderHasNoStoragePath) {
  EXPECT_EQ(VXVideoRecorder::initWithDelegate(nullptr)->storagePath(), std::nullopt);
}

TEST_F(Configuration, WriterAndInputsAreKeptAsGiven) {
  auto audio = std::make_shared<ScriptedInput>(AVMediaTypeAudio);
  recorder->setWriter(writer);
  recorder->setVideoWriterInput(input);
  recorder->setAudioWriterInput(audio);
  recorder->setStoragePath("elsewhere");
  EXPECT_EQ(recorder->writer(), writer);
  EXPECT_EQ(recorder->videoWriterInput(), input);
  EXPECT_EQ(recorder->audioWriterInput(), audio);
  EXPECT_EQ(recorder->storagePath(), "elsewhere");
  EXPECT_TRUE(writer->calls.empty());
}

TEST_F(Configuration, FirstVideoFrameTimeOfFreshRecorderIsAllZero) {
  const CMTime time = recorder->firstVideoFrameTime();
  EXPECT_EQ(time.value, 0);
  EXPECT_EQ(time.timescale, 0);
  EXPECT_EQ(time.flags, 0u);
  EXPECT_EQ(time.epoch, 0);
}

TEST_F(Configuration, PropertiesKeepWhatIsSet) {
  recorder->setWriting(true);
  recorder->setStartedSession(true);
  recorder->setFirstVideoBuffer(true);
  recorder->setFirstAudioBuffer(true);
  recorder->setFirstVideoFrameTime(CMTimeMake(7, 1000));
  recorder->setIndex(4294967295u);
  recorder->setFolderLimitSize(18446744073709551615u);
  recorder->setFileNamePrefix("prefix");
  recorder->setFilename("name");
  recorder->setUsername("user");
  recorder->setAudioEnabled(true);
  int calls = 0;
  recorder->setCompletionHandler([&] { ++calls; });
  recorder->completionHandler()();

  EXPECT_TRUE(recorder->writing());
  EXPECT_TRUE(recorder->startedSession());
  EXPECT_TRUE(recorder->firstVideoBuffer());
  EXPECT_TRUE(recorder->firstAudioBuffer());
  EXPECT_EQ(recorder->firstVideoFrameTime().value, 7);
  EXPECT_EQ(recorder->index(), 4294967295u);
  EXPECT_EQ(recorder->folderLimitSize(), 18446744073709551615u);
  EXPECT_EQ(recorder->fileNamePrefix(), "prefix");
  EXPECT_EQ(recorder->filename(), "name");
  EXPECT_EQ(recorder->username(), "user");
  EXPECT_TRUE(recorder->audioEnabled());
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(delegate->lines().empty());
}

TEST_F(Configuration, NumbersHaveTheirWidths) {
  static_assert(std::is_same_v<decltype(recorder->index()), std::uint32_t>);
  static_assert(std::is_same_v<decltype(recorder->folderLimitSize()), std::uint64_t>);
  static_assert(std::is_same_v<decltype(peer.limitFreeSpace()), std::uint64_t&>);
  static_assert(std::is_same_v<decltype(peer.startTime()), std::uint32_t&>);
  static_assert(std::is_same_v<decltype(peer.timestamp()), std::uint32_t&>);
  static_assert(std::is_same_v<decltype(CMTime::value), std::int64_t>);
  static_assert(std::is_same_v<decltype(CMTime::timescale), std::int32_t>);
  static_assert(std::is_same_v<decltype(CMTime::epoch), std::int64_t>);
  static_assert(sizeof(CMTime::flags) == 4);
  static_assert(std::is_same_v<decltype(CGSize::width), double>);
  static_assert(std::is_same_v<decltype(CGSize::height), double>);
}

template <typename Recorder>
concept TakesARotation = requires(Recorder& host) {
  host.setIsVideoRotation(true);
};
template <typename Recorder>
concept TakesAThread = requires(Recorder& host) {
  host.setThread(nullptr);
};

TEST_F(Configuration, FlagsAreOneByteAndRotationAndThreadAreTheRecordersToSet) {
  static_assert(std::is_same_v<VXVideoRecorderPeer::AudioEnabledField, std::atomic<bool>>);
  static_assert(sizeof(VXVideoRecorderPeer::AudioEnabledField) == 1);
  static_assert(sizeof(VXVideoRecorderPeer::PauseField) == 1);
  static_assert(std::is_same_v<decltype(recorder->isVideoRotation()), bool>);
  static_assert(!TakesARotation<VXVideoRecorder>);
  static_assert(!TakesAThread<VXVideoRecorder>);
}

TEST_F(Configuration, NumbersThatHostsPassAreThePlatforms) {
  static_assert(kCVPixelFormatType_420YpCbCr8Planar == 0x79343230);
  static_assert(kCMAttachmentMode_ShouldPropagate == 1);
  static_assert(kAudioFormatMPEG4AAC == 0x61616320);
}

TEST_F(Configuration, TextsAndHandlerAreCopies) {
  std::optional<std::string> text = "before";
  int calls = 0;
  std::function<void()> handler = [&] { ++calls; };
  recorder->setStoragePath(text);
  recorder->setFileNamePrefix(text);
  recorder->setFilename(text);
  recorder->setUsername(text);
  recorder->setCompletionHandler(handler);
  text = "after";
  handler = nullptr;
  EXPECT_EQ(recorder->storagePath(), "before");
  EXPECT_EQ(recorder->fileNamePrefix(), "before");
  EXPECT_EQ(recorder->filename(), "before");
  EXPECT_EQ(recorder->username(), "before");
  recorder->completionHandler()();
  EXPECT_EQ(calls, 1);
}

TEST_F(Configuration, PreparingTwiceKeepsTheFirstWriterWhateverTheSize) {
  ASSERT_TRUE(peer.prepareWithConfig(CGSizeMake(64, 48)));
  const auto first = recorder->writer();
  const auto firstInput = recorder->videoWriterInput();
  EXPECT_TRUE(peer.prepareWithConfig(CGSizeMake(1920, 1080)));
  EXPECT_EQ(recorder->writer(), first);
  EXPECT_EQ(recorder->videoWriterInput(), firstInput);
}

TEST_F(Configuration, PreparationWithAWriterLooksAtNothingElse) {
  useScriptedWriter();
  recorder->setAudioEnabled(true);
  std::ofstream(folder / "Display_1.mp4") << "the recording under way";
  EXPECT_TRUE(peer.prepareWithConfig(CGSizeMake(64, 48)));
  EXPECT_EQ(recorder->videoWriterInput(), input);
  EXPECT_EQ(recorder->audioWriterInput(), nullptr);
  EXPECT_EQ(recorder->filename(), std::nullopt);
  EXPECT_TRUE(std::filesystem::exists(folder / "Display_1.mp4"));
  EXPECT_TRUE(writer->inputs.empty());
}

TEST_F(Configuration, PreparationNeitherStartsNorTouchesClockHeldFrameAndFlags) {
  useScriptedWriter(66);
  appendAt(66);
  const CVPixelBufferRef held = peer.buffer();
  recorder->setWriter(nullptr);
  recorder->setVideoWriterInput(nullptr);
  recorder->setStartedSession(true);
  recorder->setFirstVideoFrameTime(CMTimeMake(9, 1000));
  peer.timestamp() = 77;
  ASSERT_TRUE(peer.prepareWithConfig(CGSizeMake(64, 48)));
  EXPECT_EQ(recorder->writer()->status(), AVAssetWriterStatusUnknown);
  EXPECT_FALSE(recorder->writing());
  EXPECT_EQ(peer.startTime(), 66u);
  EXPECT_EQ(peer.timestamp(), 77u);
  EXPECT_EQ(peer.buffer(), held);
  EXPECT_TRUE(recorder->startedSession());
  EXPECT_FALSE(recorder->firstVideoBuffer());
  EXPECT_FALSE(recorder->firstAudioBuffer());
  EXPECT_EQ(recorder->firstVideoFrameTime().value, 9);
  EXPECT_TRUE(delegate->lines().empty());
}

TEST_F(Configuration, PreparationMakesAWriterOfTheFileWithAVideoInputOfTheSize) {
  ASSERT_TRUE(peer.prepareWithConfig(CGSizeMake(1366, 767)));
  ASSERT_NE(recorder->writer(), nullptr);
  EXPECT_EQ(recorder->writer()->outputURL()->path(), folder / "Display_1.mp4");
  const auto video = recorder->videoWriterInput();
  ASSERT_NE(video, nullptr);
  EXPECT_EQ(video->mediaType(), AVMediaTypeVideo);
  EXPECT_EQ(video->outputSettings(), peer.videoSettings(CGSizeMake(1366, 767)));
  EXPECT_EQ(video->sourceFormatHint(), nullptr);
  EXPECT_TRUE(video->expectsMediaDataInRealTime());
  EXPECT_THROW(recorder->writer()->addInput(video), NSException) << "it has it already";
}

TEST_F(Configuration, PreparationWithoutAWriterFailsInSilenceAndMakesNothing) {
  recorder->setFilename(std::string("re\0cording.mp4", 14));  // no file can be called so
  recorder->setAudioEnabled(true);
  EXPECT_FALSE(peer.prepareWithConfig(CGSizeMake(64, 48)));
  EXPECT_EQ(recorder->writer(), nullptr);
  EXPECT_EQ(recorder->videoWriterInput(), nullptr);
  EXPECT_EQ(recorder->audioWriterInput(), nullptr);
  EXPECT_TRUE(delegate->lines().empty());
  recorder->setFilename("recording.mp4");
  EXPECT_TRUE(peer.prepareWithConfig(CGSizeMake(64, 48)));
}

TEST_F(Configuration, RotationGivesTheInputAQuarterTurn) {
  peer.isVideoRotation() = true;
  ASSERT_TRUE(peer.prepareWithConfig(CGSizeMake(64, 48)));
  const CGAffineTransform turn = recorder->videoWriterInput()->transform();
  EXPECT_NEAR(turn.a, 0, 1e-12);
  EXPECT_NEAR(turn.b, 1, 1e-12);
  EXPECT_NEAR(turn.c, -1, 1e-12);
  EXPECT_NEAR(turn.d, 0, 1e-12);
}

TEST_F(Configuration, WithoutRotationTheInputKeepsItsIdentity) {
  ASSERT_TRUE(peer.prepareWithConfig(CGSizeMake(64, 48)));
  EXPECT_EQ(recorder->videoWriterInput()->transform(), CGAffineTransformIdentity);
}

TEST_F(Configuration, AudioInputExistsOnlyWhenEnabled) {
  ASSERT_TRUE(peer.prepareWithConfig(CGSizeMake(64, 48)));
  EXPECT_EQ(recorder->audioWriterInput(), nullptr);

  auto withAudio = VXVideoRecorder::initWithDelegate(nullptr);
  withAudio->setStoragePath(folder.path());
  withAudio->setFilename("with-audio.mp4");
  withAudio->setAudioEnabled(true);
  ASSERT_TRUE(VXVideoRecorderPeer(*withAudio).prepareWithConfig(CGSizeMake(64, 48)));
  const auto audio = withAudio->audioWriterInput();
  ASSERT_NE(audio, nullptr);
  EXPECT_EQ(audio->mediaType(), AVMediaTypeAudio);
  EXPECT_TRUE(audio->expectsMediaDataInRealTime());
  EXPECT_EQ(audio->transform(), CGAffineTransformIdentity);
  EXPECT_THROW(withAudio->writer()->addInput(audio), NSException) << "it has it already";
}

TEST_F(Configuration, ErrorCodeIsOneLineAndNothingElse) {
  peer.handleErrorCode(1, std::nullopt);
  EXPECT_THAT(delegate->lines(), testing::ElementsAre(RememberingDelegate::Line{
                                     line(" status 1 with error (null)"), 2}));
}

TEST_F(Configuration, ErrorIsPrintedWithItsDescription) {
  peer.handleErrorCode(-9223372036854775807 - 1, NSError("Domain", 5, "text"));
  EXPECT_THAT(delegate->lines(), testing::ElementsAre(RememberingDelegate::Line{
                                     line(" status -9223372036854775808 with error "
                                          "Error Domain=Domain Code=5 \"text\""),
                                     2}));
}

TEST_F(Configuration, LogPrefixNamesClassAndInstance) {
  EXPECT_THAT(peer.logPrefix(),
              testing::MatchesRegex("\\[VXVideoRecorder\\]\\[<VXVideoRecorder: 0x[0-9a-f]+>\\]"));
  auto other = VXVideoRecorder::initWithDelegate(nullptr);
  EXPECT_NE(VXVideoRecorderPeer(*other).logPrefix(), peer.logPrefix());
}

TEST_F(Configuration, DelegateMayBeNone) {
  auto silent = VXVideoRecorder::initWithDelegate(nullptr);
  silent->setStoragePath(folder.path());
  silent->appendVideoSample(FrameBuilder().at(0).build());
  silent->appendVideoSample(FrameBuilder().at(40).build());
  EXPECT_TRUE(silent->writing());
  EXPECT_EQ(VXVideoRecorderPeer(*silent).timestamp(), 40u);
}

/// Has the host let go of it within a line.
struct DelegateLetGo : VXVideoRecorderDelegate {
  DelegateLetGo(VXVideoRecorder& recorder, std::vector<std::string>& story)
      : host(recorder), events(story) {}
  ~DelegateLetGo() override { events.push_back("gone"); }
  void writeLog(const std::string&, std::int32_t) override {
    std::vector<std::string>& kept = events;  // the object may be gone after the next line
    host.delegate = nullptr;
    kept.push_back("end of the line");
  }
  VXVideoRecorder& host;
  std::vector<std::string>& events;
};

TEST_F(Configuration, DelegateThatIsLetGoWithinALineLivesToItsEnd) {
  std::vector<std::string> events;
  recorder->delegate = std::make_shared<DelegateLetGo>(*recorder, events);
  peer.handleErrorCode(1, std::nullopt);
  EXPECT_THAT(events, testing::ElementsAre("end of the line", "gone"));
}

TEST_F(Configuration, DelegateWithoutOperationsChangesNothing) {
  auto recorderOfDeaf =
      VXVideoRecorder::initWithDelegate(std::make_shared<VXVideoRecorderDelegate>());
  recorderOfDeaf->setStoragePath(folder.path());
  recorderOfDeaf->appendVideoSample(FrameBuilder().at(0).build());
  recorderOfDeaf->appendVideoSample(FrameBuilder().at(40).build());
  EXPECT_EQ(VXVideoRecorderPeer(*recorderOfDeaf).timestamp(), 40u);
}

TEST_F(Configuration, LinesComeOnTheThreadOfTheCall) {
  struct Listener : VXVideoRecorderDelegate {
    std::vector<std::thread::id> threads;
    void writeLog(const std::string&, std::int32_t) override {
      threads.push_back(std::this_thread::get_id());
    }
  };
  auto listener = std::make_shared<Listener>();
  recorder->delegate = listener;
  appendAt(0);
  appendAt(40);
  EXPECT_THAT(listener->threads, testing::SizeIs(2));
  EXPECT_THAT(listener->threads, testing::Each(std::this_thread::get_id()));
  recorder->delegate = delegate;
}

TEST_F(Configuration, LinesGoToTheDelegateAloneAndNoneToTheSystemLog) {
  testing::internal::CaptureStderr();
  recorder->setAudioEnabled(true);
  appendAt(0);
  appendAt(40);
  recorder->stop();
  recorder->stop();  // raises, which is a line
  EXPECT_TRUE(delegate->waitForFilesDone());
  appendAt(80);  // refused, which is another
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(delegate->lines().size(), 5u);
}

TEST(Version, NumberAndStringAreExact) {
  static_assert(sizeof VXVideoRecorderFrameworkVersionNumber == 8);
  EXPECT_EQ(VXVideoRecorderFrameworkVersionNumber, 1.0);
  constexpr char kExpected[] = "@(#)PROGRAM:VXVideoRecorderFramework  PROJECT:VXVideoRecorder-1\n";
  EXPECT_EQ(std::memcmp(VXVideoRecorderFrameworkVersionString, kExpected, sizeof kExpected), 0);
}

}  // namespace
