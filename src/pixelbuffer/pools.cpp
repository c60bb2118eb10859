// The pools that frame buffers are drawn from, one a frame size.
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "pixelbuffer/row_alignment.h"

using namespace vx;

namespace {

std::string keyed(std::string_view key) { return std::string(key); }

// The attribute as a whole number, so that a fractional size equals no pool's.
std::int32_t integerAttribute(const NSDictionary& attributes, std::string_view key) {
  std::int32_t value = 0;
  const Object* object = attributes.objectForKey(key);
  if (const NSNumber* number = object ? object->number() : nullptr) {
    CFNumberGetValue(*number, kCFNumberIntType, &value);
  }
  return value;
}

bool hasSize(CVPixelBufferPoolRef pool, CGSize size) {
  const NSDictionary* attributes = CVPixelBufferPoolGetPixelBufferAttributes(pool);
  return attributes &&
         static_cast<double>(integerAttribute(*attributes, kCVPixelBufferWidthKey)) == size.width &&
         static_cast<double>(integerAttribute(*attributes, kCVPixelBufferHeightKey)) == size.height;
}

}  // namespace

CVPixelBufferPoolRef VXVideoRecorder::getBufferPoolWithSize(CGSize size, std::uint32_t withFormat) {
  // The first pool of the size serves every format: a stream has one, and a frame in another is
  // copied by its own layout as far as the buffer reaches.
  for (CVPixelBufferPoolRef pool : _pools) {
    if (hasSize(pool, size)) {
      return pool;
    }
  }
  const NSDictionary attributes = {
      {keyed(kCVPixelBufferWidthKey), size.width},
      {keyed(kCVPixelBufferHeightKey), size.height},
      {keyed(kCVPixelBufferPixelFormatTypeKey), withFormat},
      {keyed(kCVPixelBufferBytesPerRowAlignmentKey), pixelbuffer::kRowAlignment},
  };
  CVPixelBufferPoolRef pool = nullptr;
  if (CVPixelBufferPoolCreate(kCFAllocatorDefault, nullptr, &attributes, &pool) !=
      kCVReturnSuccess) {
    log("Pixel buffer pool create failed");
    return nullptr;
  }
  _pools.push_back(pool);
  return pool;
}
