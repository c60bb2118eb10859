// A sequence parameter set, read as far as anything here needs it. ITU-T H.264, 7.3.2.1.1 and E.1.1
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace vx {

/// Whether this profile's parameter sets say their format, so that a file's description of them has
/// to as well.
bool profileHasFormat(std::uint8_t profile);

struct SpsFormat {
  std::uint8_t chromaFormat = 1;  // 4:2:0
  std::uint8_t bitDepthLuma = 8;
  std::uint8_t bitDepthChroma = 8;
};

/// Where flags stand, in bits of the payload.
struct SpsPlaces {
  std::size_t vuiFlag = 0;
  bool hasVui = false;
  std::size_t timingFlag = 0;  // in the VUI
  bool hasTiming = false;
  std::size_t fixedRateFlag = 0;  // in the timing
  bool isFixedRate = false;
};

struct Sps {
  SpsFormat format;
  /// Absent in what no encoder here makes (scaling matrices, picture order counts with a table of
  /// their own), and in what is cut.
  std::optional<SpsPlaces> places;
};

/// `payload`: what `payloadOf` makes of the unit.
Sps readSps(std::span<const std::uint8_t> payload);

}  // namespace vx
