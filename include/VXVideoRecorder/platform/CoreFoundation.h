// Reference counting shared by the objects of CoreMedia and CoreVideo.
#pragma once

#include "VXVideoRecorder/platform/Foundation.h"

#include <cstdint>

#pragma GCC visibility push(default)

namespace vx {

using OSStatus = std::int32_t;
inline constexpr OSStatus noErr = 0;

/// A pointer to any counted object: a sample buffer, block buffer, format description, pixel buffer
/// or pixel buffer pool. An operation named "Create" or "Copy" returns a reference that the caller
/// owns and gives back with `CFRelease`; one named "Get" returns one that the caller does not own.
using CFTypeRef = const void*;

/// Memory comes from the C++ heap; the allocator arguments exist for the shape of the calls.
struct CFAllocator;
using CFAllocatorRef = const CFAllocator*;
inline constexpr CFAllocatorRef kCFAllocatorDefault = nullptr;

/// Takes one more reference and returns `object`; null does nothing. Thread: any.
CFTypeRef CFRetain(CFTypeRef object);
/// Gives one reference back; the last one destroys the object; null does nothing. Thread: any.
void CFRelease(CFTypeRef object);
/// The number of references now held, 0 for null. Thread: any; for tests and debugging.
std::intptr_t CFGetRetainCount(CFTypeRef object);

enum CFNumberType {
  kCFNumberSInt32Type,
  kCFNumberSInt64Type,
  kCFNumberDoubleType,
  kCFNumberIntType
};

/// Reads `number` into the C type that `type` names, truncating a fraction.
/// Returns whether the value survived unchanged; `value` is written in either case.
bool CFNumberGetValue(const NSNumber& number, CFNumberType type, void* value);

inline constexpr bool kCFBooleanTrue = true;
inline constexpr bool kCFBooleanFalse = false;

}  // namespace vx

#pragma GCC visibility pop
