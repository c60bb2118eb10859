#include "platform/avfoundation/writer_core.h"

#include "platform/avfoundation/encoder/frame_converter.h"
#include "platform/avfoundation/encoder/key_frame_policy.h"
#include "platform/avfoundation/outstanding_work.h"
#include "platform/foundation/thread_priority.h"

#include <algorithm>
#include <new>

namespace vx {
namespace {

constexpr std::size_t kMegabyte = 1024 * 1024;
constexpr double kMillisecondsPerSecond = 1000;
// Pictures wait here while the encoder is busy: a third of a second at 30 pictures a second.
constexpr QueueLimits kPictureLimits{12, 192 * kMegabyte};
// Coded samples wait here while the disk is busy: half a minute at 10 Mbit/s.
constexpr QueueLimits kCodedLimits{4096, 32 * kMegabyte};
// The memory that uncommitted samples may take.
constexpr std::size_t kCommitBytes = 8 * kMegabyte;

NSError memoryError() {
  return NSError(AVFoundationErrorDomain, AVErrorOutOfMemory,
                 "There is not enough memory to go on recording; what was recorded so far is kept. "
                 "Close other programs or record a smaller picture.");
}

NSError encoderStuck() {
  return NSError(AVFoundationErrorDomain, AVErrorEncodeFailed,
                 "The video encoder does not answer any more; what was recorded so far is kept. "
                 "Record again, and restart the program if it happens again.");
}

/// Nothing that a host throws may end the writing thread, and with it the program.
void runHandler(const WriterCore::FinishHandler& handler) {
  if (!handler) {
    return;
  }
  try {
    handler();
  } catch (const std::exception& exception) {
    NSLog("A completion handler threw:");  // two lines, because joining them takes memory
    NSLog(exception.what());
  } catch (...) {
    NSLog("A completion handler threw something that is no exception.");
  }
}

}  // namespace

/// Runs a step of a thread; an allocation that fails becomes an error like any other.
template <typename Step>
Status WriterCore::guarded(Step&& step) const {
  try {
    return step();
  } catch (const std::bad_alloc&) {
    return _outOfMemory;
  }
}

struct WriterCore::Coding {
  Coding(std::unique_ptr<VideoEncoder> madeEncoder, const VideoTrackSettings& settings)
      : encoder(std::move(madeEncoder)), converter(settings.width, settings.height) {}

