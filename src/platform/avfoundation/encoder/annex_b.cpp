#include "platform/avfoundation/encoder/annex_b.h"

#include "platform/avfoundation/bitstream/big_endian.h"

#include <algorithm>
#include <array>

namespace vx {
namespace {

constexpr std::array<std::uint8_t, 3> kStartCode = {0, 0, 1};

enum UnitType : std::uint8_t { kIdrSlice = 5, kSps = 7, kPps = 8, kDelimiter = 9 };

UnitType typeOf(std::span<const std::uint8_t> unit) { return static_cast<UnitType>(unit[0] & 31); }

// The zeros before a longer start code are no part of the unit before it.
std::span<const std::uint8_t> withoutTrailingZeros(std::span<const std::uint8_t> unit) {
  while (!unit.empty() && unit.back() == 0) {
    unit = unit.first(unit.size() - 1);
  }
  return unit;
}

}  // namespace

void AnnexBReader::read(std::span<const std::uint8_t> stream) {
  _sample.clear();
  _hasKeyFrame = false;
  auto code = std::search(stream.begin(), stream.end(), kStartCode.begin(), kStartCode.end());
  while (code != stream.end()) {
    const auto unit = code + kStartCode.size();
    code = std::search(unit, stream.end(), kStartCode.begin(), kStartCode.end());
    take(withoutTrailingZeros({unit, code}));
  }
}

void AnnexBReader::take(std::span<const std::uint8_t> unit) {
  if (unit.empty()) {
    return;
  }
  switch (typeOf(unit)) {
    case kSps:
      _parameterSets.sps.assign(unit.begin(), unit.end());
      return;
    case kPps:
      _parameterSets.pps.assign(unit.begin(), unit.end());
      return;
    case kDelimiter:
      return;
    case kIdrSlice:
      _hasKeyFrame = true;
      break;
  }
  const auto length = bigEndian(static_cast<std::uint32_t>(unit.size()));
  _sample.insert(_sample.end(), length.begin(), length.end());
  _sample.insert(_sample.end(), unit.begin(), unit.end());
}

}  // namespace vx
