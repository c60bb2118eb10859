// The engine between the host's thread and the file, with an encoder and a file that do as told.
#include "platform/avfoundation/writer_core_fixture.h"
#include "platform/corevideo/pixel_buffer_registry.h"
#include "platform/foundation/sanitizers.h"

#include "support/no_more_threads.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace vx {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

TEST_F(WriterCoreTest, HeadComesFirstAndSamplesInOrder) {
  start();
  for (std::int64_t time : {0, 40, 80}) {
    appendWhenReady(time);
  }
  finish(120);
  EXPECT_TRUE(stage.began);
  EXPECT_THAT(stage.times, ElementsAre(0, 40, 80));
  EXPECT_EQ(stage.sessionEndMs, 120);
  EXPECT_EQ(stage.finishes, 1);
  EXPECT_EQ(statusInHandler, AVAssetWriterStatusCompleted);
}

TEST_F(WriterCoreTest, FirstPictureIsPublishedAtOnce) {
  start();
  appendWhenReady(0);
  EXPECT_TRUE(stage.waitFor([&] { return stage.commits == 1; }));
}

TEST_F(WriterCoreTest, FirstPictureIsPublishedAlone) {
  start();
  for (int i = 0; i < 10; ++i) {
    appendWhenReady(i * 10);
  }
  finish();
  EXPECT_EQ(stage.firstCommitBytes, stage.unitBytes);
}

TEST_F(WriterCoreTest, FileLearnsTheColoursOfTheTrack) {
  colour = {9, 16, 9, true};
  start();
  appendWhenReady(0);
  finish();
  EXPECT_EQ(stage.colour, colour);
}

TEST_F(WriterCoreTest, CodingGivesWayToTheHost) {
  const int own = getpriority(PRIO_PROCESS, id_t(gettid()));
  if (own > 0 && setpriority(PRIO_PROCESS, id_t(gettid()), 0) != 0) {
    GTEST_SKIP() << "these tests give way already, and only root may change that";
  }
  start();
  finish();
  setpriority(PRIO_PROCESS, id_t(gettid()), own);
  EXPECT_EQ(stage.niceness, 5);
}

TEST_F(WriterCoreTest, NothingIsTakenOnceTheWriterHasFailed) {
  stage.encoderHangsWhenOpened = true;
  start();
  core->fail(error("enough"));
  CodedAudio audio;
  audio.units.push_back({{1, 2, 3}, 0, 1024});
  EXPECT_FALSE(core->append(std::move(audio)));
  EXPECT_FALSE(append(0));
  EXPECT_TRUE(stage.waitFor([&] { return stage.finishes == 1; })) << "though the encoder hangs";
}

TEST_F(WriterCoreTest, StillScreenIsCommittedByTheClock) {
  start();
  appendWhenReady(0);
  appendWhenReady(40);
  // No further picture comes, and still the second is committed.
  EXPECT_TRUE(stage.waitFor([&] { return stage.commits == 2 && stage.times.size() == 2; }));
}

TEST_F(WriterCoreTest, EightMebibytesDoNotWaitForTheClock) {
  stage.unitBytes = std::size_t{4} << 20;
  start();
  for (int i = 0; i < 20; ++i) {
    appendWhenReady(i * 40);
  }
  finish();
  EXPECT_LE(stage.largestCommitBytes, std::size_t{8} << 20);
  EXPECT_GE(stage.commits, 10) << "the first picture, and two at a time";
}

TEST_F(WriterCoreTest, KeyFrameWishesReachTheEncoder) {
  start();
  for (std::int64_t time : {0, 40, 2040, 2080}) {
    appendWhenReady(time);
  }
  finish();
  EXPECT_THAT(stage.keyFrameWishes, ElementsAre(true, false, true, false));
}

TEST_F(WriterCoreTest, AFullQueueMakesTheEncoderFasterForAHostThatDoesNotWait) {
  stage.encoderSpeeds = {{1, 2, 3}, 2};
  stage.encoderHangsAt = 0;  // until the queue is full
  start();
  for (int i = 0; append(i); ++i) {
  }
  stage.change([&] { stage.encoderHangsAt = -1; });
  ASSERT_TRUE(stage.waitFor([&] { return stage.speeds.size() > 2; }));
  std::lock_guard lock(stage.mutex);
  EXPECT_EQ(stage.speeds[2], 0);
}

