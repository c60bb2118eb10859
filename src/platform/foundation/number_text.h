// Floating-point numbers as text, the same in every locale.
#pragma once

#include <string>

namespace vx {

/// The fewest digits that read back as the same number: "1", "0.1", "-2.5e-07", "1e+20"; without an
/// exponent from 0.0001 up to 17 digits. "nan", "inf", "-inf" for what is no number.
std::string shortestText(double number);

}  // namespace vx
