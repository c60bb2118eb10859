// Holds one reference to a counted object for as long as the holder lives.
#pragma once

#include "VXVideoRecorder/platform/CoreFoundation.h"

#include <utility>

namespace vx {

/// `Ref` is one of the platform's reference types, such as `CVPixelBufferRef`. Copying a holder
/// takes a further reference; moving it does not.
template <typename Ref>
class CFRef {
 public:
  CFRef() = default;
  /// Takes over a reference that the caller owns, as "Create" and "Copy" return it.
  static CFRef adopt(Ref object) { return CFRef(object); }
  /// Takes a reference of its own, as is due after a "Get" and for a parameter.
  static CFRef retain(Ref object) {
    if (object) {
      CFRetain(object);
    }
    return CFRef(object);
  }

  CFRef(const CFRef& other) : CFRef(retain(other._object)) {}
  CFRef(CFRef&& other) noexcept : _object(other.release()) {}
  CFRef& operator=(CFRef other) noexcept {
    std::swap(_object, other._object);
    return *this;
  }
  ~CFRef() { reset(); }

  Ref get() const { return _object; }
  explicit operator bool() const { return _object != nullptr; }
  /// Hands the reference to the caller.
  [[nodiscard]] Ref release() { return std::exchange(_object, nullptr); }
  void reset() {
    if (Ref object = release()) {
      CFRelease(object);
    }
  }
  /// Where a "Create" call puts its result; what was held before is given back.
  Ref* out() {
    reset();
    return &_object;
  }

 private:
  explicit CFRef(Ref object) : _object(object) {}

  Ref _object = nullptr;
};

}  // namespace vx
