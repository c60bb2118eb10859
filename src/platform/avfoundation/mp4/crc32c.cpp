#include "platform/avfoundation/mp4/crc32c.h"

#include <array>

namespace vx::mp4 {

namespace {

constexpr std::uint32_t kPolynomial = 0x82F63B78;  // bit-reversed 0x1EDC6F41
constexpr std::size_t kSlices = 8;
using Tables = std::array<std::array<std::uint32_t, 256>, kSlices>;

// tables[k][b]: what byte b adds when k more bytes follow it, so eight bytes are one step.
constexpr Tables makeTables() {
  Tables tables{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? kPolynomial : 0);
    tables[0][byte] = crc;
  }
  for (std::size_t k = 1; k < kSlices; ++k)
    for (std::uint32_t byte = 0; byte < 256; ++byte)
      tables[k][byte] = tables[k - 1][byte] >> 8 ^ tables[0][tables[k - 1][byte] & 0xFF];
  return tables;
}

constexpr Tables kTables = makeTables();

}  // namespace

std::uint32_t crc32c(std::span<const std::uint8_t> bytes, std::uint32_t previous) {
  std::uint32_t crc = ~previous;
  std::size_t i = 0;
  for (; i + kSlices <= bytes.size(); i += kSlices) {
    std::uint32_t next = 0;
    for (std::size_t k = 0; k < kSlices; ++k) {
      const std::uint32_t fromCrc = k < 4 ? crc >> (8 * k) & 0xFF : 0;
      next ^= kTables[kSlices - 1 - k][bytes[i + k] ^ fromCrc];
    }
    crc = next;
  }
  for (; i < bytes.size(); ++i) crc = crc >> 8 ^ kTables[0][(crc ^ bytes[i]) & 0xFF];
  return ~crc;
}

}  // namespace vx::mp4
