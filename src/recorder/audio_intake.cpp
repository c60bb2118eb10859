// Audio intake: the factory for sample buffers, the gate behind the first video sample, priming.
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "platform/cf_ref.h"
#include "recorder/absent_objects.h"
#include "recorder/memory_shortage.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

using namespace vx;

namespace {

constexpr CMItemCount kSamplesOfFactoryBuffer = 512;
constexpr double kPrimingSeconds = 0.1;
constexpr CMTimeScale kPrimingTimescale = 1000000000;

/// The rate without its fraction, kept within what a timescale holds.
CMTimeScale timescaleOf(double sampleRate) {
  constexpr double kLargest = std::numeric_limits<CMTimeScale>::max();
  return std::isnan(sampleRate) ? 0
                                : static_cast<CMTimeScale>(std::clamp(sampleRate, 0.0, kLargest));
}

/// A copy of the caller's bytes. What cannot be copied is raised as the platform raises it.
std::vector<std::uint8_t> copyOf(const void* bytes, std::int32_t length) {
  if (length > 0 && !bytes) {
    throw NSException(NSInvalidArgumentException, "There are no audio bytes to copy");
  }
  // A negative length, widened, is more than any memory holds.
  const auto size = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(length));
  try {
    std::vector<std::uint8_t> copy(size);
    if (size > 0) {
      std::memcpy(copy.data(), bytes, size);
    }
    return copy;
  } catch (const std::exception&) {
    throw NSException(NSMallocException,
                      "There is no memory for " + std::to_string(size) + " bytes of audio");
  }
}

CMSampleBufferRef makeAudioSampleBuffer(const void* bytes, std::int32_t length,
                                        const AudioStreamBasicDescription& stream) {
  std::vector<std::uint8_t> copy = copyOf(bytes, length);
  AudioBufferList list;
  list.mNumberBuffers = 1;
  list.mBuffers[0].mNumberChannels = stream.mChannelsPerFrame;
  list.mBuffers[0].mDataByteSize = static_cast<std::uint32_t>(length);
  list.mBuffers[0].mData = copy.data();
  CFRef<CMAudioFormatDescriptionRef> format;
  if (CMAudioFormatDescriptionCreate(kCFAllocatorDefault, &stream, 0, nullptr, 0, nullptr, nullptr,
                                     format.out()) != noErr) {
    return nullptr;
  }
  const CMSampleTimingInfo timing{
      CMTimeMake(stream.mFramesPerPacket, timescaleOf(stream.mSampleRate)), kCMTimeZero,
      kCMTimeInvalid};
  CFRef<CMSampleBufferRef> buffer;
  if (CMSampleBufferCreate(kCFAllocatorDefault, nullptr, false, nullptr, nullptr, format.get(),
                           kSamplesOfFactoryBuffer, 1, &timing, 0, nullptr,
                           buffer.out()) != noErr) {
    return nullptr;
  }
  const OSStatus attached = CMSampleBufferSetDataBufferFromAudioBufferList(
      buffer.get(), kCFAllocatorDefault, kCFAllocatorDefault, 0, &list);
  if (attached != noErr) {
    // The buffer goes out without its data; whoever appends it learns of it from the writer.
    NSLog("Failed to convert audio buffer list into sample buffer (" + std::to_string(attached) +
          ")");
  }
  return buffer.release();
}

}  // namespace

CMSampleBufferRef VXVideoRecorder::createAudioSampleBuffer(const void* audioBytes,
                                                           std::int32_t withLen,
                                                           AudioStreamBasicDescription withASBD) {
  try {
    return makeAudioSampleBuffer(audioBytes, withLen, withASBD);
  } catch (const NSException& exception) {
    NSLog("createAudioSampleBuffer exception : " + exception.description() + ".");
    return nullptr;
  } catch (const std::bad_alloc&) {
    NSLog("There is not enough memory for an audio sample buffer.");
    return nullptr;
  }
}

void VXVideoRecorder::appendAudioSample(CMSampleBufferRef sampleBuffer) {
  if (CMTimeCompare(_firstVideoFrameTime, kCMTimeInvalid) == 0) {
    return;
  }
  const auto alive = weak_from_this().lock();  // a delegate may let go of the recorder meanwhile
  unlessMemoryIsShort("an audio sample is lost", [&] { takeAudioSample(sampleBuffer); });
}

void VXVideoRecorder::takeAudioSample(CMSampleBufferRef sampleBuffer) {
  if (!recorder::isReady(_audioWriterInput) ||
      recorder::statusOf(_writer) != AVAssetWriterStatusWriting) {
    const int readiness = recorder::isReady(_audioWriterInput);
    log("appendAudioSample - sample not appended;  readyForMoreMediaData = " +
        std::to_string(readiness) + ", status = " + std::to_string(recorder::statusOf(_writer)));
    return;
  }
  if (!sampleBuffer) {
    return;
  }
  if (!_startedSession) {
    _writer->startSessionAtSourceTime(CMSampleBufferGetPresentationTimeStamp(sampleBuffer));
    setStartedSession(true);
    log("started session in appendAudioSample");
  }
  if (_firstAudioBuffer) {
    setFirstAudioBuffer(false);
    primeAudio(sampleBuffer);
  }
  const bool appended = _audioWriterInput->appendSampleBuffer(sampleBuffer);
  logPresentationTime(sampleBuffer, "Audio Sample");
  if (!appended) {
    logWriterStatus();
  }
}

void VXVideoRecorder::primeAudio(CMSampleBufferRef sampleBuffer) {
  if (CMGetAttachment(sampleBuffer, kCMSampleBufferAttachmentKey_TrimDurationAtStart, nullptr)) {
    return;
  }
  log("Priming audio");
  const CMTime trim = CMTimeMakeWithSeconds(kPrimingSeconds, kPrimingTimescale);
  CMSetAttachment(sampleBuffer, kCMSampleBufferAttachmentKey_TrimDurationAtStart,
                  CMTimeCopyAsDictionary(trim, kCFAllocatorDefault),
                  kCMAttachmentMode_ShouldPropagate);
}
