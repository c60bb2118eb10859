#include "platform/avfoundation/mp4/sps_format.h"

namespace vx::mp4 {

namespace {

constexpr std::size_t kProfileByte = 1;
constexpr std::size_t kFirstCodedByte = 4;  // behind NAL header, profile, constraints, level
constexpr std::uint32_t kChromaFormat444 = 3;

/// Bits of a NAL unit without its emulation prevention bytes; zeros beyond the end.
class BitReader {
 public:
  explicit BitReader(std::span<const std::uint8_t> bytes) : _bytes(bytes) { skipEmulation(); }

  std::uint32_t bit() {
    if (_byte >= _bytes.size()) return 0;
    const std::uint32_t value = _bytes[_byte] >> (7 - _bit) & 1;
    if (++_bit == 8) {
      _bit = 0;
      _zeros = _bytes[_byte] == 0 ? _zeros + 1 : 0;
      ++_byte;
      skipEmulation();
    }
    return value;
  }

  // ue(v): ITU-T H.264, 9.1
  std::uint32_t exponentialGolomb() {
    int zeros = 0;
    while (zeros < 32 && _byte < _bytes.size() && bit() == 0) ++zeros;
    std::uint64_t value = 1;
    for (int i = 0; i < zeros; ++i) value = value << 1 | bit();
    return static_cast<std::uint32_t>(value - 1);
  }

 private:
  void skipEmulation() {
    if (_zeros >= 2 && _byte < _bytes.size() && _bytes[_byte] == 3) {
      ++_byte;
      _zeros = 0;
    }
  }

  std::span<const std::uint8_t> _bytes;
  std::size_t _byte = 0;
  int _bit = 0;
  int _zeros = 0;
};

}  // namespace

bool profileHasFormat(std::uint8_t profile) {
  return profile == 100 || profile == 110 || profile == 122 || profile == 144 || profile == 244;
}

SpsFormat readSpsFormat(std::span<const std::uint8_t> sps) {
  if (sps.size() <= kFirstCodedByte || !profileHasFormat(sps[kProfileByte])) return {};
  BitReader reader(sps.subspan(kFirstCodedByte));
  reader.exponentialGolomb();  // seq_parameter_set_id
  SpsFormat format;
  const std::uint32_t chroma = reader.exponentialGolomb();
  if (chroma == kChromaFormat444) reader.bit();  // separate_colour_plane_flag
  format.chromaFormat = static_cast<std::uint8_t>(chroma & 3);
  format.bitDepthLuma = static_cast<std::uint8_t>(8 + (reader.exponentialGolomb() & 7));
  format.bitDepthChroma = static_cast<std::uint8_t>(8 + (reader.exponentialGolomb() & 7));
  return format;
}

}  // namespace vx::mp4
