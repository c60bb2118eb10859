// Numbers of any width in bytes, the most significant bit first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace vx {

/// Reads zeros behind the end and remembers that it did.
class BitReader {
 public:
  explicit BitReader(std::span<const std::uint8_t> bytes) : _bytes(bytes) {}

  /// The next number of so many bits, up to 32.
  std::uint32_t get(int bits);
  bool flag() { return get(1) != 0; }
  /// ue(v): ITU-T H.264, 9.1. What has more than 32 bits gives 0 and leaves the reader somewhere.
  std::uint32_t exponentialGolomb();

  /// In bits.
  std::size_t position() const { return _at; }
  bool overrun() const { return _at > _bytes.size() * 8; }

 private:
  std::span<const std::uint8_t> _bytes;
  std::size_t _at = 0;
};

class BitWriter {
 public:
  void put(std::uint32_t value, int bits);
  /// All so far, with zeros up to a whole byte.
  std::vector<std::uint8_t> take() { return std::move(_bytes); }

 private:
  std::vector<std::uint8_t> _bytes;
  int _used = 0;  // bits of the last byte
};

/// Hands bits on as they are.
void copyBits(BitReader& from, std::size_t count, BitWriter& to);

}  // namespace vx
