// Dynamic values: what a frame dictionary, a settings dictionary or a parsed JSON text is made of.
//
// A value is one `Object`, of exactly one kind: null marker, number, text, data, date, array or
// dictionary. Values are cheap to copy (containers and data share their storage, and shared storage
// is never changed) and need no release. "Absent" is always a null pointer or an empty optional and
// never one of the kinds: the null marker is a value of its own.
//
// Thread: values may be read from any number of threads at once.
#pragma once

#include "VXVideoRecorder/platform/foundation/ContainerReference.h"

#include <chrono>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#pragma GCC visibility push(default)

namespace vx {

class Object;

/// The explicit null, as JSON's `null` yields it.
struct NSNull {
  friend bool operator==(NSNull, NSNull) { return true; }
};

/// Types that are written as they are where a number is wanted: arithmetic types and plain
/// enumerations. Pointers are none, so that `{"frameBuffer", pixels}` does not become `true`.
template <typename T>
concept PlainNumber = std::is_arithmetic_v<T> ||
    (std::is_enum_v<T>&& std::is_convertible_v<T, long long>);

/// A number that remembers what it was made from: boolean, signed, unsigned or floating point.
class NSNumber {
 public:
  enum class Kind : std::uint8_t { boolean, signedInteger, unsignedInteger, real };

  template <PlainNumber T>
  NSNumber(T value) : _value(represented(value)) {}

  Kind kind() const { return static_cast<Kind>(_value.index()); }

  /// True when the number is not zero.
  bool boolValue() const;
  /// The number as signed 32 bits: a fraction is dropped, an integer keeps its low 32 bits, and a
  /// floating point value outside the range becomes the nearest end of the range (not a number
  /// becomes 0).
  std::int32_t intValue() const;
  /// Like `intValue`, for the unsigned range; a negative integer keeps its low 32 bits.
  std::uint32_t unsignedIntValue() const;
  /// The number as signed 64 bits, by the same rules.
  std::int64_t integerValue() const;
  /// The number as unsigned 64 bits, by the same rules.
  std::uint64_t unsignedLongLongValue() const;
  double doubleValue() const;
  /// Decimal text: "1" and "0" for booleans, the shortest text that reads back for floating point.
  /// A `float` counts as the `double` of the same value: 3.9f gives "3.9000000953674316".
  std::string stringValue() const;

  /// Equal in value, whatever the kind: NSNumber(1) equals NSNumber(1.0) and NSNumber(true). The
  /// comparison is exact, and not-a-number equals itself, so that a copy equals its original.
  friend bool operator==(const NSNumber& a, const NSNumber& b);

 private:
  using Value = std::variant<bool, std::int64_t, std::uint64_t, double>;
  template <PlainNumber T>
  static Value represented(T value) {
    if constexpr (std::is_enum_v<T>) {
      return represented(static_cast<std::underlying_type_t<T>>(value));
    } else if constexpr (std::same_as<T, bool>) {
      return value;
    } else if constexpr (std::floating_point<T>) {
      return static_cast<double>(value);
    } else if constexpr (std::signed_integral<T>) {
      return static_cast<std::int64_t>(value);
    } else {
      return static_cast<std::uint64_t>(value);
    }
  }
  Value _value;
};

/// Bytes: a copy of its own, or a view of memory that somebody else keeps alive.
class NSData {
 public:
  using Deallocator = std::function<void(void* bytes, std::size_t length)>;

  NSData() = default;
  /// Copies `length` bytes. Null `bytes` make empty data.
  /// Errors: raises `NSMallocException` when there is no memory for them.
  static NSData dataWithBytes(const void* bytes, std::size_t length);
  /// Refers to the caller's bytes without copying. They must stay valid for as long as this value
  /// or a copy of it lives; the recorder keeps none beyond the call that it was given to.
  static NSData dataWithBytesNoCopy(const void* bytes, std::size_t length);
  /// The same, and `deallocator` runs once when the last copy is gone.
  static NSData dataWithBytesNoCopy(void* bytes, std::size_t length, Deallocator deallocator);

  const std::uint8_t* bytes() const { return _bytes; }
  std::size_t length() const { return _length; }
  friend bool operator==(const NSData& a, const NSData& b);

