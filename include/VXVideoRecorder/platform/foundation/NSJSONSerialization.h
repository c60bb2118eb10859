// JSON as data: RFC 8259 in UTF-8. A byte order mark in front is skipped and never written.
#pragma once

#include "VXVideoRecorder/platform/foundation/NSError.h"
#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <optional>

#pragma GCC visibility push(default)

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
  /// with the fewest digits that read back, booleans as true and false. 1.0 is written as 1 and
  /// reads back as an integer of the same value.
  /// Errors: a value that JSON does not have is wrong use and raises `NSInvalidArgumentException`:
  /// data, a date, not-a-number, infinity, and anything but a container at the top. What JSON has
  /// but cannot carry makes the answer absent and fills `error`: text or keys that are not valid
  /// UTF-8, nesting beyond `kMaximumDepth`, no memory. The first such value in order decides.
  static std::optional<NSData> dataWithJSONObject(const Object& object,
                                                  NSJSONWritingOptions options,
                                                  std::optional<NSError>* error = nullptr);
  /// Parses one JSON text. Integers that fit 64 bits, signed or unsigned, stay exact; other numbers
  /// become the nearest floating-point number, and -0 keeps its sign as one. Of a repeated key the
  /// last value counts. Without `NSJSONReadingFragmentsAllowed` the top level must be an array or
  /// an object. Errors: absent, and `error` is filled, for anything malformed, anything after the
  /// value, invalid UTF-8, lone surrogates, a number beyond the floating-point range (as is any
  /// with an exponent above 308), or nesting beyond `kMaximumDepth`. Thread: any, for all of these.
  static std::optional<Object> JSONObjectWithData(const NSData& data, NSJSONReadingOptions options,
                                                  std::optional<NSError>* error = nullptr);
};

}  // namespace vx

#pragma GCC visibility pop
