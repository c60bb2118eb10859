// The asset writer's contract: what it refuses, what it raises, when it is ready.
#include "platform/avfoundation/asset_writer_fixture.h"

#include "platform/foundation/file_descriptor.h"
#include "support/media_reader.h"

#include <fcntl.h>
#include <sys/file.h>

#include <thread>

namespace vx {
namespace {

using AssetWriter = AssetWriterTest;

TEST_F(AssetWriter, WritesOnlyMPEG4) {
  std::optional<NSError> error;
  EXPECT_EQ(AVAssetWriter::initWithURL(NSURL::fileURLWithPath(path), "public.avi", &error),
            nullptr);
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->code(), AVErrorFileFormatNotRecognized);
}

TEST_F(AssetWriter, RefusesAPathThatTheSystemWouldCut) {
  std::optional<NSError> error;
  const NSURL url = NSURL::fileURLWithPath(path + std::string("\0.mp4", 5));
  EXPECT_EQ(AVAssetWriter::initWithURL(url, AVFileTypeMPEG4, &error), nullptr);
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->domain(), AVFoundationErrorDomain);
}

TEST_F(AssetWriter, NeedsAPath) {
  std::optional<NSError> error;
  EXPECT_EQ(AVAssetWriter::initWithURL(NSURL(), AVFileTypeMPEG4, &error), nullptr);
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->localizedDescription(), "The file needs a path.");
}

TEST_F(AssetWriter, NeedsAVideoInputWithSettings) {
  const auto audio =
      AVAssetWriterInput::assetWriterInputWithMediaType(AVMediaTypeAudio, std::nullopt);
  const auto bare =
      AVAssetWriterInput::assetWriterInputWithMediaType(AVMediaTypeVideo, std::nullopt);
  for (const auto& only : {audio, bare}) {
    writer = AVAssetWriter::initWithURL(NSURL::fileURLWithPath(path), AVFileTypeMPEG4, nullptr);
    writer->addInput(only);
    EXPECT_FALSE(writer->startWriting());
    EXPECT_EQ(writer->status(), AVAssetWriterStatusFailed);
    EXPECT_EQ(writer->error()->code(), AVErrorInvalidOutputSettings);
    EXPECT_FALSE(std::filesystem::exists(path));
  }
}

TEST_F(AssetWriter, TellsWhereItWrites) {
  EXPECT_EQ(writer->outputURL(), NSURL::fileURLWithPath(path));
}

TEST_F(AssetWriter, CreatesNothingBeforeTheStart) {
  writer->addInput(input);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_EQ(writer->status(), AVAssetWriterStatusUnknown);
  EXPECT_FALSE(input->isReadyForMoreMediaData());
}

TEST_F(AssetWriter, GoesFromUnknownOverWritingToCompleted) {
  startSession();
  EXPECT_EQ(writer->status(), AVAssetWriterStatusWriting);
  EXPECT_TRUE(input->isReadyForMoreMediaData());
  EXPECT_TRUE(appendAt(0));
  input->markAsFinished();
  EXPECT_FALSE(input->isReadyForMoreMediaData());
  writer->endSessionAtSourceTime(CMTimeMake(40, 1000));
  finish();
  EXPECT_EQ(writer->status(), AVAssetWriterStatusCompleted);
  EXPECT_EQ(writer->error(), std::nullopt);
}

TEST_F(AssetWriter, EveryStepRaisesBeforeTheStart) {
  EXPECT_THROW(input->markAsFinished(), NSException);
  EXPECT_THROW(input->appendSampleBuffer(sampleAt(kCMTimeZero).get()), NSException);
  writer->addInput(input);
  EXPECT_THROW(input->markAsFinished(), NSException);
  EXPECT_THROW(writer->startSessionAtSourceTime(kCMTimeZero), NSException);
  EXPECT_THROW(writer->endSessionAtSourceTime(kCMTimeZero), NSException);
  EXPECT_THROW(writer->finishWritingWithCompletionHandler({}), NSException);
}

