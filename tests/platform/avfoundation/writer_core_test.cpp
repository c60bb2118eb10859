// The engine between the host's thread and the file, with an encoder and a file that do as told.
#include "platform/avfoundation/writer_core.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <thread>

namespace vx {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

NSError error(const char* text) { return NSError("Test", 1, text); }

/// What encoder and file were told to do and have done; shared by both threads and the test.
struct Stage {
  std::mutex mutex;
  std::condition_variable changed;
  bool encoderOpens = true;
  int encoderFailsAt = -1;  // index of the picture
  bool encoderThrowsBadAlloc = false;
  bool diskIsStuck = false;
  int commitFailsAt = -1;   // index of the commit
  int encoderHangsAt = -1;  // index of the picture; it comes back when this changes
  bool encoderHangsWhenOpened = false;
  std::size_t unitBytes = 100;
  EncoderSpeeds encoderSpeeds;  // none: it has no levels
  bool audioIsUnsuitable = false;

  int pictures = 0;
  bool began = false;
  std::vector<std::int64_t> times;
  std::vector<bool> keyFrameWishes;
  std::vector<int> speeds;  // of the pictures coded
  int audioUnits = 0;
  bool audioCameBehindTheHead = false;
  int commits = 0;
  std::size_t largestCommitBytes = 0;
  int finishes = 0;
  std::optional<std::int64_t> sessionEndMs;

  template <typename Change>
  void change(Change&& change) {
    {
      std::lock_guard lock(mutex);
      change();
    }
    changed.notify_all();
  }
  template <typename Condition>
  bool waitFor(Condition&& condition) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::minutes(1), condition);
  }
};

class FakeEncoder final : public VideoEncoder {
 public:
  explicit FakeEncoder(std::shared_ptr<Stage> stage)
      : _kept(std::move(stage)), _stage(*_kept), _bytes(_stage.unitBytes) {}
  Status open(const VideoEncoderSettings&) override {
    hangWhile([this] { return _stage.encoderHangsWhenOpened; });
    return _stage.encoderOpens ? Status::success() : Status(error("no encoder"));
  }
  const ParameterSets& parameterSets() const override { return _sets; }
  Status encode(const PlanarPicture&, const PictureRequest& request, AccessUnit& unit) override {
    Status status;
    hangWhile([this] { return _stage.pictures == _stage.encoderHangsAt; });
    _stage.change([&] {
      if (_stage.pictures == _stage.encoderFailsAt) {
        if (_stage.encoderThrowsBadAlloc) {
          throw std::bad_alloc();
        }
        status = error("encoder broke");
      }
      ++_stage.pictures;
      _stage.keyFrameWishes.push_back(request.forceKeyFrame);
      _stage.speeds.push_back(_speed);
    });
    unit = {_bytes, request.forceKeyFrame};
    return status;
  }
  EncoderSpeeds speeds() const override { return _stage.encoderSpeeds; }
  void setSpeed(int level) override { _speed = level; }

 private:
  template <typename Condition>
  void hangWhile(Condition&& condition) {
    std::unique_lock lock(_stage.mutex);
    _stage.changed.wait(lock, [&] { return !condition(); });
  }

  std::shared_ptr<Stage> _kept;
  Stage& _stage;
  ParameterSets _sets;
  std::vector<std::uint8_t> _bytes;
  int _speed = -1;
};