 private:
  const std::uint8_t* _bytes = nullptr;
  std::size_t _length = 0;
  std::shared_ptr<const void> _owner;
};

/// The answer of an ordering.
enum class NSComparisonResult : int { ascending = -1, same = 0, descending = 1 };

/// A moment, in nanoseconds since 1970-01-01 00:00 UTC.
struct NSDate {
  std::chrono::sys_time<std::chrono::nanoseconds> time{};
  NSComparisonResult compare(const NSDate& other) const;
  friend bool operator==(const NSDate&, const NSDate&) = default;
};

/// An ordered list of values.
class NSArray {
 public:
  NSArray() = default;
  NSArray(std::initializer_list<Object> objects);
  explicit NSArray(std::vector<Object> objects);

  std::size_t count() const;
  /// Null when `index` lies outside the list.
  const Object* objectAtIndex(std::size_t index) const;
  const Object* begin() const;
  const Object* end() const;
  friend bool operator==(const NSArray& a, const NSArray& b);

 private:
  ContainerReference _objects;
};

/// Values under text keys, kept in the order in which the keys were first set. The order does not
/// count for equality.
class NSDictionary {
 public:
  using Entry = std::pair<std::string, Object>;

  NSDictionary() = default;
  /// A key given twice keeps its first place and its last value.
  NSDictionary(std::initializer_list<Entry> entries);
  explicit NSDictionary(std::vector<Entry> entries);

  std::size_t count() const;
  /// The value under exactly this key, or null. It stays valid while this dictionary is neither
  /// changed nor destroyed.
  /// Cheap, also with many keys: a few comparisons and no allocation.
  const Object* objectForKey(std::string_view key) const;
  const Entry* begin() const;
  const Entry* end() const;
  std::vector<std::string> allKeys() const;
  friend bool operator==(const NSDictionary& a, const NSDictionary& b);

 protected:
  ContainerReference _entries;
};

/// A dictionary that can be filled step by step. Copies made before a change do not see it.
class NSMutableDictionary : public NSDictionary {
 public:
  using NSDictionary::NSDictionary;
  void setObject(Object object, std::string_view key);
  void removeObjectForKey(std::string_view key);
};

/// Any value. Construction from a plain C++ value is implicit, so that a dictionary can be written
/// as `{{"width", 1920u}, {"isHwDecode", true}, {"frameBuffer", NSData::dataWithBytesNoCopy(p,
/// n)}}`.
class Object {
 public:
  Object() : _value(NSNull{}) {}
  Object(NSNull null) : _value(null) {}
  Object(NSNumber number) : _value(number) {}
  template <PlainNumber T>
  Object(T number) : _value(NSNumber(number)) {}
  Object(std::string text) : _value(std::move(text)) {}
  Object(std::string_view text) : _value(std::string(text)) {}
  /// A null pointer makes the null marker.
  Object(const char* text) {
    if (text != nullptr) {
      _value = std::string(text);
    }
  }
  Object(NSData data) : _value(std::move(data)) {}
  Object(NSDate date) : _value(date) {}
  Object(NSArray array) : _value(std::move(array)) {}
  Object(NSDictionary dictionary) : _value(std::move(dictionary)) {}

  bool isNull() const { return std::holds_alternative<NSNull>(_value); }
  /// The value as this kind, or null when it is of another kind.
  const NSNumber* number() const { return std::get_if<NSNumber>(&_value); }
  const std::string* string() const { return std::get_if<std::string>(&_value); }
  const NSData* data() const { return std::get_if<NSData>(&_value); }
  const NSDate* date() const { return std::get_if<NSDate>(&_value); }
  const NSArray* array() const { return std::get_if<NSArray>(&_value); }
  const NSDictionary* dictionary() const { return std::get_if<NSDictionary>(&_value); }

  /// A text for people: the text itself, the number's decimal text, "<null>", the moment in UTC,
  /// the first bytes of data, containers over several lines. Containers deeper than 64 levels are
  /// shown as dots.
  std::string description() const;
  /// Equal kinds with equal contents, at any depth.
  friend bool operator==(const Object& a, const Object& b);

 private:
  std::variant<NSNull, NSNumber, std::string, NSData, NSDate, NSArray, NSDictionary> _value;
};

/// The default text of an object that has none of its own: `<ClassName: 0x55d0c8a0e2b0>`.
std::string defaultObjectDescription(std::string_view className, const void* object);

/// The platform's text for a list of texts: one quoted text a line, in parentheses.
std::string descriptionOfList(const std::vector<std::string>& texts);

}  // namespace vx

#pragma GCC visibility pop