TEST_F(WriterCoreTest, AFullQueueLeavesTheSpeedForAHostThatWaits) {
  stage.encoderSpeeds = {{1, 2, 3}, 2};
  stage.encoderHangsAt = 0;
  start();
  ASSERT_TRUE(core->waitForRoom(std::chrono::minutes(1)));
  for (int i = 0; append(i); ++i) {
  }
  stage.change([&] { stage.encoderHangsAt = -1; });
  ASSERT_TRUE(stage.waitFor([&] { return stage.speeds.size() > 2; }));
  std::lock_guard lock(stage.mutex);
  EXPECT_EQ(stage.speeds[2], 2);
}

TEST_F(WriterCoreTest, StuckDiskFillsTheQueuesAndLosesNothing) {
  stage.diskIsStuck = true;
  stage.unitBytes = 16 * 1024 * 1024;  // two of them fill the queue behind the encoder
  start();
  // One is being written, two wait for the disk, one is in the encoder's hands, and the rest of the
  // accepted ones wait for the encoder.
  constexpr int kMostAccepted = 1 + 2 + 1 + 12;
  for (int i = 0; i < kMostAccepted; ++i) {
    ASSERT_NO_FATAL_FAILURE(appendWhenReady(i));
  }
  EXPECT_FALSE(core->hasRoomForPicture());
  EXPECT_FALSE(append(kMostAccepted));
  stage.change([&] { stage.diskIsStuck = false; });
  finish();
  EXPECT_THAT(stage.times, SizeIs(kMostAccepted));
}

TEST_F(WriterCoreTest, LargePicturesFillTheQueueByTheirBytes) {
  stage.encoderHangsAt = 0;
  start();
  const auto picture = pixels(8192, kCVPixelFormatType_OneComponent8);  // 64 MiB
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(core->append({picture, i * 40, 40, false}));
  }
  ASSERT_TRUE(core->waitForRoom(std::chrono::minutes(1))) << "once the encoder has the first one";
  ASSERT_TRUE(core->append({picture, 120, 40, false}));
  EXPECT_FALSE(core->hasRoomForPicture());
  core->fail(error("enough"));
}

TEST_F(WriterCoreTest, LastCommitIsFollowedByOneThatMakesItDurable) {
  start();
  appendWhenReady(0);
  EXPECT_TRUE(stage.waitFor([&] { return stage.commits == 2; }));
  EXPECT_THAT(stage.times, SizeIs(1));
}

TEST_F(WriterCoreTest, AudioThatTheFileCannotDescribeIsLeftOutAlone) {
  stage.audioIsUnsuitable = true;
  start();
  CodedAudio audio;
  audio.track = mp4::AudioTrackDescription{};
  audio.units.push_back({{1, 2, 3}, 0, 1024});
  ASSERT_TRUE(core->append(std::move(audio)));
  CodedAudio more;
  more.units.push_back({{4, 5, 6}, 1024, 1024});
  ASSERT_TRUE(core->append(std::move(more)));
  appendWhenReady(0);
  finish();
  EXPECT_EQ(statusInHandler, AVAssetWriterStatusCompleted);
  EXPECT_EQ(stage.audioUnits, 0);
}

TEST_F(WriterCoreTest, AudioThatComesBeforeTheHeadWaitsForIt) {
  start();
  CodedAudio audio;
  audio.track = mp4::AudioTrackDescription{};
  audio.units.push_back({{1, 2, 3}, 0, 1024});
  ASSERT_TRUE(core->append(std::move(audio)));
  appendWhenReady(0);
  finish();
  EXPECT_EQ(stage.audioUnits, 1);
  EXPECT_TRUE(stage.audioCameBehindTheHead);
}

TEST_F(WriterCoreTest, EncoderThatDoesNotOpenFailsTheWriter) {
  stage.encoderOpens = false;
  start();
  finish();
  EXPECT_EQ(statusInHandler, AVAssetWriterStatusFailed);
  EXPECT_EQ(core->error()->localizedDescription(), "no encoder");
  EXPECT_FALSE(core->hasRoomForPicture());
}

TEST_F(WriterCoreTest, EncoderThatBreaksKeepsWhatItCoded) {
  stage.encoderFailsAt = 2;
  start();
  for (std::int64_t time : {0, 40, 80}) {
    core->waitForRoom(std::chrono::minutes(1));
    append(time);
  }
  EXPECT_TRUE(stage.waitFor([&] { return stage.finishes == 1; })) << "finished without being asked";
  finish(120);
  EXPECT_EQ(statusInHandler, AVAssetWriterStatusFailed);
  EXPECT_THAT(stage.times, ElementsAre(0, 40));
  EXPECT_EQ(stage.finishes, 1);
}

