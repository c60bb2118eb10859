// JSON text to values.
#pragma once

#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <string>
#include <string_view>
#include <variant>

namespace vx {

/// Why a text is no JSON, for people.
struct JSONFault {
  std::string reason;
};

/// The value that `text` (UTF-8, no byte order mark) describes. `maximumDepth` bounds how deep
/// containers may nest; without `fragmentsAllowed` the top level must be one.
std::variant<Object, JSONFault> readJSON(std::string_view text, std::size_t maximumDepth,
                                         bool fragmentsAllowed);

}  // namespace vx
