#include "platform/foundation/number_text.h"

#include <array>
#include <charconv>
#include <cmath>

namespace vx {

std::string shortestText(double number) {
  constexpr double kSmallestWithoutExponent = 1e-4;
  constexpr double kFirstWithExponent = 1e17;
  if (std::isnan(number)) {
    return "nan";  // without the sign that some not-a-numbers carry
  }
  const double magnitude = std::fabs(number);
  const bool fixed = magnitude == 0 || std::isinf(number) ||
                     (magnitude >= kSmallestWithoutExponent && magnitude < kFirstWithExponent);
  std::array<char, 40> text;  // sign, 17 digits, point, exponent or leading zeros
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number,
                                 fixed ? std::chars_format::fixed : std::chars_format::scientific);
  return std::string(text.data(), end.ptr);
}

}  // namespace vx