TEST_F(AssetWriter, EveryStepRaisesAfterTheFinish) {
  startSession();
  appendAt(0);
  finish();
  EXPECT_THROW(input->markAsFinished(), NSException);
  EXPECT_THROW(writer->startSessionAtSourceTime(kCMTimeZero), NSException);
  EXPECT_THROW(writer->endSessionAtSourceTime(kCMTimeZero), NSException);
  EXPECT_THROW(writer->finishWritingWithCompletionHandler({}), NSException);
}

TEST_F(AssetWriter, SampleBeforeTheSessionRaises) {
  start();
  EXPECT_THROW(appendAt(0), NSException);
  EXPECT_THROW(writer->endSessionAtSourceTime(kCMTimeZero), NSException);
}

TEST_F(AssetWriter, SampleAfterTheEndOfTheInputIsRefused) {
  startSession();
  input->markAsFinished();
  EXPECT_FALSE(appendAt(0));
  EXPECT_EQ(writer->status(), AVAssetWriterStatusWriting);
}

TEST_F(AssetWriter, InputIsAddedOnceAndBeforeTheStart) {
  writer->addInput(input);
  EXPECT_THROW(writer->addInput(input), NSException);
  EXPECT_THROW(writer->addInput(makeInput(64, 48)), NSException);
  EXPECT_THROW(writer->addInput(nullptr), NSException);
  ASSERT_TRUE(writer->startWriting());
  EXPECT_THROW(writer->startWriting(), NSException);
  EXPECT_THROW(writer->addInput(AVAssetWriterInput::assetWriterInputWithMediaType(AVMediaTypeAudio,
                                                                                  std::nullopt)),
               NSException);
}

TEST_F(AssetWriter, InputOfAnotherWriterIsNotAdded) {
  writer->addInput(input);
  const auto other = AVAssetWriter::initWithURL(NSURL::fileURLWithPath(folder / "b.mp4"),
                                                AVFileTypeMPEG4, nullptr);
  EXPECT_THROW(other->addInput(input), NSException);
}

TEST_F(AssetWriter, OneThatIsLetGoOfLetsGoOfItsFile) {
  startSession();
  ASSERT_TRUE(appendAt(0));
  writer.reset();
  input.reset();
  // The recorder's own lock on its file, which its threads give back at their end.
  const FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    ASSERT_LT(std::chrono::steady_clock::now(), deadline);
    std::this_thread::yield();
  }
  EXPECT_THAT(test::readFile(path).videoTimesMs(), testing::ElementsAre(0));
}

TEST_F(AssetWriter, OtherMediaRaise) {
  EXPECT_THROW(AVAssetWriterInput::assetWriterInputWithMediaType("text", std::nullopt),
               NSException);
}

TEST_F(AssetWriter, SampleWithoutPictureOrTimeIsRefused) {
  startSession();
  EXPECT_FALSE(input->appendSampleBuffer(nullptr));
  EXPECT_FALSE(input->appendSampleBuffer(sampleAt(kCMTimeInvalid).get()));
  EXPECT_EQ(writer->status(), AVAssetWriterStatusWriting);
}

TEST_F(AssetWriter, ExistingFileIsNotTouched) {
  std::ofstream(path) << "mine";
  writer->addInput(input);
  EXPECT_FALSE(writer->startWriting());
  EXPECT_EQ(writer->status(), AVAssetWriterStatusFailed);
  ASSERT_TRUE(writer->error().has_value());
  EXPECT_EQ(std::filesystem::file_size(path), 4u);
}

TEST_F(AssetWriter, FailedStartRaisesNothingOnTheWayOut) {
  std::filesystem::remove_all(folder.path());
  writer->addInput(input);
  EXPECT_FALSE(writer->startWriting());
  EXPECT_FALSE(input->isReadyForMoreMediaData());
  EXPECT_FALSE(appendAt(0));
  EXPECT_NO_THROW(input->markAsFinished());
  EXPECT_NO_THROW(writer->startSessionAtSourceTime(kCMTimeZero));
  EXPECT_NO_THROW(writer->endSessionAtSourceTime(kCMTimeZero));
  finish();
  EXPECT_EQ(writer->status(), AVAssetWriterStatusFailed);
}

