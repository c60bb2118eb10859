#include "VXVideoRecorder/platform/foundation/NSError.h"
#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <cstring>
#include <memory>
#include <new>

namespace vx {

NSData NSData::dataWithBytes(const void* bytes, std::size_t length) {
  NSData data;
  if (bytes == nullptr || length == 0) {
    return data;
  }
  try {
    const std::shared_ptr<std::uint8_t[]> copy(new std::uint8_t[length]);
    std::memcpy(copy.get(), bytes, length);
    data._bytes = copy.get();
    data._length = length;
    data._owner = copy;
  } catch (const std::bad_alloc&) {
    throw NSException(NSMallocException,
                      "No memory for a copy of " + std::to_string(length) + " bytes.");
  }
  return data;
}

NSData NSData::dataWithBytesNoCopy(const void* bytes, std::size_t length) {
  NSData data;
  data._bytes = static_cast<const std::uint8_t*>(bytes);
  data._length = bytes != nullptr ? length : 0;
  return data;
}

NSData NSData::dataWithBytesNoCopy(void* bytes, std::size_t length, Deallocator deallocator) {
  NSData data = dataWithBytesNoCopy(static_cast<const void*>(bytes), length);
  if (deallocator) {
    // The owner points at nothing: the caller's memory is only known to the deallocator.
    data._owner = std::shared_ptr<const void>(
        nullptr,
        [bytes, length, free = std::move(deallocator)](const void*) { free(bytes, length); });
  }
  return data;
}

bool operator==(const NSData& a, const NSData& b) {
  return a._length == b._length &&
         (a._length == 0 || std::memcmp(a._bytes, b._bytes, a._length) == 0);
}

NSComparisonResult NSDate::compare(const NSDate& other) const {
  if (time == other.time) {
    return NSComparisonResult::same;
  }
  return time < other.time ? NSComparisonResult::ascending : NSComparisonResult::descending;
}

}  // namespace vx
