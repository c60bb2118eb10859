#include "platform/avfoundation/mp4/crc32c.h"

#if defined(__x86_64__)
#include <nmmintrin.h>
#endif

#include <array>
#include <cstring>

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

// All of these go on from `crc`, not inverted.
std::uint32_t byTables(std::span<const std::uint8_t> bytes, std::uint32_t crc) {
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
  return crc;
}

#if defined(__x86_64__)
constexpr std::size_t kWord = sizeof(std::uint64_t);

// Every coded byte passes through here: the processor's own instruction takes eight at once.
[[gnu::target("sse4.2")]] std::uint32_t byInstruction(std::span<const std::uint8_t> bytes,
                                                      std::uint32_t crc) {
  std::uint64_t wide = crc;
  for (; bytes.size() >= kWord; bytes = bytes.subspan(kWord)) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes.data(), kWord);
    wide = _mm_crc32_u64(wide, word);
  }
  return byTables(bytes, static_cast<std::uint32_t>(wide));
}
#endif

using Update = std::uint32_t (*)(std::span<const std::uint8_t> bytes, std::uint32_t crc);

Update fastestUpdate() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("sse4.2")) return byInstruction;
#endif
  return byTables;
}

}  // namespace

std::uint32_t crc32c(std::span<const std::uint8_t> bytes, std::uint32_t previous) {
  static const Update update = fastestUpdate();
  return ~update(bytes, ~previous);
}

std::uint32_t crc32cByTables(std::span<const std::uint8_t> bytes, std::uint32_t previous) {
  return ~byTables(bytes, ~previous);
}

}  // namespace vx::mp4
