#include "platform/corevideo/pixel_buffer.h"

#include "platform/corevideo/pixel_buffer_registry.h"

#include <cstring>
#include <new>
#include <utility>

namespace vx {

namespace {

// A plane that the buffer answers for, or null.
const PlaneLayout* planeOf(CVPixelBufferRef buffer, std::size_t index) {
  const bool exists = buffer && index < buffer->layout.format.planeCount;
  return exists ? &buffer->layout.planes[index] : nullptr;
}

}  // namespace

CVPixelBufferRef CVPixelBuffer::create(const PixelLayout& layout) {
  PixelMemory memory = PixelMemory::allocateZeroed(layout.size);
  if (!memory) {
    return nullptr;
  }
  auto* buffer = new (std::nothrow) CVPixelBuffer(layout, std::move(memory));
  if (buffer) {
    buffer->fillBlack();
    PixelBufferRegistry::instance().add(*buffer);
  }
  return buffer;
}

CVPixelBuffer::CVPixelBuffer(const PixelLayout& bufferLayout, PixelMemory bufferMemory)
    : layout(bufferLayout), memory(std::move(bufferMemory)) {}

CVPixelBuffer::~CVPixelBuffer() { PixelBufferRegistry::instance().remove(*this); }

void CVPixelBuffer::lastReferenceGone() noexcept {
  if (pool) {
    PixelBufferRegistry::instance().giveBack(*this);
  } else {
    delete this;
  }
}

// The memory is zero already; where that is black its pages stay untouched.
void CVPixelBuffer::fillBlack() {
  for (std::size_t i = 0; i < layout.format.planeCount; ++i) {
    const auto [even, odd] = layout.format.black[i];
    std::uint8_t* bytes = planeBase(i);
    const std::size_t count = layout.planes[i].bytesPerRow * layout.planes[i].height;
    if (even == odd && even != 0) {
      std::memset(bytes, even, count);
    } else if (even != odd) {
      for (std::size_t at = 0; at < count; ++at) {
        bytes[at] = at % 2 == 0 ? even : odd;
      }
    }
  }
}

CVReturn CVPixelBufferCreate(CFAllocatorRef, std::size_t width, std::size_t height,
                             OSType pixelFormatType, const NSDictionary* pixelBufferAttributes,
                             CVPixelBufferRef* pixelBufferOut) {
  if (!pixelBufferOut) {
    return kCVReturnInvalidArgument;
  }
  *pixelBufferOut = nullptr;
  const std::optional<std::size_t> alignment = rowAlignmentOf(pixelBufferAttributes);
  if (!alignment) {
    return kCVReturnInvalidPixelBufferAttributes;
  }
  PixelLayout layout;
  if (const CVReturn status = makePixelLayout(width, height, pixelFormatType, *alignment, layout);
      status != kCVReturnSuccess) {
    return status;
  }
  PixelBufferRegistry::instance().dropExpired();
  *pixelBufferOut = CVPixelBuffer::create(layout);
  return *pixelBufferOut ? kCVReturnSuccess : kCVReturnAllocationFailed;
}

CVPixelBufferRef CVPixelBufferRetain(CVPixelBufferRef pixelBuffer) {
  CFRetain(pixelBuffer);
  return pixelBuffer;
}

void CVPixelBufferRelease(CVPixelBufferRef pixelBuffer) { CFRelease(pixelBuffer); }

// The bytes are always at hand; the two calls exist for the shape of the use.
CVReturn CVPixelBufferLockBaseAddress(CVPixelBufferRef pixelBuffer, CVPixelBufferLockFlags) {
  return pixelBuffer ? kCVReturnSuccess : kCVReturnInvalidArgument;
}

CVReturn CVPixelBufferUnlockBaseAddress(CVPixelBufferRef pixelBuffer, CVPixelBufferLockFlags) {
  return pixelBuffer ? kCVReturnSuccess : kCVReturnInvalidArgument;
}

std::size_t CVPixelBufferGetWidth(CVPixelBufferRef pixelBuffer) {
  return pixelBuffer ? pixelBuffer->layout.width : 0;
}

std::size_t CVPixelBufferGetHeight(CVPixelBufferRef pixelBuffer) {
  return pixelBuffer ? pixelBuffer->layout.height : 0;
}

OSType CVPixelBufferGetPixelFormatType(CVPixelBufferRef pixelBuffer) {
  return pixelBuffer ? pixelBuffer->layout.format.code : 0;
}

void* CVPixelBufferGetBaseAddress(CVPixelBufferRef pixelBuffer) {
  return CVPixelBufferGetBaseAddressOfPlane(pixelBuffer, 0);
}

std::size_t CVPixelBufferGetBytesPerRow(CVPixelBufferRef pixelBuffer) {
  return CVPixelBufferGetBytesPerRowOfPlane(pixelBuffer, 0);
}

std::size_t CVPixelBufferGetDataSize(CVPixelBufferRef pixelBuffer) {
  return pixelBuffer ? pixelBuffer->layout.size : 0;
}

bool CVPixelBufferIsPlanar(CVPixelBufferRef pixelBuffer) {
  return CVPixelBufferGetPlaneCount(pixelBuffer) > 0;
}

std::size_t CVPixelBufferGetPlaneCount(CVPixelBufferRef pixelBuffer) {
  const std::size_t count = pixelBuffer ? pixelBuffer->layout.format.planeCount : 0;
  return count > 1 ? count : 0;
}

void* CVPixelBufferGetBaseAddressOfPlane(CVPixelBufferRef pixelBuffer, std::size_t planeIndex) {
  return planeOf(pixelBuffer, planeIndex) ? pixelBuffer->planeBase(planeIndex) : nullptr;
}

std::size_t CVPixelBufferGetBytesPerRowOfPlane(CVPixelBufferRef pixelBuffer,
                                               std::size_t planeIndex) {
  const PlaneLayout* plane = planeOf(pixelBuffer, planeIndex);
  return plane ? plane->bytesPerRow : 0;
}

std::size_t CVPixelBufferGetWidthOfPlane(CVPixelBufferRef pixelBuffer, std::size_t planeIndex) {
  const PlaneLayout* plane = planeOf(pixelBuffer, planeIndex);
  return plane ? plane->width : 0;
}

std::size_t CVPixelBufferGetHeightOfPlane(CVPixelBufferRef pixelBuffer, std::size_t planeIndex) {
  const PlaneLayout* plane = planeOf(pixelBuffer, planeIndex);
  return plane ? plane->height : 0;
}

}  // namespace vx
