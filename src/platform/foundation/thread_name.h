// What the system can show of a thread's name.
#pragma once

#include <string_view>

namespace vx {

/// The front of `name` that fits a system thread name: at most 15 bytes, and no character of UTF-8
/// is cut in two.
std::string_view threadNameShown(std::string_view name);

}  // namespace vx
