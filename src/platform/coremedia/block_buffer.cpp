#include "platform/coremedia/block_buffer.h"

#include "platform/cf_ref.h"

#include <cstring>
#include <new>

namespace vx {

OSStatus createBlockBuffer(std::size_t length, CMBlockBufferRef* blockBufferOut) {
  auto block = CFRef<CMBlockBufferRef>::adopt(new (std::nothrow) CMBlockBuffer);
  if (!block) {
    return kCMBlockBufferBlockAllocationFailedErr;
  }
  block.get()->bytes.reset(new (std::nothrow) std::uint8_t[length]);
  if (!block.get()->bytes) {
    return kCMBlockBufferBlockAllocationFailedErr;
  }
  block.get()->length = length;
  *blockBufferOut = block.release();
  return noErr;
}

OSStatus CMBlockBufferCreateWithBytes(CFAllocatorRef, const void* bytes, std::size_t length,
                                      CMBlockBufferRef* blockBufferOut) {
  if (!blockBufferOut) {
    return kCMBlockBufferBadPointerParameterErr;
  }
  *blockBufferOut = nullptr;
  if (length == 0) {
    return kCMBlockBufferBadLengthParameterErr;
  }
  if (!bytes) {
    return kCMBlockBufferBadPointerParameterErr;
  }
  const OSStatus status = createBlockBuffer(length, blockBufferOut);
  if (status == noErr) {
    std::memcpy((*blockBufferOut)->bytes.get(), bytes, length);
  }
  return status;
}

const std::uint8_t* CMBlockBufferGetBytes(CMBlockBufferRef blockBuffer) {
  return blockBuffer ? blockBuffer->bytes.get() : nullptr;
}

std::size_t CMBlockBufferGetDataLength(CMBlockBufferRef blockBuffer) {
  return blockBuffer ? blockBuffer->length : 0;
}

}  // namespace vx
