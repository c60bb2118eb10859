#include "recording.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <utility>
#include <vector>

#include "interruption.h"

namespace vxrecord {
namespace {

constexpr std::uint32_t kQuarterTurnBit = 8;  // of "multiVideoType"
// How long a wait for room lasts before it looks whether the end was asked for.
constexpr std::chrono::milliseconds kRoomWait{100};
// How often the shown state is renewed while an input waits.
constexpr std::chrono::milliseconds kPauseLook{200};
// An input that shows the same for this long has settled: its picture is handed over once more, so
// that it is in the file and not only in the recorder's hands when the program is killed.
constexpr std::int64_t kSettledMs = 500;
// From then on at this interval, so that a crash does not take an hour of a still screen with it.
constexpr std::int64_t kStandingMs = 10000;
// A file ends this long behind the time of its last frame.
constexpr std::int64_t kEndMs = 2;
// The last frame is worth more patience than one of many.
constexpr std::chrono::seconds kLastFrameWait{10};

std::shared_ptr<VXVideoRecorder> makeRecorder(const Options& options, const OutputPlace& place,
                                              std::shared_ptr<RecordingDelegate> delegate) {
  auto recorder = VXVideoRecorder::initWithDelegate(std::move(delegate));
  recorder->setStoragePath(place.folder);
  recorder->setFilename(options.filename);
  recorder->setFileNamePrefix(options.fileNamePrefix);
  recorder->setIndex(options.index);
  recorder->setAudioEnabled(options.audio);
  recorder->setFolderLimitSize(options.folderLimitMegabytes);
  return recorder;
}

vx::NSDictionary frameDictionary(const PackedFrame& frame, const Options& options,
                                 std::int64_t timeMs) {
  return {{"timestamp", static_cast<std::uint32_t>(timeMs)},
          {"frameBuffer", vx::NSData::dataWithBytesNoCopy(frame.bytes, frame.sizeBytes)},
          {"multiVideoType", options.rotate ? kQuarterTurnBit : 0u},
          {"pixelFormatType", options.pixelFormat.code},
          {"width", frame.width},
          {"height", frame.height},
          {"bytesPerRow", frame.bytesPerRow}};
}

}  // namespace

Recording::Recording(const Options& options, const OutputPlace& place, Input& input, bool hasKeys)
    : _options(options),
      _place(place),
      _input(input),
      _start(std::chrono::steady_clock::now()),
      _delegate(std::make_shared<RecordingDelegate>(options.talk >= Talk::verbose)),
      _recorder(makeRecorder(options, place, _delegate)),
      _packer(options.pixelFormat),
      _progress(options.talk, place.path(), hasKeys) {
  if (options.audio) {
    _sound.emplace(*_recorder, options);
  }
}

RunResult Recording::run() {
  attempt([this] { readFrames(); });
  attempt([this] { handOverLast(); });
  _progress.finish();
  stop();
  return result();
}

/// What was recorded before a step failed is completed all the same.
template <typename Step>
void Recording::attempt(Step step) {
  try {
    step();
  } catch (const std::exception& problem) {
    fail(problem.what());
  }
}

void Recording::readFrames() {
  MediaFrame frame;
  planWake(0);
  while (!isInterrupted()) {
    const ReadResult read = _input.read(frame);
    if (read == ReadResult::idle) {
      if (!standStill()) {
        return;
      }
      continue;
    }
    if (read == ReadResult::broken) {
      fail(_input.trouble() +
           (_recorder->writer() ? "; the recording holds what came before" : ""));
    }
    if (read != ReadResult::frame) {
      return;
    }
    if (isOver(frame)) {
      return;
    }
    if (frame.kind == MediaFrame::Kind::sound) {
      takeSound(frame);
    } else if (!takePicture(frame)) {
      return;
    }
  }
}

// Inputs bring pictures and sound of the same moment at most this far apart.
bool Recording::isOver(const MediaFrame& frame) const {
  constexpr std::int64_t kInterleavedMs = 1000;
  if (!_options.durationMs) {
    return false;
  }
  const bool bringsLateSound = _sound && _input.hasSound() && !_input.isLive();
  return frame.timeMs >= *_options.durationMs + (bringsLateSound ? kInterleavedMs : 0);
}

/// False when the recording ends here.
bool Recording::takePicture(const MediaFrame& frame) {
  const bool isBehindTheEnd = _options.durationMs && frame.timeMs >= *_options.durationMs;
  if (isBehindTheEnd) {
    return true;
  }
  if (!waitForTurn(frame)) {
    return false;
  }
  if (!isWanted(frame)) {
    return true;
  }
  if (takesEveryFrame() && !waitForRoom()) {
    return false;
  }
  handOver(frame);
  return isWriterWorking();
}

void Recording::takeSound(const MediaFrame& frame) {
  if (_sound) {
    _sound->take(frame.sound);
    _sound->handOver(takesEveryFrame());
  }
}

bool Recording::isPauseAt(std::int64_t inputMs) const {
  return isPauseWished() || (_options.pause && isLeftOut(*_options.pause, inputMs));
}

void Recording::beginPause() {
  if (!_isPausePending) {
    _isPausePending = true;
    _recorder->pause();
  }
}

bool Recording::isWanted(const MediaFrame& frame) {
  if (!isPauseAt(frame.timeMs)) {
    return true;
  }
  beginPause();
  if (_sound) {
    _sound->pictureWasLeftOut(frame.timeMs);
  }
  showProgress();
  return false;
}

/// Lets an input that brings a picture only when it changes wake us at the next moment that the
/// options name.
void Recording::planWake(std::int64_t afterMs) {
  std::vector<std::int64_t> moments;
  if (_options.pause) {
    moments = {_options.pause->atMs, _options.pause->atMs + _options.pause->forMs};
  }
  if (_options.durationMs) {
    moments.push_back(*_options.durationMs);
  }
  std::erase_if(moments, [afterMs](std::int64_t moment) { return moment <= afterMs; });
  if (!moments.empty()) {
    _input.wakeAt(*std::min_element(moments.begin(), moments.end()));
  }
}

/// The input shows the same as before. False when the recording ends here.
bool Recording::standStill() {
  MediaFrame frame;
  if (!_input.repeat(frame)) {
    return true;
  }
  if (_options.durationMs && frame.timeMs >= *_options.durationMs) {
    return false;
  }
  followPause(frame.timeMs);
  planWake(frame.timeMs);
  const std::int64_t standsForMs = frame.timeMs - _clock.leftOutMs() - _clock.timeMs();
  if (!_isPausePending && standsForMs >= (_hasSettled ? kStandingMs : kSettledMs)) {
    handOver(frame);
    _hasSettled = true;
  }
  showProgress(_isPausePending ? 0 : frame.timeMs - _clock.leftOutMs() - _clock.timeMs());
  return isWriterWorking();
}

/// What stands when a pause begins has to be handed over, or its time would be the pause's; what
/// stands when it ends is what comes next. Planned moments count exactly, however late we woke.
void Recording::followPause(std::int64_t nowMs) {
  const bool wasPlanned = std::exchange(
      _isPausePlanned, !isPauseWished() && _options.pause && isLeftOut(*_options.pause, nowMs));
  const bool isPaused = isPauseAt(nowMs);
  if (isPaused && !_isPausePending) {
    handOverStanding(_isPausePlanned ? _options.pause->atMs - 1 : nowMs);
    beginPause();
  } else if (!isPaused && _isPausePending) {
    handOverStanding(wasPlanned ? _options.pause->atMs + _options.pause->forMs : nowMs);
  }
}

/// The picture that stands, as of now but not later than `latestMs`.
void Recording::handOverStanding(std::int64_t latestMs) {
  MediaFrame frame;
  if (!_input.repeat(frame)) {
    return;
  }
  frame.timeMs = std::min(frame.timeMs, latestMs);
  if (frame.timeMs > _clock.timeMs() + _clock.leftOutMs()) {
    handOver(frame);
  }
}

/// The last picture lasts until the recording ends.
void Recording::handOverLast() {
  const auto& writer = _recorder->writer();
  const bool isWritten = writer && writer->status() == vx::AVAssetWriterStatusWriting;
  if (_isPausePending || !isWritten) {
    return;
  }
  const auto end = _options.durationMs.value_or(std::numeric_limits<std::int64_t>::max());
  _recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(kLastFrameWait);
  handOverStanding(end - kEndMs);
}

// An input that waits loses nothing by a pause; one that runs by the clock goes on meanwhile.
bool Recording::waitForTurn(const MediaFrame& frame) {
  if (takesEveryFrame()) {
    return waitForPauseEnd();
  }
  return _input.isLive() || _pacer.waitFor(frame.timeMs);
}

bool Recording::waitForPauseEnd() {
  while (isPauseWished() && !isInterrupted()) {
    showProgress();
    sleepUntilWish(std::chrono::steady_clock::now() + kPauseLook);
  }
  return !isInterrupted();
}

// Before the first frame there is no input yet, and a writer that failed makes no room any more.
bool Recording::waitForRoom() {
  while (const auto input = _recorder->videoWriterInput()) {
    if (input->waitUntilReadyForMoreMediaData(kRoomWait)) {
      return true;
    }
    if (isInterrupted() || !isWriterWorking()) {
      return false;
    }
  }
  return true;
}

void Recording::handOver(const MediaFrame& frame) {
  const std::int64_t lostBefore = _delegate->lostFrames();
  const PackedFrame packed = _packer.pack(*frame.picture);
  _recorder->appendVideoSample(frameDictionary(packed, _options, frame.timeMs));
  if (_delegate->lostFrames() == lostBefore) {
    _clock.accept(frame.timeMs, std::exchange(_isPausePending, false));
    ++_frames;
    _hasSettled = false;
    if (_sound) {
      _sound->pictureWasTaken(frame.timeMs, _clock.leftOutMs());
    }
  }
  if (_sound) {
    _sound->handOver(takesEveryFrame());
  }
  warnOfShortSpace();
  showProgress();
}

void Recording::showProgress(std::int64_t standsForMs) {
  const bool isPaused = _isPausePending || isPauseWished();
  _progress.update({_clock.timeMs() + standsForMs, _frames, _delegate->lostFrames(), isPaused});
}

bool Recording::isWriterWorking() {
  const auto& writer = _recorder->writer();
  if (!writer) {
    fail("the file \"" + _place.path() + "\" cannot be created");
    return false;
  }
  if (writer->status() == vx::AVAssetWriterStatusWriting) {
    return true;
  }
  const auto error = writer->error();
  fail(error ? error->localizedDescription() : "the recorder does not write");
  return false;
}

void Recording::warnOfShortSpace() {
  if (_hasWarnedOfSpace || !_delegate->isSpaceShort()) {
    return;
  }
  _hasWarnedOfSpace = true;
  if (_options.talk == Talk::quiet) {
    return;
  }
  _progress.finish();
  std::fprintf(stderr, "vxrecord: less than 100 MB are free in \"%s\"; recording goes on\n",
               _place.folder.c_str());
}

// The first trouble is the one to tell; later ones follow from it.
void Recording::fail(std::string why) {
  if (!_error) {
    _error = std::move(why);
  }
}

// The recorder keeps its last frame only if the input has room at this moment.
void Recording::stop() {
  if (!_recorder->writer()) {
    fail(isInterrupted() ? "ended before the first frame came, so there is no file"
                         : "the input gave no frame, so there is no file");
    return;
  }
  attempt([this] {
    if (_sound) {
      _sound->finish();
    }
  });
  _recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(kLastFrameWait);
  _recorder->stop();
  _isDone = _delegate->waitForOutcome();
  if (_isDone) {
    return;
  }
  const auto error = _recorder->writer()->error();
  fail(error ? error->localizedDescription()
             : _delegate->exception().value_or("the recorder could not finish the file"));
}

RunResult Recording::result() const {
  RunResult result;
  std::error_code missing;
  const std::uintmax_t bytes = std::filesystem::file_size(_place.path(), missing);
  if (_recorder->writer() && !missing) {
    result.file = _place.path();
    result.bytes = bytes;
  }
  result.isDone = _isDone;
  result.frames = _frames;
  result.dropped = _delegate->lostFrames();
  result.durationMs = _clock.durationMs();
  result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - _start).count();
  result.error = _error;
  return result;
}

}  // namespace vxrecord