TEST_F(WriterCoreTest, EncoderThatHangsIsGivenUpAndWhatItCodedKept) {
  stage.encoderHangsAt = 2;
  encoderPatience = std::chrono::seconds(1);
  start();
  for (std::int64_t time : {0, 40, 80}) {
    ASSERT_TRUE(append(time));
  }
  finish(120);
  EXPECT_EQ(statusInHandler, AVAssetWriterStatusFailed);
  EXPECT_EQ(core->error()->code(), AVErrorEncodeFailed);
  EXPECT_THAT(stage.times, ElementsAre(0, 40));
  EXPECT_EQ(stage.finishes, 1);
}

TEST_F(WriterCoreTest, EncoderThatHangsFailsTheWriterWithoutBeingAsked) {
  stage.encoderHangsAt = 0;
  encoderPatience = std::chrono::seconds(1);
  start();
  ASSERT_TRUE(append(0));
  EXPECT_TRUE(stage.waitFor([&] { return stage.finishes == 1; }));
  EXPECT_EQ(core->status(), AVAssetWriterStatusFailed);
  EXPECT_FALSE(core->waitForRoom(std::chrono::minutes(1)));
}

TEST_F(WriterCoreTest, EncoderThatHangsWhileItOpensIsGivenUp) {
  stage.encoderHangsWhenOpened = true;
  encoderPatience = std::chrono::seconds(1);
  start();
  finish();
  EXPECT_EQ(statusInHandler, AVAssetWriterStatusFailed);
  EXPECT_FALSE(stage.began);
}

TEST_F(WriterCoreTest, EncoderThatComesBackTooLateFindsTheFileFinished) {
  stage.encoderHangsAt = 1;
  encoderPatience = std::chrono::seconds(1);
  start();
  ASSERT_TRUE(append(0));
  ASSERT_TRUE(append(40));
  finish();
  std::weak_ptr<WriterCore> weak = core;
  core.reset();
  stage.change([&] { stage.encoderHangsAt = -1; });
  ASSERT_TRUE(stage.waitFor([&] { return stage.pictures == 2; }));
  while (!weak.expired()) {
    std::this_thread::yield();
  }
  EXPECT_THAT(stage.times, ElementsAre(0));
}

TEST_F(WriterCoreTest, WantOfMemoryIsAnError) {
  stage.encoderFailsAt = 0;
  stage.encoderThrowsBadAlloc = true;
  start();
  appendWhenReady(0);
  EXPECT_TRUE(stage.waitFor([&] { return stage.finishes == 1; }));
  EXPECT_EQ(core->error()->code(), AVErrorOutOfMemory);
}

TEST_F(WriterCoreTest, DiskThatBreaksFailsTheWriterAndFinishesWhatIsThere) {
  stage.commitFailsAt = 1;
  start();
  appendWhenReady(0);
  appendWhenReady(40);
  EXPECT_TRUE(stage.waitFor([&] { return stage.finishes == 1; }));
  EXPECT_EQ(core->status(), AVAssetWriterStatusFailed);
  EXPECT_EQ(core->error()->localizedDescription(), "disk broke");
  EXPECT_FALSE(append(80));
  EXPECT_FALSE(core->waitForRoom(std::chrono::minutes(1)));
}

class FailingFile : public WriterCoreTest, public testing::WithParamInterface<const char*> {};

