#include "platform/avfoundation/bitstream/nal_unit.h"

namespace vx {
namespace {

constexpr std::uint8_t kEmulationPrevention = 3;
constexpr int kMostZeros =
    2;  // one behind the other; with a third byte up to 3 they mean something

}  // namespace

std::vector<std::uint8_t> payloadOf(std::span<const std::uint8_t> unit) {
  std::vector<std::uint8_t> payload;
  int zeros = 0;
  for (const std::uint8_t byte : unit.subspan(unit.empty() ? 0 : 1)) {
    if (zeros >= kMostZeros && byte == kEmulationPrevention) {
      zeros = 0;
      continue;
    }
    zeros = byte == 0 ? zeros + 1 : 0;
    payload.push_back(byte);
  }
  return payload;
}

std::vector<std::uint8_t> unitOf(std::uint8_t header, std::span<const std::uint8_t> payload) {
  std::vector<std::uint8_t> unit{header};
  int zeros = 0;
  for (const std::uint8_t byte : payload) {
    if (zeros >= kMostZeros && byte <= kEmulationPrevention) {
      unit.push_back(kEmulationPrevention);
      zeros = 0;
    }
    zeros = byte == 0 ? zeros + 1 : 0;
    unit.push_back(byte);
  }
  return unit;
}

}  // namespace vx
