#include "platform/coremedia/sample_buffer.h"

#include "VXVideoRecorder/platform/CoreVideo.h"
#include "platform/coremedia/block_buffer.h"
#include "platform/coremedia/time_math.h"

#include <cstring>
#include <new>
#include <utility>

namespace vx {

namespace {

bool isEntryCountAllowed(CMItemCount entries, CMItemCount samples) {
  return entries == 0 || entries == 1 || entries == samples;
}

bool describes(CMFormatDescriptionRef description, CVImageBufferRef image) {
  const CMVideoDimensions dimensions = CMVideoFormatDescriptionGetDimensions(description);
  return CMFormatDescriptionGetMediaType(description) == kCMMediaType_Video &&
         CMFormatDescriptionGetMediaSubType(description) ==
             CVPixelBufferGetPixelFormatType(image) &&
         std::cmp_equal(dimensions.width, CVPixelBufferGetWidth(image)) &&
         std::cmp_equal(dimensions.height, CVPixelBufferGetHeight(image));
}

bool isInRange(CMSampleBufferRef sampleBuffer, CMItemCount index) {
  return sampleBuffer && index >= 0 && index < sampleBuffer->sampleCount;
}

// One entry for all, or one each; the caller has checked the index and that there are entries.
template <typename Entry>
const Entry& entryAt(const std::vector<Entry>& entries, CMItemCount index) {
  return entries[entries.size() == 1 ? 0 : static_cast<std::size_t>(index)];
}

CMSampleTimingInfo timingAt(const CMSampleBuffer& buffer, CMItemCount index) {
  CMSampleTimingInfo timing = entryAt(buffer.timings, index);
  if (buffer.timings.size() == 1 && index > 0) {
    const CMTime offset = timeProduct(timing.duration, index);
    timing.presentationTimeStamp = timeSum(timing.presentationTimeStamp, offset);
    if (CMTIME_IS_VALID(timing.decodeTimeStamp)) {
      timing.decodeTimeStamp = timeSum(timing.decodeTimeStamp, offset);
    }
  }
  return timing;
}

std::size_t totalBytes(const AudioBufferList& list) {
  const AudioBuffer* buffers = list.mBuffers;
  std::size_t total = 0;
  for (std::uint32_t i = 0; i < list.mNumberBuffers; ++i) {
    total += buffers[i].mDataByteSize;
  }
  return total;
}

bool hasEveryPointer(const AudioBufferList& list) {
  const AudioBuffer* buffers = list.mBuffers;
  for (std::uint32_t i = 0; i < list.mNumberBuffers; ++i) {
    if (buffers[i].mDataByteSize > 0 && !buffers[i].mData) {
      return false;
    }
  }
  return true;
}

void copyBytes(const AudioBufferList& list, std::uint8_t* destination) {
  const AudioBuffer* buffers = list.mBuffers;
  for (std::uint32_t i = 0; i < list.mNumberBuffers; ++i) {
    if (buffers[i].mDataByteSize > 0) {
      std::memcpy(destination, buffers[i].mData, buffers[i].mDataByteSize);
      destination += buffers[i].mDataByteSize;
    }
  }
}

}  // namespace

bool CMSampleBuffer::samplesFitInto(std::size_t length) const {
  if (sizes.size() == 1) {
    return sampleCount == 0 || sizes[0] <= length / static_cast<std::size_t>(sampleCount);
  }
  std::size_t left = length;
  for (const std::size_t size : sizes) {
    if (size > left) {
      return false;
    }
    left -= size;
  }
  return true;
}

OSStatus CMSampleBufferCreateReadyWithImageBuffer(CFAllocatorRef, CVImageBufferRef imageBuffer,
                                                  CMVideoFormatDescriptionRef formatDescription,
                                                  const CMSampleTimingInfo* sampleTiming,
                                                  CMSampleBufferRef* sampleBufferOut) {
  if (!sampleBufferOut) {
    return kCMSampleBufferError_RequiredParameterMissing;
  }
  *sampleBufferOut = nullptr;
  if (!imageBuffer || !formatDescription || !sampleTiming) {
    return kCMSampleBufferError_RequiredParameterMissing;
  }
  if (!describes(formatDescription, imageBuffer)) {
    return kCMSampleBufferError_InvalidMediaFormat;
  }
  try {
    auto buffer = CFRef<CMSampleBufferRef>::adopt(new CMSampleBuffer);
    buffer.get()->image = CFRef<CVImageBufferRef>::retain(imageBuffer);
    buffer.get()->format = CFRef<CMFormatDescriptionRef>::retain(formatDescription);
    buffer.get()->isDataReady = true;
    buffer.get()->sampleCount = 1;
    buffer.get()->timings.assign(1, *sampleTiming);
    *sampleBufferOut = buffer.release();
    return noErr;
  } catch (const std::bad_alloc&) {
    return kCMSampleBufferError_AllocationFailed;
  }
}

OSStatus CMSampleBufferCreate(CFAllocatorRef, CMBlockBufferRef dataBuffer, bool dataReady,
                              CMSampleBufferMakeDataReadyCallback, void*,
                              CMFormatDescriptionRef formatDescription, CMItemCount numSamples,
                              CMItemCount numSampleTimingEntries,
                              const CMSampleTimingInfo* sampleTimingArray,
                              CMItemCount numSampleSizeEntries, const std::size_t* sampleSizeArray,
                              CMSampleBufferRef* sampleBufferOut) {
  if (!sampleBufferOut) {
    return kCMSampleBufferError_RequiredParameterMissing;
  }
  *sampleBufferOut = nullptr;
  if (numSamples < 0 || !isEntryCountAllowed(numSampleTimingEntries, numSamples) ||
      !isEntryCountAllowed(numSampleSizeEntries, numSamples)) {
    return kCMSampleBufferError_InvalidEntryCount;
  }
  if ((numSampleTimingEntries > 0 && !sampleTimingArray) ||
      (numSampleSizeEntries > 0 && !sampleSizeArray)) {
    return kCMSampleBufferError_RequiredParameterMissing;
  }
  try {
    auto buffer = CFRef<CMSampleBufferRef>::adopt(new CMSampleBuffer);
    CMSampleBuffer& made = *buffer.get();
    made.isDataReady = dataReady;
    made.sampleCount = numSamples;
    made.timings.assign(sampleTimingArray, sampleTimingArray + numSampleTimingEntries);
    made.sizes.assign(sampleSizeArray, sampleSizeArray + numSampleSizeEntries);
    if (dataBuffer && !made.samplesFitInto(dataBuffer->length)) {
      return kCMSampleBufferError_InvalidSampleData;
    }
    made.data = CFRef<CMBlockBufferRef>::retain(dataBuffer);
    made.format = CFRef<CMFormatDescriptionRef>::retain(formatDescription);
    *sampleBufferOut = buffer.release();
    return noErr;
  } catch (const std::bad_alloc&) {
    return kCMSampleBufferError_AllocationFailed;
  }
}

OSStatus CMSampleBufferCreateReady(CFAllocatorRef allocator, CMBlockBufferRef dataBuffer,
                                   CMFormatDescriptionRef formatDescription, CMItemCount numSamples,
                                   CMItemCount numSampleTimingEntries,
                                   const CMSampleTimingInfo* sampleTimingArray,
                                   CMItemCount numSampleSizeEntries,
                                   const std::size_t* sampleSizeArray,
                                   CMSampleBufferRef* sampleBufferOut) {
  return CMSampleBufferCreate(allocator, dataBuffer, true, nullptr, nullptr, formatDescription,
                              numSamples, numSampleTimingEntries, sampleTimingArray,
                              numSampleSizeEntries, sampleSizeArray, sampleBufferOut);
}

OSStatus CMSampleBufferSetDataBufferFromAudioBufferList(CMSampleBufferRef sampleBuffer,
                                                        CFAllocatorRef, CFAllocatorRef,
                                                        std::uint32_t,
                                                        const AudioBufferList* bufferList) {
  if (!sampleBuffer || !bufferList || !hasEveryPointer(*bufferList)) {
    return kCMSampleBufferError_RequiredParameterMissing;
  }
  if (sampleBuffer->data || sampleBuffer->image) {
    return kCMSampleBufferError_AlreadyHasDataBuffer;
  }
  if (CMFormatDescriptionGetMediaType(sampleBuffer->format.get()) != kCMMediaType_Audio) {
    return kCMSampleBufferError_InvalidMediaFormat;
  }
  const std::size_t length = totalBytes(*bufferList);
  if (length == 0 || !sampleBuffer->samplesFitInto(length)) {
    return kCMSampleBufferError_InvalidSampleData;
  }
  CFRef<CMBlockBufferRef> block;
  if (const OSStatus status = createBlockBuffer(length, block.out()); status != noErr) {
    return status;
  }
  copyBytes(*bufferList, block.get()->bytes.get());
  sampleBuffer->data = std::move(block);
  sampleBuffer->isDataReady = true;
  return noErr;
}

CVImageBufferRef CMSampleBufferGetImageBuffer(CMSampleBufferRef sampleBuffer) {
  return sampleBuffer ? sampleBuffer->image.get() : nullptr;
}

CMBlockBufferRef CMSampleBufferGetDataBuffer(CMSampleBufferRef sampleBuffer) {
  return sampleBuffer ? sampleBuffer->data.get() : nullptr;
}

bool CMSampleBufferDataIsReady(CMSampleBufferRef sampleBuffer) {
  return sampleBuffer && sampleBuffer->isDataReady;
}

CMFormatDescriptionRef CMSampleBufferGetFormatDescription(CMSampleBufferRef sampleBuffer) {
  return sampleBuffer ? sampleBuffer->format.get() : nullptr;
}

CMItemCount CMSampleBufferGetNumSamples(CMSampleBufferRef sampleBuffer) {
  return sampleBuffer ? sampleBuffer->sampleCount : 0;
}

CMTime CMSampleBufferGetPresentationTimeStamp(CMSampleBufferRef sampleBuffer) {
  const bool hasTime = sampleBuffer && !sampleBuffer->timings.empty();
  return hasTime ? sampleBuffer->timings.front().presentationTimeStamp : kCMTimeInvalid;
}

CMTime CMSampleBufferGetDuration(CMSampleBufferRef sampleBuffer) {
  if (!sampleBuffer || sampleBuffer->timings.empty()) {
    return kCMTimeInvalid;
  }
  const std::vector<CMSampleTimingInfo>& timings = sampleBuffer->timings;
  if (timings.size() == 1) {
    return timeProduct(timings.front().duration, sampleBuffer->sampleCount);
  }
  CMTime duration = kCMTimeZero;
  for (const CMSampleTimingInfo& timing : timings) {
    duration = timeSum(duration, timing.duration);
  }
  return duration;
}

OSStatus CMSampleBufferGetSampleTimingInfo(CMSampleBufferRef sampleBuffer, CMItemCount sampleIndex,
                                           CMSampleTimingInfo* timingInfoOut) {
  if (!sampleBuffer || !timingInfoOut) {
    return kCMSampleBufferError_RequiredParameterMissing;
  }
  if (!isInRange(sampleBuffer, sampleIndex)) {
    return kCMSampleBufferError_SampleIndexOutOfRange;
  }
  if (sampleBuffer->timings.empty()) {
    return kCMSampleBufferError_BufferHasNoSampleTimingInfo;
  }
  *timingInfoOut = timingAt(*sampleBuffer, sampleIndex);
  return noErr;
}

std::size_t CMSampleBufferGetSampleSize(CMSampleBufferRef sampleBuffer, CMItemCount sampleIndex) {
  if (!isInRange(sampleBuffer, sampleIndex) || sampleBuffer->sizes.empty()) {
    return 0;
  }
  return entryAt(sampleBuffer->sizes, sampleIndex);
}

}  // namespace vx