class FakeFile final : public mp4::RecordingFile {
 public:
  explicit FakeFile(std::shared_ptr<Stage> stage) : _kept(std::move(stage)), _stage(*_kept) {}
  Status begin(const mp4::VideoTrackDescription&, bool) override {
    _stage.change([&] { _stage.began = true; });
    return Status::success();
  }
  Status declareAudio(const mp4::AudioTrackDescription&) override {
    return _stage.audioIsUnsuitable ? Status(NSError(AVFoundationErrorDomain,
                                                     AVErrorInvalidSourceMedia, "no such audio"))
                                    : Status::success();
  }
  Status appendVideo(const mp4::CodedSample& sample) override {
    _stage.change([&] { _stage.times.push_back(sample.time); });
    _uncommitted += sample.bytes.size();
    return Status::success();
  }
  Status appendAudio(const mp4::CodedSample&) override {
    _stage.change([&] {
      ++_stage.audioUnits;
      _stage.audioCameBehindTheHead = _stage.began;
    });
    return Status::success();
  }
  std::size_t uncommittedBytes() const override { return _uncommitted; }
  bool hasUncommittedSamples() const override { return _uncommitted > 0; }
  Status commit() override {
    std::unique_lock lock(_stage.mutex);
    _stage.largestCommitBytes = std::max(_stage.largestCommitBytes, _uncommitted);
    _uncommitted = 0;
    _stage.changed.wait(lock, [&] { return !_stage.diskIsStuck; });
    const bool fails = _stage.commits++ == _stage.commitFailsAt;
    _stage.changed.notify_all();
    return fails ? Status(error("disk broke")) : Status::success();
  }
  Status finish(std::optional<std::int64_t> sessionEndMs) override {
    _stage.change([&] {
      ++_stage.finishes;
      _stage.sessionEndMs = sessionEndMs;
    });
    return Status::success();
  }

 private:
  std::shared_ptr<Stage> _kept;
  Stage& _stage;
  std::size_t _uncommitted = 0;
};

class WriterCoreTest : public testing::Test {
 protected:
  ~WriterCoreTest() override {
    // Threads that still hold the core must not outlive the stage.
    stage.change([&] {
      stage.diskIsStuck = false;
      stage.encoderHangsAt = -1;
      stage.encoderHangsWhenOpened = false;
    });
    if (started && !finished) {
      finish();
    }
  }

  void start() {
    WriterParts parts;
    parts.makeEncoder = [kept = kept] { return std::make_unique<FakeEncoder>(kept); };
    parts.createFile = [kept = kept](const std::string&, std::unique_ptr<mp4::RecordingFile>& out) {
      out = std::make_unique<FakeFile>(kept);
      return Status::success();
    };
    parts.encoderPatience = encoderPatience;
    core = std::make_shared<WriterCore>("unused.mp4", parts);
    VideoTrackSettings settings;
    settings.width = settings.height = 16;
    ASSERT_TRUE(core->start(settings, CGAffineTransformIdentity, true).ok());
    started = true;
  }

  static CFRef<CVPixelBufferRef> pixels(std::size_t side, OSType format) {
    CFRef<CVPixelBufferRef> buffer;
    EXPECT_EQ(CVPixelBufferCreate(nullptr, side, side, format, nullptr, buffer.out()),
              kCVReturnSuccess);
    return buffer;
  }
  bool append(std::int64_t timeMs, bool forceKeyFrame = false) {
    return core->append(
        {pixels(16, kCVPixelFormatType_420YpCbCr8Planar), timeMs, 40, forceKeyFrame});
  }
  void appendWhenReady(std::int64_t timeMs) {
    ASSERT_TRUE(core->waitForRoom(std::chrono::minutes(1)));
    ASSERT_TRUE(append(timeMs));
  }

  void finish(std::optional<std::int64_t> sessionEndMs = std::nullopt) {
    finished = true;
    std::promise<AVAssetWriterStatus> done;
    core->finish(sessionEndMs, [&] { done.set_value(core->status()); });
    auto future = done.get_future();
    ASSERT_EQ(future.wait_for(std::chrono::minutes(1)), std::future_status::ready);
    statusInHandler = future.get();
  }

  // Shared with both threads: the coding thread may outlive a test that failed its writer.
  std::shared_ptr<Stage> kept = std::make_shared<Stage>();
  Stage& stage = *kept;
  std::shared_ptr<WriterCore> core;
  std::chrono::milliseconds encoderPatience = std::chrono::minutes(1);
  bool started = false;
  bool finished = false;
  AVAssetWriterStatus statusInHandler = AVAssetWriterStatusUnknown;
};

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
  EXPECT_THROW(core->raiseUnlessStartedAndNotFinishing("markAsFinished"), NSException);
  stage.change([&] { stage.diskIsStuck = false; });
  EXPECT_EQ(done.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
}

TEST_F(WriterCoreTest, FinishWithoutAnyPictureCompletes) {
  start();
  finish(0);
  EXPECT_EQ(statusInHandler, AVAssetWriterStatusCompleted);
  EXPECT_EQ(stage.finishes, 1);
}

}  // namespace
}  // namespace vx
