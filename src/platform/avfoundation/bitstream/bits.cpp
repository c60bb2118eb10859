#include "platform/avfoundation/bitstream/bits.h"

#include <algorithm>

namespace vx {
namespace {

constexpr int kByte = 8;
constexpr int kWidest = 32;

}  // namespace

std::uint32_t BitReader::get(int bits) {
  std::uint32_t value = 0;
  for (int i = 0; i < bits; ++i, ++_at) {
    const std::size_t byte = _at / kByte;
    const std::uint32_t bit =
        byte < _bytes.size() ? _bytes[byte] >> (kByte - 1 - _at % kByte) & 1u : 0;
    value = value << 1 | bit;
  }
  return value;
}

std::uint32_t BitReader::exponentialGolomb() {
  int zeros = 0;
  while (!overrun() && !flag()) {
    ++zeros;
  }
  return zeros < kWidest ? (1u << zeros) - 1 + get(zeros) : 0;
}

void BitWriter::put(std::uint32_t value, int bits) {
  for (int bit = bits - 1; bit >= 0; --bit) {
    if (_used % kByte == 0) {
      _bytes.push_back(0);
      _used = 0;
    }
    ++_used;
    _bytes.back() |= static_cast<std::uint8_t>((value >> bit & 1) << (kByte - _used));
  }
}

void copyBits(BitReader& from, std::size_t count, BitWriter& to) {
  while (count > 0) {
    const int bits = static_cast<int>(std::min<std::size_t>(count, kWidest));
    to.put(from.get(bits), bits);
    count -= static_cast<std::size_t>(bits);
  }
}

}  // namespace vx
