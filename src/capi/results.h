// Where exceptions end: every call of the C interface runs its body through `guarded`.
#pragma once

#include "VXVideoRecorder/capi.h"

#include <string_view>

namespace vx::capi {

/// Keeps the text for `vx_last_error` of this thread and answers `result`.
vx_result fail(vx_result result, std::string_view text) noexcept;

/// The text of `vx_last_error`; valid until the next `fail` on this thread.
const char* lastErrorText() noexcept;

/// The exception that is being handled, as a result with a text. Only within a catch block.
vx_result failWithCurrentException() noexcept;

/// Runs `body`, which answers a result, and turns whatever it throws into one.
template <typename Body>
vx_result guarded(const Body& body) noexcept {
  try {
    return body();
  } catch (...) {
    return failWithCurrentException();
  }
}

}  // namespace vx::capi
