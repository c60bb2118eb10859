// What a text means where a number or a boolean is wanted.
#pragma once

#include <cstdint>
#include <string_view>

namespace vx {

/// After white space, an optional sign and zeros: one of Y, y, T, t or a digit 1 to 9.
bool boolValueOfText(std::string_view text);
/// The decimal number after white space, up to the first other character; 0 when there is none, and
/// the nearest end of the range when it lies beyond.
std::int32_t intValueOfText(std::string_view text);

}  // namespace vx
