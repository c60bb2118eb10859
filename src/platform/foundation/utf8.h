// Whether bytes are text.
#pragma once

#include <string_view>

namespace vx {

/// True for well-formed UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUTF8(std::string_view text);

}  // namespace vx