TEST_P(FailingFile, FailsTheWriterAndIsFinished) {
  stage.failingStep = GetParam();
  start();
  CodedAudio audio;
  audio.track = mp4::AudioTrackDescription{};
  audio.units.push_back({{1, 2, 3}, 0, 1024});
  core->append(std::move(audio));
  append(0);
  EXPECT_TRUE(stage.waitFor([&] { return stage.finishes == 1; }));
  EXPECT_EQ(core->status(), AVAssetWriterStatusFailed);
  EXPECT_EQ(core->error()->localizedDescription(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(All, FailingFile,
                         testing::Values("begin", "declareAudio", "appendAudio", "appendVideo"));

TEST_F(WriterCoreTest, WithoutAThreadFailsAtItsStartAndFinishesOnTheCallers) {
  make();
  Status status;
  std::thread::id finishedOn;
  {
    const test::NoMoreThreads none;
    if (!none.works()) GTEST_SKIP() << "this system does not limit a user's threads";
    status = begin();
    core->finish(std::nullopt, [&] { finishedOn = std::this_thread::get_id(); });
  }
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(status.error().code(), AVErrorOutOfMemory);
  EXPECT_EQ(core->status(), AVAssetWriterStatusFailed);
  EXPECT_EQ(finishedOn, std::this_thread::get_id());
  EXPECT_EQ(stage.finishes, 1);
}

TEST_F(WriterCoreTest, OnlyTheFirstErrorCounts) {
  start();
  core->fail(error("first"));
  core->fail(error("second"));
  EXPECT_EQ(core->error()->localizedDescription(), "first");
}

TEST_F(WriterCoreTest, AbandonedFileIsCommittedAndNotFinished) {
  start();
  appendWhenReady(0);
  appendWhenReady(40);
  finished = true;  // the test must not ask for a finish
  core->abandon();
  std::weak_ptr<WriterCore> weak = core;
  core.reset();
  ASSERT_TRUE(stage.waitFor([&] { return stage.times.size() == 2 && stage.commits >= 2; }));
  while (!weak.expired()) {
    std::this_thread::yield();
  }
  EXPECT_EQ(stage.finishes, 0);
}

TEST_F(WriterCoreTest, EveryStepRaisesWhileTheFileIsBeingFinished) {
  start();
  stage.change([&] { stage.diskIsStuck = true; });
  appendWhenReady(0);
  finished = true;
  std::promise<void> done;
  core->finish(std::nullopt, [&] { done.set_value(); });
  EXPECT_EQ(core->status(), AVAssetWriterStatusWriting);
  EXPECT_FALSE(core->hasRoomForAudio());
  try {
    core->raiseUnlessStartedAndNotFinishing("markAsFinished");
    ADD_FAILURE() << "nothing was raised";
  } catch (const NSException& exception) {
    EXPECT_EQ(exception.reason(),
              "markAsFinished cannot be called when the status is 1 and the file is being or was "
              "finished");
  }
  stage.change([&] { stage.diskIsStuck = false; });
  EXPECT_EQ(done.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
}

std::atomic<bool> isEnding = false;

/// Goes slowly, and not before its program ends.
struct Reluctant {
  ~Reluctant() {
    while (!isEnding) {
      std::this_thread::yield();
    }
    const auto done = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
    while (std::chrono::steady_clock::now() < done) {
    }
    static_cast<void>(::write(STDERR_FILENO, "gone", 4) == 4);
  }
};

TEST_F(WriterCoreTest, ProgramThatEndsWaitsForWhatTheHandlerKept) {
#if VX_THREAD_SANITIZER
  GTEST_SKIP() << "a child of a sanitized program with threads may start none";
#endif
  const auto endWhileItIsKept = [this] {
    start();
    core->finish(std::nullopt, [kept = std::make_shared<Reluctant>()] {});
    std::atexit([] { isEnding = true; });  // behind which the wait comes
    std::exit(0);
  };
  EXPECT_EXIT(endWhileItIsKept(), testing::ExitedWithCode(0), "gone");
}

TEST_F(WriterCoreTest, LeavesNoPictureOfItsPoolsIdle) {
  const std::size_t before = PixelBufferRegistry::instance().counts().idleBuffers;
  const NSDictionary attributes{
      {std::string(kCVPixelBufferWidthKey), 16.0},
      {std::string(kCVPixelBufferHeightKey), 16.0},
      {std::string(kCVPixelBufferPixelFormatTypeKey), kCVPixelFormatType_420YpCbCr8Planar}};
  CFRef<CVPixelBufferPoolRef> pool;
  ASSERT_EQ(CVPixelBufferPoolCreate(nullptr, nullptr, &attributes, pool.out()), kCVReturnSuccess);
  start();
  CFRef<CVPixelBufferRef> buffer;
  ASSERT_EQ(CVPixelBufferPoolCreatePixelBuffer(nullptr, pool.get(), buffer.out()),
            kCVReturnSuccess);
  ASSERT_TRUE(core->append({std::move(buffer), 0, 40, false}));
  finish();
  std::weak_ptr<WriterCore> weak = core;
  core.reset();
  while (!weak.expired()) {
    std::this_thread::yield();
  }
  EXPECT_EQ(PixelBufferRegistry::instance().counts().idleBuffers, before);
}

TEST_F(WriterCoreTest, FinishWithoutAnyPictureCompletes) {
  start();
  finish(0);
  EXPECT_EQ(statusInHandler, AVAssetWriterStatusCompleted);
  EXPECT_EQ(stage.finishes, 1);
}

}  // namespace
}  // namespace vx
