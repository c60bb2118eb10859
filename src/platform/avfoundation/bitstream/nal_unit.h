// What stands between a NAL unit (ITU-T H.264, 7.3.1) and its bits.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace vx {

/// The bytes behind a unit's header without those that keep start codes out of it.
std::vector<std::uint8_t> payloadOf(std::span<const std::uint8_t> unit);

/// The other way.
std::vector<std::uint8_t> unitOf(std::uint8_t header, std::span<const std::uint8_t> payload);

}  // namespace vx
