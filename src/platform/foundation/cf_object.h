// What every counted object is made of.
#pragma once

#include "VXVideoRecorder/platform/CoreFoundation.h"

#include <atomic>
#include <cstdint>

namespace vx {

/// The base of a counted object. It must be the first and only base, so that a pointer to the
/// object is a pointer to this part of it, which is all that `CFRetain` and `CFRelease` know.
/// Thread: any.
class CFObject {
 public:
  CFObject(const CFObject&) = delete;
  CFObject& operator=(const CFObject&) = delete;

  void retain() const noexcept { _count.fetch_add(1, std::memory_order_relaxed); }
  void release() const noexcept {
    if (_count.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      const_cast<CFObject*>(this)->lastReferenceGone();
    }
  }
  std::intptr_t retainCount() const noexcept { return _count.load(std::memory_order_relaxed); }

 protected:
  CFObject() = default;
  virtual ~CFObject() = default;
  /// Destroys the object; one that is recycled overrides this.
  virtual void lastReferenceGone() noexcept { delete this; }
  /// Gives a recycled object its creation reference again.
  void startNewLife() noexcept { _count.store(1, std::memory_order_relaxed); }

 private:
  mutable std::atomic<std::intptr_t> _count{1};
};

}  // namespace vx
