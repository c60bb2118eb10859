// Regular expressions over UTF-8 texts. Thread: any; no call blocks.
#pragma once

#include "VXVideoRecorder/platform/foundation/NSError.h"

#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>

#pragma GCC visibility push(default)

namespace vx {

inline constexpr std::size_t NSNotFound = std::numeric_limits<std::size_t>::max();

/// A range of bytes.
struct NSRange {
  std::size_t location = 0;
  std::size_t length = 0;
  friend bool operator==(const NSRange&, const NSRange&) = default;
};

enum NSRegularExpressionOptions : unsigned { NSRegularExpressionCaseInsensitive = 1 };

class NSRegularExpression {
 public:
  /// Absent, with `error` filled, when the pattern is malformed.
  static std::optional<NSRegularExpression> regularExpressionWithPattern(
      std::string_view pattern, NSRegularExpressionOptions options,
      std::optional<NSError>* error = nullptr);
  /// The first match within `range` of `text`; location `NSNotFound` and length 0 without one. A
  /// text that is not UTF-8 is matched byte by byte. A search that does not come to an end within
  /// a bound counts as having none.
  NSRange rangeOfFirstMatchInString(std::string_view text, NSRange range) const;

 private:
  struct Compiled;
  std::shared_ptr<const Compiled> _compiled;
};

}  // namespace vx

#pragma GCC visibility pop