  std::unique_ptr<VideoEncoder> encoder;
  FrameConverter converter;
  KeyFramePolicy keyFrames;
  std::optional<SpeedPolicy> speed;  // of an encoder that has levels
};

WriterCore::WriterCore(std::string path, WriterParts parts)
    : _path(std::move(path)),
      _parts(std::move(parts)),
      _outOfMemory(memoryError()),
      _pictures(kPictureLimits),
      _coded(kCodedLimits),
      _encoderWatch(_parts.encoderPatience) {}

WriterCore::~WriterCore() = default;

// ---- the caller's side ---------------------------------------------------------------------

Status WriterCore::start(const VideoTrackSettings& settings, const CGAffineTransform& transform,
                         bool withAudio) {
  _settings = settings;
  _transform = transform;
  _withAudio = withAudio;
  if (Status status = guarded([&] { return _parts.createFile(_path, _file); }); !status) {
    fail(status);
    return status;
  }
  {
    std::lock_guard lock(_mutex);
    _status = AVAssetWriterStatusWriting;
  }
  // Each thread keeps the core alive for as long as it runs.
  auto self = shared_from_this();
  const bool writes = outstanding_work::startThread("vx-write", [self] { self->writeFile(); });
  {
    std::lock_guard lock(_mutex);
    _writingThreadRuns = writes;
  }
  if (!writes || !outstanding_work::startThread("vx-code", [self] { self->codePictures(); })) {
    fail(_outOfMemory);
    return _outOfMemory;
  }
  return Status::success();
}

void WriterCore::fail(Status error) {
  {
    std::lock_guard lock(_mutex);
    if (!_outcome) {
      return;
    }
    _outcome = std::move(error);
    _status = AVAssetWriterStatusFailed;
  }
  _pictures.closeAndClear();
  _coded.close();
}

AVAssetWriterStatus WriterCore::status() const {
  std::lock_guard lock(_mutex);
  return _status;
}

std::optional<NSError> WriterCore::error() const {
  Status known;
  {
    std::lock_guard lock(_mutex);
    known = _outcome;
  }
  return known ? std::nullopt : std::optional(known.error());
}

bool WriterCore::hasRoomForPicture() const {
  return status() == AVAssetWriterStatusWriting && _pictures.hasRoom();
}

bool WriterCore::append(QueuedPicture picture) {
  const std::size_t bytes = CVPixelBufferGetDataSize(picture.buffer.get());
  _pools.note(picture.buffer.get());
  return _pictures.tryPush(std::move(picture), bytes);
}

bool WriterCore::waitForRoom(std::chrono::milliseconds timeout) {
  if (timeout > std::chrono::milliseconds::zero()) {
    _hostWaits = true;
  }
  return _pictures.waitForRoom(timeout) && status() == AVAssetWriterStatusWriting;
}

void WriterCore::endOfPictures() { _pictures.close(); }

bool WriterCore::hasRoomForAudio() const { return takesAudio() && _coded.hasRoom(); }

// The coded queue stays open for the last pictures while the file is being finished.
bool WriterCore::takesAudio() const {
  std::lock_guard lock(_mutex);
  return _status == AVAssetWriterStatusWriting && !_finishing;
}

bool WriterCore::append(CodedAudio audio) {
  const std::size_t bytes = audio.bytes();
  return _coded.tryPush(std::move(audio), bytes);
}

bool WriterCore::waitForRoomForAudio(std::chrono::milliseconds timeout) {
  return _coded.waitForRoom(timeout) && takesAudio();
}

void WriterCore::finish(std::optional<std::int64_t> sessionEndMs, FinishHandler handler) {
  outstanding_work::begin();
  bool threadRuns = false;
  {
    std::lock_guard lock(_mutex);
    _finishing = true;
    _sessionEndMs = sessionEndMs;
    _finishHandler = std::move(handler);
    threadRuns = _writingThreadRuns;
  }
  _pictures.close();
  _requestCame.notify_all();
  auto work = [self = shared_from_this()] { self->completeFile(); };
  if (!threadRuns && !outstanding_work::startThread("vx-write", work)) {
    work();  // without a thread to be had, the caller's has to do
  }
}

void WriterCore::raiseUnlessStartedAndNotFinishing(const char* operation) const {
  std::lock_guard lock(_mutex);
  const bool inOrder = !_finishing && (_status == AVAssetWriterStatusWriting ||
                                       _status == AVAssetWriterStatusFailed);
  if (!inOrder) {
    throw NSException(NSInternalInconsistencyException,
                      std::string(operation) + " cannot be called when the status is " +
                          std::to_string(static_cast<std::int64_t>(_status)) +
                          (_finishing ? " and the file is being or was finished" : ""));
  }
}

void WriterCore::abandon() {
  {
    std::lock_guard lock(_mutex);
    if (_finishing || !_writingThreadRuns) {
      return;
    }
    outstanding_work::begin();
    _abandoned = true;
  }
  _pictures.close();
  _requestCame.notify_all();
}

// ---- the coding thread ---------------------------------------------------------------------

void WriterCore::codePictures() {
  giveWayToOtherThreads();
  Status status = guarded([&]() -> Status {
    const EncoderWatch::Visit visit(_encoderWatch);
    _coding = std::make_unique<Coding>(_parts.makeEncoder(), _settings);
    return openEncoder(*_coding->encoder);
  });
  while (status) {
    const std::optional<QueuedPicture> picture = _pictures.pop();
    if (!picture) {
      break;
    }
    status = guarded([&] { return codePicture(*picture); });
  }
  _coding.reset();
  if (!status) {
    fail(std::move(status));
  }
  _coded.close();
}

Status WriterCore::openEncoder(VideoEncoder& encoder) {
  if (Status status = encoder.open(_settings.encoder); !status) {
    return status;
  }
  mp4::VideoTrackDescription track;
  track.width = static_cast<std::uint32_t>(_settings.width);
  track.height = static_cast<std::uint32_t>(_settings.height);
  track.transform = {_transform.a, _transform.b,  _transform.c,
                     _transform.d, _transform.tx, _transform.ty};
  track.parameterSets = encoder.parameterSets();
  track.colour = _settings.encoder.colour;
  _coded.push(std::move(track), 0);
  if (const EncoderSpeeds speeds = encoder.speeds(); !speeds.relativeCosts.empty()) {
    _coding->speed.emplace(speeds.relativeCosts, speeds.firstLevel);
  }
  return Status::success();
}

Status WriterCore::codePicture(const QueuedPicture& queued) {
  AccessUnit accessUnit;
  const double queueFill = _pictures.fill();
  const Clock::time_point start = Clock::now();
  if (Status status = encode(queued, accessUnit); !status) {
    return status;
  }
  followLoad({std::chrono::duration<double>(Clock::now() - start).count(),
              static_cast<double>(queued.durationMs) / kMillisecondsPerSecond, queueFill,
              _hostWaits});
  if (accessUnit.isKeyFrame) {
    _coding->keyFrames.keyFrameWasCoded();
  }
  CodedPicture coded{_spareBuffers.take(), queued.timeMs, queued.durationMs, accessUnit.isKeyFrame};
  coded.bytes.assign(accessUnit.bytes.begin(), accessUnit.bytes.end());
  _coded.push(std::move(coded), accessUnit.bytes.size());
  return Status::success();
}

Status WriterCore::encode(const QueuedPicture& queued, AccessUnit& accessUnit) {
  const EncoderWatch::Visit visit(_encoderWatch);
  CVPixelBufferLockBaseAddress(queued.buffer.get(), 0);
  PlanarPicture picture;
  Status status = _coding->converter.convert(queued.buffer.get(), picture);
  if (status) {
    const bool wantsKeyFrame =
        _coding->keyFrames.wantsKeyFrame(queued.timeMs, queued.forceKeyFrame);
    status = _coding->encoder->encode(picture, {queued.timeMs, queued.durationMs, wantsKeyFrame},
                                      accessUnit);
  }
  CVPixelBufferUnlockBaseAddress(queued.buffer.get(), 0);
  return status;
}

// The next picture is coded with as much care as there is time for.
void WriterCore::followLoad(const CodingLoad& load) {
  if (_coding->speed) {
    _coding->speed->setFirstLevel(_coding->encoder->firstSpeed());
    _coding->speed->pictureWasCoded(load);
    _coding->encoder->setSpeed(_coding->speed->level());
  }
}

// ---- the writing thread --------------------------------------------------------------------

void WriterCore::writeFile() {
  writeCodedItems();
  finishAfterFailure();
  waitForRequest();
  completeFile();
}

void WriterCore::writeCodedItems() {
  for (;;) {
    Status status = guarded([&]() -> Status {
      if (std::optional<CodedItem> item = nextItem()) {
        if (Status written = write(*item); !written) {
          return written;
        }
      } else if (Status answers = checkEncoder(); !answers) {
        return answers;
      }
      return commitIfDue();
    });
    if (!status) {
      fail(std::move(status));
      _coded.closeAndClear();
      return;
    }
    if (_coded.isClosedAndEmpty()) {
      return;
    }
  }
}

std::optional<WriterCore::CodedItem> WriterCore::nextItem() {
  return _coded.popUntil(std::min(_commits.nextLook(), _encoderWatch.nextLook()));
}

// An encoder that hangs takes its thread along: the file is completed with what was coded, and what
// the encoder may still hold stays with that thread.
Status WriterCore::checkEncoder() {
  return _encoderWatch.isStuck(Clock::now()) ? Status(encoderStuck()) : Status::success();
}

Status WriterCore::write(CodedItem& item) {
  if (const auto* track = std::get_if<mp4::VideoTrackDescription>(&item)) {
    return begin(*track);
  }
  if (auto* audio = std::get_if<CodedAudio>(&item)) {
    if (!_begun) {
      // The encoder is still being opened; the file's head needs its parameter sets.
      _audioBeforeHead.push_back(std::move(*audio));
      return Status::success();
    }
    return writeAudio(*audio);
  }
  return writePicture(std::get<CodedPicture>(item));
}

Status WriterCore::begin(const mp4::VideoTrackDescription& track) {
  if (Status status = _file->begin(track, _withAudio); !status) {
    return status;
  }
  _begun = true;
  for (const CodedAudio& audio : std::exchange(_audioBeforeHead, {})) {
    if (Status status = writeAudio(audio); !status) {
      return status;
    }
  }
  return Status::success();
}

Status WriterCore::writeAudio(const CodedAudio& audio) {
  if (audio.track) {
    const Status declared = _file->declareAudio(*audio.track);
    if (!declared && declared.error().code() == AVErrorInvalidSourceMedia) {
      // No reason to end the video: the file goes on without sound.
      NSLog("The audio is not recorded: " + declared.error().localizedDescription());
      return Status::success();
    }
    if (!declared) {
      return declared;
    }
    _audioDeclared = true;
  }
  if (!_audioDeclared) {
    return Status::success();
  }
  for (const CodedAudioUnit& unit : audio.units) {
    const mp4::CodedSample sample{unit.bytes, unit.time, unit.duration, true};
    if (Status status = _file->appendAudio(sample); !status) {
      return status;
    }
  }
  _commits.sampleWasWritten(Clock::now());
  return Status::success();
}

Status WriterCore::writePicture(CodedPicture& picture) {
  const mp4::CodedSample sample{picture.bytes, picture.timeMs, picture.durationMs,
                                picture.isKeyFrame};
  if (Status status = _file->appendVideo(sample); !status) {
    return status;
  }
  _spareBuffers.giveBack(std::move(picture.bytes));
  _commits.sampleWasWritten(Clock::now());
  if (!_firstPictureWritten) {
    // The first key frame is published at once: from here on the file opens.
    _firstPictureWritten = true;
    return commit();
  }
  return Status::success();
}

Status WriterCore::commitIfDue() {
  const bool isLarge = _file->uncommittedBytes() >= kCommitBytes;
  return isLarge || _commits.isDue(Clock::now()) ? commit() : Status::success();
}

Status WriterCore::commit() {
  const bool hadSamples = _file->hasUncommittedSamples();
  const Clock::time_point start = Clock::now();
  if (Status status = _file->commit(); !status) {
    return status;
  }
  _commits.wasCommitted(hadSamples, start, Clock::now());
  return Status::success();
}

// After an error the file is completed at once with what it has: nobody may ever ask for it.
void WriterCore::finishAfterFailure() {
  if (status() != AVAssetWriterStatusFailed || !_file) {
    return;
  }
  Status kept = guarded([&] { return _file->finish(std::nullopt); });
  static_cast<void>(kept.ok());  // the first error is already known
  _file.reset();
}

void WriterCore::waitForRequest() {
  std::unique_lock lock(_mutex);
  _requestCame.wait(lock, [&] { return _finishing || _abandoned; });
}

void WriterCore::completeFile() {
  outstanding_work::WorkerScope scope;
  FinishHandler handler;
  std::optional<std::int64_t> sessionEndMs;
  bool finishing = false;
  {
    std::lock_guard lock(_mutex);
    handler = std::move(_finishHandler);
    _finishHandler = nullptr;
    sessionEndMs = _sessionEndMs;
    finishing = _finishing;
  }
  if (_file) {
    Status status =
        guarded([&] { return finishing ? _file->finish(sessionEndMs) : _file->commit(); });
    _file.reset();
    std::lock_guard lock(_mutex);
    if (_outcome) {
      _outcome = std::move(status);
    }
    _status = _outcome ? AVAssetWriterStatusCompleted : AVAssetWriterStatusFailed;
  }
  runHandler(handler);
  handler = nullptr;  // whatever it kept alive goes before the program may end
  _pools.dropIdle();  // every picture is coded: none has to wait for its next use
  outstanding_work::end();
}

}  // namespace vx
