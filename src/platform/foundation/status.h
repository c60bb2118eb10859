// The one error type inside the platform: nothing, or the NSError that a host will see.
#pragma once

#include "VXVideoRecorder/platform/foundation/NSError.h"

#include <optional>
#include <utility>

namespace vx {

/// Success, or why not. A failed status is never dropped unread.
class [[nodiscard]] Status {
 public:
  Status() = default;
  Status(NSError error) : _error(std::move(error)) {}

  static Status success() { return {}; }
  bool ok() const { return !_error.has_value(); }
  explicit operator bool() const { return ok(); }
  /// Only of a failed status.
  const NSError& error() const { return *_error; }

 private:
  std::optional<NSError> _error;
};

}  // namespace vx
