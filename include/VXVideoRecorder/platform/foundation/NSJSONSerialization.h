// JSON as data. RFC 8259, UTF-8 without byte order mark.
#pragma once

#include "VXVideoRecorder/platform/foundation/NSError.h"
#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <optional>

namespace vx {

enum NSJSONWritingOptions : unsigned { NSJSONWritingCompact = 0, NSJSONWritingPrettyPrinted = 1 };
enum NSJSONReadingOptions : unsigned {
  NSJSONReadingNone = 0,
  NSJSONReadingFragmentsAllowed = 4,
};

class NSJSONSerialization {
 public:
  /// Containers may nest this deep, in reading and in writing; deeper ones are an error.
  static constexpr std::size_t kMaximumDepth = 512;

  /// True when `dataWithJSONObject` can write `object`: a dictionary or array at the top, below it
  /// only dictionaries, arrays, texts of valid UTF-8, finite numbers and null markers.
  static bool isValidJSONObject(const Object& object);
  /// Writes `object`: members in the dictionary's order, 64-bit integers exactly, floating point
  /// with the fewest digits that read back, booleans as true and false.
  /// Errors: raises `NSInvalidArgumentException` for an object that JSON cannot express.
  static std::optional<NSData> dataWithJSONObject(const Object& object,
                                                  NSJSONWritingOptions options,
                                                  std::optional<NSError>* error = nullptr);
  /// Parses one JSON text. Integers that fit 64 bits stay exact, other numbers become floating
  /// point. Without `NSJSONReadingFragmentsAllowed` the top level must be an array or an object.
  /// Errors: absent, and `error` is filled, for anything malformed, invalid UTF-8, a number beyond
  /// the floating-point range, or nesting beyond `kMaximumDepth`.
  static std::optional<Object> JSONObjectWithData(const NSData& data, NSJSONReadingOptions options,
                                                  std::optional<NSError>* error = nullptr);
};

}  // namespace vx
