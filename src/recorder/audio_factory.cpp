// Audio factory: a block of coded audio becomes a sample buffer. It needs no recorder, so what it
// has to say goes to the system log.
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "platform/cf_ref.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

using namespace vx;

namespace {

constexpr CMItemCount kSamplesOfFactoryBuffer = 512;

/// The rate without its fraction, kept within what a timescale holds. It is positive and finite:
/// other rates have no description.
CMTimeScale timescaleOf(double sampleRate) {
  constexpr double kLargest = std::numeric_limits<CMTimeScale>::max();
  return static_cast<CMTimeScale>(std::min(sampleRate, kLargest));
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
