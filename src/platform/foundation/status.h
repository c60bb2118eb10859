// The one error type inside the platform: nothing, or the NSError that a host will see.
#pragma once

#include "VXVideoRecorder/platform/foundation/NSError.h"

#include <memory>
#include <utility>

namespace vx {

/// Success, or why not. A failed status is never dropped unread. Copies share the error, so handing
/// one on never fails for want of memory.
class [[nodiscard]] Status {
 public:
  Status() = default;
  Status(NSError error) : _error(std::make_shared<const NSError>(std::move(error))) {}

  static Status success() { return {}; }
  bool ok() const { return _error == nullptr; }
  explicit operator bool() const { return ok(); }
  /// Only of a failed status.
  const NSError& error() const { return *_error; }

 private:
  std::shared_ptr<const NSError> _error;
};

}  // namespace vx
