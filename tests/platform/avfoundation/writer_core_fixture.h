// The engine of a writer with an encoder and a file that do as told.
#pragma once

#include "platform/avfoundation/writer_core.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include <future>

namespace vx {

inline NSError error(const char* text) { return NSError("Test", 1, text); }

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
  std::string failingStep;  // of the file

  int pictures = 0;
  bool began = false;
  std::vector<std::int64_t> times;
  std::vector<bool> keyFrameWishes;
  std::vector<int> speeds;  // of the pictures coded
  int audioUnits = 0;
  bool audioCameBehindTheHead = false;
  int commits = 0;
  std::size_t largestCommitBytes = 0;
  std::size_t firstCommitBytes = 0;
  int finishes = 0;
  ColourTags colour;
  int niceness = 0;  // of the thread that codes
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
    _stage.change([this] { _stage.niceness = getpriority(PRIO_PROCESS, id_t(gettid())); });
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
  Status begin(const mp4::VideoTrackDescription& track, bool) override {
    _stage.change([&] {
      _stage.began = true;
      _stage.colour = track.colour;
    });
    return statusOf("begin");
  }
  Status declareAudio(const mp4::AudioTrackDescription&) override {
    return _stage.audioIsUnsuitable ? Status(NSError(AVFoundationErrorDomain,
                                                     AVErrorInvalidSourceMedia, "no such audio"))
                                    : statusOf("declareAudio");
  }
  Status appendVideo(const mp4::CodedSample& sample) override {
    _stage.change([&] { _stage.times.push_back(sample.time); });
    _uncommitted += sample.bytes.size();
    return statusOf("appendVideo");
  }
  Status appendAudio(const mp4::CodedSample&) override {
    _stage.change([&] {
      ++_stage.audioUnits;
      _stage.audioCameBehindTheHead = _stage.began;
    });
    return statusOf("appendAudio");
  }
  std::size_t uncommittedBytes() const override { return _uncommitted; }
  bool hasUncommittedSamples() const override { return _uncommitted > 0; }
  Status commit() override {
    std::unique_lock lock(_stage.mutex);
    _stage.largestCommitBytes = std::max(_stage.largestCommitBytes, _uncommitted);
    if (_stage.commits == 0) {
      _stage.firstCommitBytes = _uncommitted;
    }
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
  Status statusOf(const char* step) const {
    return _stage.failingStep == step ? Status(error(step)) : Status::success();
  }

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

  void make() {
    WriterParts parts;
    parts.makeEncoder = [kept = kept] { return std::make_unique<FakeEncoder>(kept); };
    parts.createFile = [kept = kept](const std::string&, std::unique_ptr<mp4::RecordingFile>& out) {
      out = std::make_unique<FakeFile>(kept);
      return Status::success();
    };
    parts.encoderPatience = encoderPatience;
    core = std::make_shared<WriterCore>("unused.mp4", parts);
  }
  Status begin() {
    VideoTrackSettings settings;
    settings.width = settings.height = 16;
    settings.encoder.colour = colour;
    return core->start(settings, CGAffineTransformIdentity, true);
  }
  void start() {
    make();
    ASSERT_TRUE(begin().ok());
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
  ColourTags colour;
  bool started = false;
  bool finished = false;
  AVAssetWriterStatus statusInHandler = AVAssetWriterStatusUnknown;
};

}  // namespace vx
