// Video intake: each frame is held until the next one tells how long it was shown.
#include "VXVideoRecorder/NSDictionary+extension.h"
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "platform/cf_ref.h"
#include "recorder/absent_objects.h"
#include "recorder/memory_shortage.h"
#include "recorder/timing.h"

#include <functional>
#include <utility>

using namespace vx;

namespace {

constexpr std::int64_t kLowDiskSpaceCode = 1;
constexpr std::uint32_t kRotationBit = 8;  // of "multiVideoType"

const void* frameBytes(const NSDictionary& frame) {
  const Object* buffer = frame.objectForKey("frameBuffer");
  const NSData* data = buffer ? buffer->data() : nullptr;
  return data ? data->bytes() : nullptr;
}

}  // namespace

void VXVideoRecorder::appendVideoSample(const NSDictionary* frame) {
  if (!frame) {
    return;
  }
  const auto alive = weak_from_this().lock();  // a delegate may let go of the recorder meanwhile
  unlessMemoryIsShort("a frame is lost", [&] { takeFrame(*frame); });
}

void VXVideoRecorder::takeFrame(const NSDictionary& frame) {
  const std::uint32_t timestamp = unsignedIntValueForKey(frame, "timestamp");
  const bool isHwDecode = boolValueForKey(frame, "isHwDecode");
  const void* frameBuffer = frameBytes(frame);
  _isVideoRotation = (unsignedIntValueForKey(frame, "multiVideoType") & kRotationBit) != 0;
  const std::uint32_t pixelFormatType = unsignedIntValueForKey(frame, "pixelFormatType");
  const std::uint32_t width = unsignedIntValueForKey(frame, "width");
  const std::uint32_t height = unsignedIntValueForKey(frame, "height");
  const std::uint32_t bytesPerRow = unsignedIntValueForKey(frame, "bytesPerRow");
  if (width == 0 || height == 0) {
    return;
  }
  const CGSize size = CGSizeMake(width, height);
  const auto createBufferHandle = [&](VXVideoRecorder& recorder, std::uint32_t relativeTime) {
    // The input may have turned not ready since the frame was accepted: offer the held frame once
    // more, unless this one comes from a hardware decoder.
    if (!isHwDecode && recorder._buffer) {
      recorder.appendBufferWithDuration(relativeTime - recorder._timestamp);
    }
    const CVPixelBufferRef converted =
        recorder.convertPixelBufferFromFrameBuffer(frameBuffer, size, bytesPerRow, pixelFormatType);
    if (converted) {
      recorder._buffer = converted;
    }
  };
  // By reference, so that no frame costs an allocation for its handle.
  addFrameWithPixelFormatType(pixelFormatType, size, timestamp, std::cref(createBufferHandle));
}

void VXVideoRecorder::addFrameWithPixelFormatType(std::uint32_t pixelFormatType, CGSize size,
                                                  std::uint32_t timestamp,
                                                  const CreateBufferHandle& createBufferHandle) {
  if (size.width == 0.0 || size.height == 0.0) {
    return;
  }
  if (!_writer) {
    openFile(size, timestamp);
  }
  if (!_writer) {
    return;
  }
  if (!recorder::isReady(_videoWriterInput) ||
      recorder::statusOf(_writer) != AVAssetWriterStatusWriting) {
    // The readiness printed is the audio input's, as the readers of these lines know it.
    log("appendVideoSample - sample not appended; readyForMoreMediaData = " +
        std::to_string(recorder::isReady(_audioWriterInput)) +
        ", status = " + std::to_string(recorder::statusOf(_writer)));
    return;
  }
  if (_pause) {
    _startTime = recorder::startTimeAfterPause(timestamp, _startTime, _timestamp);
    createBlackBufferWithFormat(pixelFormatType, size);
    _pause = false;
  }
  const std::uint32_t relativeTime = timestamp - _startTime;
  setBufferTimestamp(relativeTime);
  createBufferHandle(*this, relativeTime);
}

void VXVideoRecorder::openFile(CGSize size, std::uint32_t timestamp) {
  const auto setClock = [&] {
    _startTime = timestamp;
    _timestamp = 0;
  };
  try {
    if (prepareWithConfig(size)) {
      startWriting();
    }
  } catch (...) {
    setClock();  // the writer may be writing already, and the frames to come need their zero
    throw;
  }
  setClock();  // also when nothing was prepared: the frame that succeeds sets it anew
}

void VXVideoRecorder::setBufferTimestamp(std::uint32_t relativeTimeMs) {
  if (!thread) {
    thread = NSThread::currentThread();
    thread->setName("[" + std::string(kClassName) + "] " + _filename.value_or("(null)") + " (" +
                    std::to_string(static_cast<std::int32_t>(_index)) + ")");
  }
  if (!checkDiskKeepRecStatus()) {
    handleErrorCode(kLowDiskSpaceCode, std::nullopt);
  }
  if (!_buffer) {
    return;
  }
  appendBufferWithDuration(relativeTimeMs - _timestamp);
}

void VXVideoRecorder::appendBufferWithDuration(std::uint32_t durationMs) {
  if (!recorder::isReady(_videoWriterInput)) {
    return;
  }
  setFirstVideoBuffer(false);
  // A frame is offered to the writer once, whatever becomes of it.
  const auto offered = CFRef<CVPixelBufferRef>::adopt(std::exchange(_buffer, nullptr));
  const auto sample = CFRef<CMSampleBufferRef>::adopt(setVedioBuffer(offered.get(), durationMs));
  if (sample) {
    offerVideoSample(sample.get(), durationMs);
  } else {
    log("Sample buffer create failed");
  }
}

void VXVideoRecorder::offerVideoSample(CMSampleBufferRef sample, std::uint32_t durationMs) {
  if (_timestamp == 0) {
    CMSetAttachment(sample, kCMSampleBufferAttachmentKey_ForceKeyFrame, kCFBooleanTrue,
                    kCMAttachmentMode_ShouldPropagate);
  }
  const CMTime presentationTime = CMSampleBufferGetPresentationTimeStamp(sample);
  if (!_startedSession) {
    if (_writer) {
      _writer->startSessionAtSourceTime(presentationTime);
    }
    setStartedSession(true);
    log("started session in appendVideoSample");
  }
  const bool appended = recorder::append(_videoWriterInput, sample);
  if (CMTimeCompare(_firstVideoFrameTime, kCMTimeInvalid) == 0) {
    setFirstVideoFrameTime(presentationTime);
  }
  logPresentationTime(sample, "Video Sample");
  if (appended) {
    _timestamp += durationMs;
  } else {
    logWriterStatus();
  }
}

CMSampleBufferRef VXVideoRecorder::setVedioBuffer(CVPixelBufferRef pixelBuffer,
                                                  std::uint32_t duration) {
  CFRef<CMVideoFormatDescriptionRef> description;
  if (CMVideoFormatDescriptionCreateForImageBuffer(kCFAllocatorDefault, pixelBuffer,
                                                   description.out()) != noErr) {
    return nullptr;
  }
  const CMSampleTimingInfo timing{recorder::timeFromMilliseconds(duration),
                                  recorder::timeFromMilliseconds(_timestamp), kCMTimeInvalid};
  CFRef<CMSampleBufferRef> sample;
  if (CMSampleBufferCreateReadyWithImageBuffer(kCFAllocatorDefault, pixelBuffer, description.get(),
                                               &timing, sample.out()) != noErr) {
    return nullptr;
  }
  return sample.release();
}
