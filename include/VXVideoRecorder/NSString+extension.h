// Texts as JSON. Thread: any; no call blocks.
#pragma once

#include "VXVideoRecorder/platform/Foundation.h"

#include <optional>
#include <string_view>

#pragma GCC visibility push(default)

namespace vx {

/// The JSON text parsed, an array or an object at the top; absent when it is malformed.
/// `NSJSONSerialization::JSONObjectWithData` tells what counts as malformed, and why a text was.
/// Errors: never raises.
std::optional<Object> JSONValue(std::string_view text);

}  // namespace vx

#pragma GCC visibility pop
