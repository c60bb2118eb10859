// Numbers and boxes read from bytes that promise too much.
#include "platform/avfoundation/mp4/reader_boxes.h"

#include "memory_file.h"

#include <gtest/gtest.h>

namespace vx::mp4::test {
namespace {

class ReaderInputTest : public testing::Test {
 protected:
  ByteReader reader(std::uint64_t begin, std::uint64_t end) { return {input, begin, end}; }

  Bytes bytes = {1, 2, 3, 4, 5, 6, 7, 8};
  MemoryInput input{bytes};
};

TEST_F(ReaderInputTest, NumbersBeyondTheEndAreZeroAndNotOk) {
  ByteReader numbers = reader(4, 8);
  EXPECT_EQ(numbers.u32(), 0x05060708u);
  EXPECT_TRUE(numbers.ok());
  EXPECT_EQ(numbers.u16(), 0u);
  EXPECT_FALSE(numbers.ok());
}

TEST_F(ReaderInputTest, NothingIsSkippedBeyondTheEnd) {
  ByteReader numbers = reader(0, 6);
  numbers.skip(6);
  EXPECT_TRUE(numbers.ok());
  EXPECT_EQ(numbers.left(), 0u);
  ByteReader beyond = reader(0, 6);
  beyond.skip(7);
  EXPECT_FALSE(beyond.ok());
  EXPECT_EQ(beyond.position(), 6u);
}

TEST_F(ReaderInputTest, NoPlaceBeyondTheEndIsGoneTo) {
  ByteReader numbers = reader(0, 6);
  numbers.seek(6);
  EXPECT_TRUE(numbers.ok());
  numbers.seek(7);
  EXPECT_FALSE(numbers.ok());
  EXPECT_EQ(numbers.position(), 6u);
}

TEST_F(ReaderInputTest, MoreBytesThanThereAreOrAreAllowedAreNone) {
  EXPECT_EQ(reader(2, 8).bytes(6, 6), (Bytes{3, 4, 5, 6, 7, 8}));
  for (const auto& [count, limit] : {std::pair<std::uint64_t, std::size_t>{7, 100}, {6, 5}}) {
    ByteReader numbers = reader(2, 8);
    EXPECT_EQ(numbers.bytes(count, limit), Bytes());
    EXPECT_FALSE(numbers.ok());
  }
}

TEST_F(ReaderInputTest, PartThatBeginsBehindItsEndIsEmpty) {
  EXPECT_EQ(reader(9, 20).left(), 0u);
  EXPECT_EQ(reader(9, 20).position(), 8u);
}

/// The box whose header this is, in a file of so many bytes.
std::optional<FoundBox> boxOf(Bytes header, std::size_t fileBytes) {
  header.resize(fileBytes);
  MemoryInput input(header);
  return BoxReader(input, 0, fileBytes).next();
}

Bytes longHeader(std::uint8_t size) {
  return {0, 0, 0, 1, 'm', 'd', 'a', 't', 0, 0, 0, 0, 0, 0, 0, size};
}

TEST(BoxReader, ReadsASizeOf64Bits) {
  const auto box = boxOf(longHeader(24), 30);
  ASSERT_TRUE(box);
  EXPECT_EQ(box->type, fourCC("mdat"));
  EXPECT_EQ(box->payload, 16u);
  EXPECT_EQ(box->end, 24u);
}

TEST(BoxReader, FindsNoBoxThatIsShorterThanItsHeaderOrLongerThanItsPlace) {
  EXPECT_TRUE(boxOf(longHeader(16), 30));
  EXPECT_FALSE(boxOf(longHeader(15), 30));
  EXPECT_TRUE(boxOf(longHeader(30), 30));
  EXPECT_FALSE(boxOf(longHeader(31), 30));
  EXPECT_FALSE(boxOf({0, 0, 0, 1, 'm', 'd', 'a', 't'}, 12)) << "the size is not all there";
  EXPECT_FALSE(boxOf({0, 0, 0, 7, 'm', 'd', 'a', 't'}, 30));
}

}  // namespace
}  // namespace vx::mp4::test
