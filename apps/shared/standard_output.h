// What the programs answer on standard output.
#pragma once

#include <string_view>

namespace vxapps {

/// Writes all of `text` now. Where standard output does not take it (a full disk, a reader that has
/// gone), `program` says so on standard error, and the answer is false: who waits for the text must
/// learn that it is not there.
[[nodiscard]] bool printAll(const char* program, std::string_view text);

}  // namespace vxapps
