// The free-space floor: the rule that needs no recorder.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vx::storage {

/// Whether a recording may count as safe: strictly more than the floor is free.
constexpr bool isEnoughSpace(std::uint64_t freeBytes, std::uint64_t floorBytes) {
  return freeBytes > floorBytes;
}

/// The log line for a query that failed; `className` alone stands in its brackets.
std::string diskInformationErrorLine(std::string_view className, std::string_view domain,
                                     std::int64_t code);

}  // namespace vx::storage
