// Values to JSON text.
#pragma once

#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <optional>
#include <string>

namespace vx {

/// Why a value cannot be written as JSON.
struct JSONRefusal {
  enum class Kind {
    inexpressible,  // a value that JSON does not have: wrong use
    malformed,      // values that JSON has, but not like this: text that is none, too much nesting
  };
  Kind kind;
  std::string reason;
};

/// The first reason in reading order; absent when `object` can be written.
std::optional<JSONRefusal> whyNotJSON(const Object& object, std::size_t maximumDepth);

/// `object` as text; with `pretty` two blanks deeper at each level. Only of an object that can be
/// written.
std::string writtenJSON(const Object& object, bool pretty);

}  // namespace vx
