// Texts as JSON.
#pragma once

#include "VXVideoRecorder/platform/Foundation.h"

#include <optional>
#include <string_view>

namespace vx {

/// The JSON text parsed, an array or an object at the top; absent when it is malformed.
std::optional<Object> JSONValue(std::string_view text);

}  // namespace vx
