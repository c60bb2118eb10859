// CRC32C (Castagnoli), the checksum of the fragments.
#pragma once

#include <cstdint>
#include <span>

namespace vx::mp4 {

/// The checksum of the bytes that gave `previous`, followed by `bytes`.
std::uint32_t crc32c(std::span<const std::uint8_t> bytes, std::uint32_t previous = 0);

/// The same on processors that have no instruction for it.
std::uint32_t crc32cByTables(std::span<const std::uint8_t> bytes, std::uint32_t previous = 0);

}  // namespace vx::mp4
