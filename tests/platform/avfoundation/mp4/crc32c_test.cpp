#include "platform/avfoundation/mp4/crc32c.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string_view>
#include <vector>

namespace vx::mp4::test {
namespace {

std::vector<std::uint8_t> bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

TEST(Crc32c, GivesThePublishedValues) {
  EXPECT_EQ(crc32c({}), 0u);
  EXPECT_EQ(crc32c(bytesOf("123456789")), 0xE3069283u);
  // RFC 3720, B.4
  EXPECT_EQ(crc32c(std::vector<std::uint8_t>(32, 0)), 0x8A9136AAu);
  EXPECT_EQ(crc32c(std::vector<std::uint8_t>(32, 0xFF)), 0x62A8AB43u);
  std::vector<std::uint8_t> rising(32);
  std::iota(rising.begin(), rising.end(), std::uint8_t{0});
  EXPECT_EQ(crc32c(rising), 0x46DD794Eu);
}

TEST(Crc32c, GoesOnFromWhereAPieceEnded) {
  const auto bytes = bytesOf("The quick brown fox jumps over the lazy dog");
  const std::span<const std::uint8_t> all(bytes);
  for (std::size_t cut = 0; cut <= all.size(); ++cut)
    EXPECT_EQ(crc32c(all.subspan(cut), crc32c(all.first(cut))), crc32c(all));
}

TEST(Crc32c, IsTheSameWithAndWithoutTheProcessorsInstruction) {
  std::vector<std::uint8_t> bytes(80);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 151);
  const std::span<const std::uint8_t> all(bytes);
  for (std::size_t start = 0; start < 9; ++start)
    for (std::size_t count = 0; start + count <= all.size(); ++count)
      EXPECT_EQ(crc32c(all.subspan(start, count), 7), crc32cByTables(all.subspan(start, count), 7));
}

}  // namespace
}  // namespace vx::mp4::test