TEST_F(AssetWriter, SizeThatNoEncoderTakesFailsAtTheStart) {
  writer->addInput(makeInput(16385, 48));
  EXPECT_FALSE(writer->startWriting());
  EXPECT_THAT(writer->error()->localizedDescription(), testing::HasSubstr("AVVideoWidthKey"));
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(AssetWriter, QueueFullMeansNotReadyAndWaitingMakesRoom) {
  startSession();
  std::int64_t time = 0;
  for (int i = 0; i < 200; ++i) {
    ASSERT_TRUE(input->waitUntilReadyForMoreMediaData(std::chrono::minutes(1)));
    ASSERT_TRUE(appendAt(time += 10));
  }
  finish();
  EXPECT_EQ(writer->status(), AVAssetWriterStatusCompleted);
}

TEST_F(AssetWriter, LivesUntilItsHandlerHasReturned) {
  startSession();
  appendAt(0);
  std::weak_ptr<AVAssetWriter> weak = writer;
  std::promise<AVAssetWriterStatus> finalStatus;
  writer->finishWritingWithCompletionHandler(
      [&] { finalStatus.set_value(weak.lock() ? weak.lock()->status() : AVAssetWriterStatus{}); });
  writer.reset();
  EXPECT_EQ(finalStatus.get_future().get(), AVAssetWriterStatusCompleted);
}

TEST_F(AssetWriter, HandlerThatThrowsHarmsNobody) {
  startSession();
  appendAt(0);
  std::promise<void> called;
  writer->finishWritingWithCompletionHandler([&] {
    called.set_value();
    throw std::runtime_error("from the host");
  });
  called.get_future().get();
  EXPECT_EQ(writer->status(), AVAssetWriterStatusCompleted);
}

TEST_F(AssetWriter, HandlerThatThrowsNoExceptionHarmsNobody) {
  startSession();
  appendAt(0);
  testing::internal::CaptureStderr();
  std::weak_ptr<AVAssetWriter> weak = writer;
  writer->finishWritingWithCompletionHandler([] { throw "words"; });
  writer.reset();
  input.reset();
  while (!weak.expired()) {  // let go of when the handler has been left
    std::this_thread::yield();
  }
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::HasSubstr("A completion handler threw something that is no exception.\n"));
}

TEST_F(AssetWriter, SessionMayStartAtAnyTimeWhichIsThenTimeZero) {
  start();
  writer->startSessionAtSourceTime(CMTimeMake(90000, 90000));
  ASSERT_TRUE(appendAt(1000));
  ASSERT_TRUE(appendAt(1040));
  writer->endSessionAtSourceTime(CMTimeMake(1080, 1000));
  finish();
  const test::MediaFile file = test::readFile(path);
  EXPECT_THAT(file.videoTimesMs(), testing::ElementsAre(0, 40));
  EXPECT_EQ(file.durationMs, 80);
}

TEST_F(AssetWriter, SessionIsStartedOnceAtANumericTime) {
  start();
  EXPECT_THROW(writer->startSessionAtSourceTime(kCMTimeInvalid), NSException);
  writer->startSessionAtSourceTime(kCMTimeZero);
  EXPECT_THROW(writer->startSessionAtSourceTime(kCMTimeZero), NSException);
  constexpr CMTime kNever{0, 0, kCMTimeFlags_Valid | kCMTimeFlags_PositiveInfinity, 0};
  EXPECT_THROW(writer->endSessionAtSourceTime(kNever), NSException);
}

TEST_F(AssetWriter, HandlerRunsOnceOnAnotherThreadWhenTheFileIsWhole) {
  startSession();
  appendAt(0);
  std::promise<std::thread::id> thread;  // a second value would throw
  std::vector<std::int64_t> times;
  writer->finishWritingWithCompletionHandler([&] {
    times = test::readFile(path).videoTimesMs();
    thread.set_value(std::this_thread::get_id());
  });
  EXPECT_NE(thread.get_future().get(), std::this_thread::get_id());
  EXPECT_THAT(times, testing::ElementsAre(0));
}

}  // namespace
}  // namespace vx
