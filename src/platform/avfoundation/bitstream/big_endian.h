// Numbers as the formats of this folder's neighbours store them.
#pragma once

#include <array>
#include <cstdint>

namespace vx {

/// The most significant byte first.
constexpr std::array<std::uint8_t, 4> bigEndian(std::uint32_t value) {
  return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
          static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

}  // namespace vx
