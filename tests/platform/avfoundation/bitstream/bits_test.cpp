#include "platform/avfoundation/bitstream/bits.h"

#include "platform/avfoundation/bitstream/big_endian.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vx {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

TEST(BigEndian, PutsTheMostSignificantByteFirst) {
  EXPECT_THAT(bigEndian(0x01020384), ElementsAre(1, 2, 3, 0x84));
}

TEST(BitReader, TakesTheMostSignificantBitFirst) {
  const Bytes bytes{0b10110001, 0x7F, 0xFF, 0xFF, 0xFE};
  BitReader bits(bytes);
  EXPECT_TRUE(bits.flag());
  EXPECT_EQ(bits.get(3), 0b011u);
  EXPECT_EQ(bits.get(0), 0u);
  EXPECT_EQ(bits.get(4), 1u);
  EXPECT_EQ(bits.get(32), 0x7FFFFFFEu);
  EXPECT_EQ(bits.position(), 40u);
}

TEST(BitReader, ReadsZerosBehindTheEndAndRemembersIt) {
  const Bytes bytes{0xFF};
  BitReader bits(bytes);
  bits.get(8);
  EXPECT_FALSE(bits.overrun());
  EXPECT_EQ(bits.get(5), 0u);
  EXPECT_TRUE(bits.overrun());
}

TEST(BitReader, ReadsExponentialGolombCodes) {
  const Bytes bytes{0b10100110, 0b01000010, 0b10000000};  // 1 010 011 00100 00101
  BitReader bits(bytes);
  for (const std::uint32_t expected : {0u, 1u, 2u, 3u, 4u}) {
    EXPECT_EQ(bits.exponentialGolomb(), expected);
  }
  EXPECT_EQ(bits.position(), 17u);
}

TEST(BitReader, ReadsExponentialGolombCodesUpTo32Bits) {
  const Bytes largest{0, 0, 0, 0b1, 0xFF, 0xFF, 0xFF, 0xFE};  // 31 zeros
  EXPECT_EQ(BitReader(largest).exponentialGolomb(), 0xFFFFFFFEu);
  const Bytes tooLarge{0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  EXPECT_EQ(BitReader(tooLarge).exponentialGolomb(), 0u);
}

TEST(BitReader, EndsACodeThatIsCut) {
  const Bytes bytes{0};
  BitReader bits(bytes);
  bits.exponentialGolomb();
  EXPECT_TRUE(bits.overrun());
}

TEST(BitWriter, FillsTheLastByteWithZeros) {
  BitWriter bits;
  bits.put(1, 1);
  bits.put(0b011, 3);
  bits.put(0xFFFFFFFF, 7);  // the lowest seven of them
  EXPECT_THAT(bits.take(), ElementsAre(0b10111111, 0b11100000));
  EXPECT_THAT(BitWriter().take(), IsEmpty());
}

TEST(CopyBits, TakesAnyNumberFromAnyPlace) {
  Bytes bytes(40);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(i * 37 + 11);
  }
  for (const std::size_t count : {0u, 1u, 31u, 32u, 33u, 100u, 300u}) {
    BitReader from(bytes);
    from.get(5);
    BitWriter to;
    copyBits(from, count, to);
    EXPECT_EQ(from.position(), 5 + count);
    const Bytes copy = to.take();
    ASSERT_EQ(copy.size(), (count + 7) / 8);
    BitReader expected(bytes);
    expected.get(5);
    BitReader copied(copy);
    for (std::size_t i = 0; i < count; ++i) {
      ASSERT_EQ(copied.flag(), expected.flag()) << i << " of " << count;
    }
  }
}

}  // namespace
}  // namespace vx
