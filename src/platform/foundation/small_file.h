// Configuration files, which are small, whole.
#pragma once

#include <optional>
#include <string>

namespace vx {

/// The bytes of a regular file of at most 1 MiB. Absent when it cannot be read, is larger, or is
/// something that reading could block on.
std::optional<std::string> contentsOfSmallFile(const std::string& path);

}  // namespace vx
