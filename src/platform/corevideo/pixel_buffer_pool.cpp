#include "platform/cf_ref.h"
#include "platform/corevideo/pixel_buffer.h"
#include "platform/corevideo/pixel_buffer_registry.h"

#include <algorithm>
#include <new>

namespace vx {

namespace {

const NSNumber* numberForKey(const NSDictionary& attributes, std::string_view key) {
  const Object* object = attributes.objectForKey(key);
  return object ? object->number() : nullptr;
}

// A fraction is dropped; what is negative becomes 0, which no layout accepts.
std::size_t sideFrom(const NSNumber& number) {
  return static_cast<std::size_t>(std::max(number.intValue(), 0));
}

CVReturn layoutFromAttributes(const NSDictionary& attributes, PixelLayout& layout) {
  const NSNumber* width = numberForKey(attributes, kCVPixelBufferWidthKey);
  const NSNumber* height = numberForKey(attributes, kCVPixelBufferHeightKey);
  const NSNumber* code = numberForKey(attributes, kCVPixelBufferPixelFormatTypeKey);
  const std::optional<std::size_t> alignment = rowAlignmentOf(&attributes);
  if (!width || !height || !code || !alignment) {
    return kCVReturnInvalidPixelBufferAttributes;
  }
  return makePixelLayout(sideFrom(*width), sideFrom(*height), code->unsignedIntValue(), *alignment,
                         layout);
}

CVPixelBufferRef createFor(CVPixelBufferPool& pool) {
  CVPixelBufferRef buffer = CVPixelBuffer::create(pool.layout);
  if (!buffer) {
    PixelBufferRegistry::instance().dropAllIdle();
    buffer = CVPixelBuffer::create(pool.layout);
  }
  if (buffer) {
    buffer->pool = &pool;
    pool.retain();
  }
  return buffer;
}

}  // namespace

CVPixelBufferPool::CVPixelBufferPool(const PixelLayout& bufferLayout,
                                     const NSDictionary& bufferAttributes)
    : layout(bufferLayout), attributes(bufferAttributes) {
  PixelBufferRegistry::instance().add(*this);
}

CVPixelBufferPool::~CVPixelBufferPool() { PixelBufferRegistry::instance().remove(*this); }

CVReturn CVPixelBufferPoolCreate(CFAllocatorRef, const NSDictionary*,
                                 const NSDictionary* pixelBufferAttributes,
                                 CVPixelBufferPoolRef* poolOut) {
  if (!poolOut) {
    return kCVReturnInvalidArgument;
  }
  *poolOut = nullptr;
  if (!pixelBufferAttributes) {
    return kCVReturnInvalidPixelBufferAttributes;
  }
  PixelLayout layout;
  if (const CVReturn status = layoutFromAttributes(*pixelBufferAttributes, layout);
      status != kCVReturnSuccess) {
    return status;
  }
  PixelBufferRegistry::instance().dropExpired();
  *poolOut = new (std::nothrow) CVPixelBufferPool(layout, *pixelBufferAttributes);
  return *poolOut ? kCVReturnSuccess : kCVReturnAllocationFailed;
}

CVPixelBufferPoolRef CVPixelBufferPoolRetain(CVPixelBufferPoolRef pool) {
  CFRetain(pool);
  return pool;
}

void CVPixelBufferPoolRelease(CVPixelBufferPoolRef pool) { CFRelease(pool); }

const NSDictionary* CVPixelBufferPoolGetPixelBufferAttributes(CVPixelBufferPoolRef pool) {
  return pool ? &pool->attributes : nullptr;
}

CVReturn CVPixelBufferPoolCreatePixelBuffer(CFAllocatorRef, CVPixelBufferPoolRef pool,
                                            CVPixelBufferRef* pixelBufferOut) {
  if (!pixelBufferOut) {
    return kCVReturnInvalidArgument;
  }
  *pixelBufferOut = nullptr;
  if (!pool) {
    return kCVReturnInvalidArgument;
  }
  PixelBufferRegistry& registry = PixelBufferRegistry::instance();
  registry.dropExpired();
  CVPixelBufferRef buffer = registry.takeIdle(*pool);
  *pixelBufferOut = buffer ? buffer : createFor(*pool);
  return *pixelBufferOut ? kCVReturnSuccess : kCVReturnAllocationFailed;
}

}  // namespace vx
