#include "VXVideoRecorder/platform/CoreFoundation.h"
#include "platform/foundation/number_text.h"

#include <cmath>
#include <limits>

namespace vx {
namespace {

// 2^63 and 2^64: the first floating-point numbers above the 64-bit ranges, both exact.
constexpr double kAboveSigned = 9223372036854775808.0;
constexpr double kAboveUnsigned = 18446744073709551616.0;

template <std::integral To>
To converted(bool value) {
  return value ? 1 : 0;
}

template <std::integral To, std::integral From>
To converted(From value) {
  return static_cast<To>(value);  // keeps the low bits
}

template <std::integral To>
To converted(double value) {
  using Limits = std::numeric_limits<To>;
  constexpr double kLowest = static_cast<double>(Limits::min());
  // One above the maximum, which is exact where the maximum itself would be rounded.
  constexpr To kHalf = Limits::max() / 2 + 1;
  constexpr double kAbove = static_cast<double>(kHalf) * 2;
  if (std::isnan(value)) {
    return 0;
  }
  if (value < kLowest) {
    return Limits::min();
  }
  return value >= kAbove ? Limits::max() : static_cast<To>(value);
}

bool equalNumbers(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

template <std::integral A, std::integral B>
bool equalNumbers(A a, B b) {
  if constexpr (std::same_as<A, bool>) {
    return equalNumbers(static_cast<std::int64_t>(a), b);
  } else if constexpr (std::same_as<B, bool>) {
    return equalNumbers(a, static_cast<std::int64_t>(b));
  } else {
    return std::cmp_equal(a, b);
  }
}

// Exact: the floating-point number is brought to the integer's side, never the other way round.
template <std::integral A>
bool equalNumbers(A a, double b) {
  if (!(b >= -kAboveSigned && b < kAboveUnsigned) || b != std::trunc(b)) {
    return false;
  }
  return b < 0 ? equalNumbers(a, static_cast<std::int64_t>(b))
               : equalNumbers(a, static_cast<std::uint64_t>(b));
}

template <std::integral B>
bool equalNumbers(double a, B b) {
  return equalNumbers(b, a);
}

template <typename T>
bool store(const NSNumber& number, T converted, void* value) {
  *static_cast<T*>(value) = converted;
  return NSNumber(converted) == number;
}

}  // namespace

bool NSNumber::boolValue() const {
  return std::visit([](auto value) { return value != 0; }, _value);
}

std::int32_t NSNumber::intValue() const {
  return std::visit([](auto value) { return converted<std::int32_t>(value); }, _value);
}

std::uint32_t NSNumber::unsignedIntValue() const {
  return std::visit([](auto value) { return converted<std::uint32_t>(value); }, _value);
}

std::int64_t NSNumber::integerValue() const {
  return std::visit([](auto value) { return converted<std::int64_t>(value); }, _value);
}

std::uint64_t NSNumber::unsignedLongLongValue() const {
  return std::visit([](auto value) { return converted<std::uint64_t>(value); }, _value);
}

double NSNumber::doubleValue() const {
  return std::visit([](auto value) { return static_cast<double>(value); }, _value);
}

std::string NSNumber::stringValue() const {
  switch (kind()) {
    case Kind::boolean:
      return std::get<bool>(_value) ? "1" : "0";
    case Kind::signedInteger:
      return std::to_string(std::get<std::int64_t>(_value));
    case Kind::unsignedInteger:
      return std::to_string(std::get<std::uint64_t>(_value));
    case Kind::real:
      break;
  }
  return shortestText(std::get<double>(_value));
}

bool operator==(const NSNumber& a, const NSNumber& b) {
  return std::visit([](auto x, auto y) { return equalNumbers(x, y); }, a._value, b._value);
}

bool CFNumberGetValue(const NSNumber& number, CFNumberType type, void* value) {
  switch (type) {
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
      return store(number, number.intValue(), value);
    case kCFNumberSInt64Type:
      return store(number, number.integerValue(), value);
    case kCFNumberDoubleType:
      return store(number, number.doubleValue(), value);
  }
  return false;
}

}  // namespace vx
