// Inputs: what a host appends to.
#include "platform/avfoundation/queueing_input.h"
#include "platform/avfoundation/session_time.h"

#include <algorithm>
#include <limits>
#include <new>

namespace vx {
namespace {

constexpr CMTimeScale kVideoTimescale = 1000;

[[noreturn]] void raiseWrongUse(const char* what) {
  throw NSException(NSInternalInconsistencyException, what);
}

std::uint32_t durationInMilliseconds(CMTime duration) {
  constexpr std::int64_t kLongest = std::numeric_limits<std::uint32_t>::max();
  const std::int64_t durationMs = ticksOf(duration, kVideoTimescale).value_or(0);
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(durationMs, 0, kLongest));
}

bool asksForKeyFrame(CMSampleBufferRef sample) {
  const Object* wish = CMGetAttachment(sample, kCMSampleBufferAttachmentKey_ForceKeyFrame, nullptr);
  return wish && wish->number() && wish->number()->boolValue();
}

}  // namespace

// ---- AVAssetWriterInput --------------------------------------------------------------------

std::shared_ptr<AVAssetWriterInput> AVAssetWriterInput::assetWriterInputWithMediaType(
    std::string_view mediaType, std::optional<NSDictionary> outputSettings,
    CMFormatDescriptionRef sourceFormatHint) {
  if (mediaType == AVMediaTypeVideo) {
    return std::make_shared<VideoInput>(mediaType, std::move(outputSettings), sourceFormatHint);
  }
  if (mediaType == AVMediaTypeAudio) {
    return std::make_shared<AudioInput>(mediaType, std::move(outputSettings), sourceFormatHint);
  }
  throw NSException(
      NSInvalidArgumentException,
      "An asset writer stores video and audio, not media of the type " + std::string(mediaType));
}

AVAssetWriterInput::AVAssetWriterInput(std::string_view mediaType,
                                       std::optional<NSDictionary> outputSettings,
                                       CMFormatDescriptionRef sourceFormatHint)
    : _mediaType(mediaType),
      _outputSettings(std::move(outputSettings)),
      _sourceFormatHint(sourceFormatHint) {
  if (_sourceFormatHint) {
    CFRetain(_sourceFormatHint);
  }
}

AVAssetWriterInput::~AVAssetWriterInput() {
  if (_sourceFormatHint) {
    CFRelease(_sourceFormatHint);
  }
}

bool AVAssetWriterInput::isReadyForMoreMediaData() const { return false; }

bool AVAssetWriterInput::appendSampleBuffer(CMSampleBufferRef) {
  raiseWrongUse("An input takes samples only after it was added to a writer that is writing");
}

void AVAssetWriterInput::markAsFinished() {
  raiseWrongUse("An input can be marked as finished only after it was added to a writer");
}

bool AVAssetWriterInput::waitUntilReadyForMoreMediaData(std::chrono::milliseconds) {
  return isReadyForMoreMediaData();
}

// ---- QueueingInput -------------------------------------------------------------------------

void QueueingInput::markAsFinished() {
  if (!_core) {
    AVAssetWriterInput::markAsFinished();
  }
  _core->raiseUnlessStartedAndNotFinishing("markAsFinished");
  _markedAsFinished = true;
  endOfSamples();
}

bool QueueingInput::mayAppend() const {
  if (!_core) {
    raiseWrongUse("An input takes samples only after it was added to a writer");
  }
  const AVAssetWriterStatus statusNow = _core->status();
  if (statusNow == AVAssetWriterStatusFailed) {
    return false;
  }
  if (CMTIME_IS_INVALID(_sessionStart)) {
    raiseWrongUse("An input takes samples only after the writer's session was started");
  }
  return statusNow == AVAssetWriterStatusWriting && !_markedAsFinished;
}

// ---- VideoInput ----------------------------------------------------------------------------

bool VideoInput::isReadyForMoreMediaData() const {
  return _core && !_markedAsFinished && _core->hasRoomForPicture();
}

bool VideoInput::appendSampleBuffer(CMSampleBufferRef sampleBuffer) {
  if (!mayAppend() || !sampleBuffer) {
    return false;
  }
  const CVPixelBufferRef image = CMSampleBufferGetImageBuffer(sampleBuffer);
  const std::optional<std::int64_t> timeMs = ticksSince(
      _sessionStart, CMSampleBufferGetPresentationTimeStamp(sampleBuffer), kVideoTimescale);
  if (!image || !timeMs) {
    return false;
  }
  QueuedPicture picture;
  picture.buffer = CFRef<CVPixelBufferRef>::retain(image);
  picture.timeMs = *timeMs;
  picture.durationMs = durationInMilliseconds(CMSampleBufferGetDuration(sampleBuffer));
  picture.forceKeyFrame = asksForKeyFrame(sampleBuffer);
  return _core->append(std::move(picture));
}

bool VideoInput::waitUntilReadyForMoreMediaData(std::chrono::milliseconds timeout) {
  return _core && !_markedAsFinished && _core->waitForRoom(timeout);
}

// ---- AudioInput ----------------------------------------------------------------------------

bool AudioInput::isReadyForMoreMediaData() const {
  return _core && !_markedAsFinished && _core->hasRoomForAudio();
}

bool AudioInput::appendSampleBuffer(CMSampleBufferRef sampleBuffer) {
  return mayAppend() && sampleBuffer && _core->hasRoomForAudio() && readAndQueue(sampleBuffer);
}

bool AudioInput::readAndQueue(CMSampleBufferRef sampleBuffer) {
  try {
    CodedAudio audio;
    if (!_reader.read(sampleBuffer, _sessionStart, audio)) {
      return false;
    }
    // The coding thread may have taken the last room since it was asked for: only a buffer that is
    // on its way decides what the track is.
    const std::optional<mp4::AudioTrackDescription> track = audio.track;
    const bool queued = _core->append(std::move(audio));
    if (queued && track) {
      _reader.keepTrack(*track);
    }
    return queued;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool AudioInput::waitUntilReadyForMoreMediaData(std::chrono::milliseconds timeout) {
  return _core && !_markedAsFinished && _core->waitForRoomForAudio(timeout);
}

}  // namespace vx
