// The recorder object: construction, preparation of the writer, log and errors.
#include "VXVideoRecorder/VXVideoRecorder.h"

#include <new>

using namespace vx;

namespace {
constexpr std::int32_t kLogLevel = 2;
constexpr double kQuarterTurn = 1.5707963267948966;  // radians
}  // namespace

std::shared_ptr<VXVideoRecorder> VXVideoRecorder::initWithDelegate(
    std::shared_ptr<VXVideoRecorderDelegate> delegate) {
  try {
    return std::make_shared<VXVideoRecorder>(ConstructionKey{}, std::move(delegate));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

VXVideoRecorder::VXVideoRecorder(ConstructionKey, std::shared_ptr<VXVideoRecorderDelegate> receiver)
    : delegate(std::move(receiver)) {}

bool VXVideoRecorder::prepareWithConfig(CGSize frameSize) {
  if (_writer) {
    return true;
  }
  const std::optional<NSURL> url = outputFileURL();
  if (!url) {
    return false;
  }
  std::optional<NSError> error;
  setWriter(AVAssetWriter::initWithURL(*url, AVFileTypeMPEG4, &error));
  if (error) {
    return false;
  }
  try {
    setVideoWriterInput(AVAssetWriterInput::assetWriterInputWithMediaType(
        AVMediaTypeVideo, videoSettings(frameSize)));
    _videoWriterInput->setExpectsMediaDataInRealTime(true);
    if (_isVideoRotation) {
      _videoWriterInput->setTransform(CGAffineTransformMakeRotation(kQuarterTurn));
    }
    _writer->addInput(_videoWriterInput);
    if (_audioEnabled) {
      prepareAudioWriter();
    }
  } catch (const std::bad_alloc&) {
    // Half a writer would refuse all frames to come; without one, the next frame tries anew.
    setWriter(nullptr);
    setVideoWriterInput(nullptr);
    setAudioWriterInput(nullptr);
    throw;
  }
  return true;
}

void VXVideoRecorder::handleErrorCode(std::int64_t code, const std::optional<NSError>& error) {
  log("status " + std::to_string(code) + " with error " +
      (error ? error->description() : "(null)"));
  sendRecorderError(code);
}

// Errors reach the host as log lines alone; this is where a callback would start.
void VXVideoRecorder::sendRecorderError(std::int64_t) {}

void VXVideoRecorder::writeLog(const std::string& message, std::int32_t level) {
  // Held on to: the host may let go of the recorder or of the delegate from within.
  if (const std::shared_ptr<VXVideoRecorderDelegate> receiver = delegate) {
    receiver->writeLog(message, level);
  }
}

std::string VXVideoRecorder::logPrefix() const {
  std::string prefix = "[";
  prefix += kClassName;
  prefix += "][";
  prefix += defaultObjectDescription(kClassName, this);
  prefix += "]";
  return prefix;
}

void VXVideoRecorder::log(const std::string& message) {
  writeLog(logPrefix() + " " + message, kLogLevel);
}

void VXVideoRecorder::logMemoryShortage(const char* whatIsLost) {
  try {
    log(std::string("There is not enough memory: ") + whatIsLost);
  } catch (const std::bad_alloc&) {
    // Not even for the line.
  }
}
