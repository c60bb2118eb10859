// What an encoder tells of the video it codes, and a file keeps of it.
#pragma once

#include <cstdint>
#include <vector>

namespace vx {

/// How colours are coded: the numbers of ISO/IEC 23091-2, written alike into the `colr` box and
/// into the parameter sets. Pictures are sRGB, coded in video range by the matrix of ITU-R BT.601.
struct ColourTags {
  std::uint16_t primaries = 1;  // ITU-R BT.709, which sRGB shares
  std::uint16_t transfer = 13;  // IEC 61966-2-1 sRGB
  std::uint16_t matrix = 6;     // ITU-R BT.601
  bool fullRange = false;
  friend bool operator==(const ColourTags&, const ColourTags&) = default;
};

/// The parameter sets without start codes or length prefixes.
struct ParameterSets {
  std::vector<std::uint8_t> sps;
  std::vector<std::uint8_t> pps;
};

}  // namespace vx
