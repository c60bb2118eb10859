// Writer set-up, start and status report: what fixes the encoding of a file.
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "recorder/absent_objects.h"

using namespace vx;

namespace {

constexpr int kAverageBitRate = 10 * 1024 * 1024;  // bits per second
constexpr int kMaxKeyFrameInterval = 30;           // frames
constexpr int kExpectedSourceFrameRate = 30;       // frames per second
constexpr double kAudioSampleRate = 44100.0;       // Hz

std::string describeStatus(const std::shared_ptr<AVAssetWriter>& writer) {
  const AVAssetWriterStatus status = recorder::statusOf(writer);
  const std::string number = " (" + std::to_string(status) + ")";
  switch (status) {
    case AVAssetWriterStatusUnknown:
      return "AVAssetWriterStatusUnknown" + number;
    case AVAssetWriterStatusWriting:
      return "AVAssetWriterStatusWriting" + number;
    case AVAssetWriterStatusCompleted:
      return "AVAssetWriterStatusCompleted" + number;
    case AVAssetWriterStatusFailed: {
      const std::optional<NSError> error = writer->error();
      return "AVAssetWriterStatusFailed" + number + "\n" +
             (error ? error->description() : "(null)");
    }
    case AVAssetWriterStatusCancelled:
      return "AVAssetWriterStatusCancelled" + number;
  }
  return "";
}

CMAudioFormatDescriptionRef createAudioHint() {
  AudioStreamBasicDescription stream;
  stream.mSampleRate = kAudioSampleRate;
  stream.mFormatID = kAudioFormatMPEG4AAC;
  stream.mFormatFlags = kMPEG4Object_AAC_Main;
  CMAudioFormatDescriptionRef description = nullptr;
  CMAudioFormatDescriptionCreate(kCFAllocatorDefault, &stream, 0, nullptr, 0, nullptr, nullptr,
                                 &description);
  return description;
}

}  // namespace

NSDictionary VXVideoRecorder::videoSettings(CGSize frameSize) const {
  const NSDictionary compression{
      {std::string(AVVideoAverageBitRateKey), kAverageBitRate},
      {std::string(AVVideoMaxKeyFrameIntervalKey), kMaxKeyFrameInterval},
      {std::string(AVVideoExpectedSourceFrameRateKey), kExpectedSourceFrameRate},
      {std::string(AVVideoProfileLevelKey), AVVideoProfileLevelH264HighAutoLevel},
  };
  return NSDictionary{
      {std::string(AVVideoCodecKey), AVVideoCodecH264},
      {std::string(AVVideoWidthKey), frameSize.width},
      {std::string(AVVideoHeightKey), frameSize.height},
      {std::string(AVVideoScalingModeKey), AVVideoScalingModeResizeAspect},
      {std::string(AVVideoCompressionPropertiesKey), compression},
  };
}

// The hint tells the writer only that AAC at this rate will come; the samples bring the rest. It is
// the same for every recording, so one description serves the whole process.
CMAudioFormatDescriptionRef VXVideoRecorder::makeAudioFormatDescription() const {
  static const CMAudioFormatDescriptionRef hint = createAudioHint();
  return hint ? static_cast<CMAudioFormatDescriptionRef>(CFRetain(hint)) : nullptr;
}

void VXVideoRecorder::prepareAudioWriter() {
  if (_audioWriterInput) {
    return;
  }
  // The reference is not given back: the description lives as long as the process.
  const CMAudioFormatDescriptionRef hint = makeAudioFormatDescription();
  setAudioWriterInput(
      AVAssetWriterInput::assetWriterInputWithMediaType(AVMediaTypeAudio, std::nullopt, hint));
  _audioWriterInput->setExpectsMediaDataInRealTime(true);
  if (_writer) {
    _writer->addInput(_audioWriterInput);
  }
}

void VXVideoRecorder::startWriting() {
  if (recorder::statusOf(_writer) == AVAssetWriterStatusWriting) {
    return;
  }
  setStartedSession(false);
  setFirstAudioBuffer(true);
  setFirstVideoBuffer(true);
  setFirstVideoFrameTime(kCMTimeInvalid);
  setWriting(true);
  if (_writer && _writer->startWriting()) {
    log("Started writing video file.");
  } else {
    log("Error in startWriting");
    logWriterStatus();
  }
}

void VXVideoRecorder::logWriterStatus() { log("AVAssetWriter status: " + describeStatus(_writer)); }

// Sees every sample that is offered to the writer; says nothing.
void VXVideoRecorder::logPresentationTime(CMSampleBufferRef, const char*) {}
