#include "platform/avfoundation/mp4/byte_stream.h"

#include "support/box_reader.h"

#include <gtest/gtest.h>

#include <new>

namespace vx::mp4::test {
namespace {

using vx::test::Bytes;

/// Pieces put together again, as a file would.
struct Pieces {
  Bytes bytes;
  std::size_t writes = 0;
  ByteStream::Drain drain() {
    return [this](std::uint64_t position, std::span<const std::uint8_t> piece) {
      bytes.resize(std::max<std::size_t>(bytes.size(), position + piece.size()));
      std::copy(piece.begin(), piece.end(), bytes.begin() + static_cast<std::ptrdiff_t>(position));
      ++writes;
      return Status();
    };
  }
};

TEST(ByteStream, PutsNumbersBigEndian) {
  ByteStream stream;
  stream.put8(0x01);
  stream.put16(0x0203);
  stream.put24(0x040506);
  stream.put32(0x0708090A);
  stream.put64(0x0B0C0D0E0F101112);
  Bytes expected(18);
  for (std::size_t i = 0; i < expected.size(); ++i) expected[i] = static_cast<std::uint8_t>(i + 1);
  EXPECT_EQ(stream.bytes(), expected);
}

TEST(ByteStream, PatchesTheSizesOfNestedBoxesWhenTheyClose) {
  ByteStream stream;
  {
    Box outer(stream, "moov");
    FullBox inner(stream, "mvhd", 1, 0x020304);
    stream.put16(0xFFFF);
  }
  EXPECT_EQ(stream.bytes(), (Bytes{0,  0,   0,   22,  'm', 'o', 'o', 'v', 0, 0,    0,
                                   14, 'm', 'v', 'h', 'd', 1,   2,   3,   4, 0xFF, 0xFF}));
}

TEST(ByteStream, PatchesTheNumberOfEntries) {
  ByteStream stream;
  {
    EntryCount count(stream);
    for (std::uint8_t i = 0; i < 3; ++i) {
      stream.put8(i);
      count.add();
    }
  }
  EXPECT_EQ(stream.bytes(), (Bytes{0, 0, 0, 3, 0, 1, 2}));
}

TEST(ByteStream, WritesADescriptorsSizeInSevenBitsAByte) {
  ByteStream stream;
  {
    Descriptor descriptor(stream, 5);
    stream.putZeros(300);
  }
  const Bytes head(stream.bytes().begin(), stream.bytes().begin() + 5);
  EXPECT_EQ(head, (Bytes{5, 0x80, 0x80, 0x82, 0x2C}));
}

TEST(ByteStream, WritesADescriptorsSizeUpToItsFourthByte) {
  ByteStream stream;
  {
    Descriptor descriptor(stream, 5);
    stream.putBytes(Bytes(3000000));
  }
  const Bytes head(stream.bytes().begin(), stream.bytes().begin() + 5);
  EXPECT_EQ(head, (Bytes{5, 0x81, 0xB7, 0x8D, 0x40}));
}

TEST(ByteStream, PatchesWhatWasHandedOnAlready) {
  Pieces pieces;
  ByteStream stream(pieces.drain());
  {
    Box box(stream, "free");
    const Bytes chunk(1000, 0xAB);
    for (int i = 0; i < 3000; ++i) stream.putBytes(chunk);
  }
  ASSERT_TRUE(stream.finish().ok());
  EXPECT_GT(pieces.writes, 2u);
  const vx::test::BoxNode root = vx::test::readBoxes(pieces.bytes);
  ASSERT_EQ(root.children.size(), 1u);
  EXPECT_EQ(root.children[0].sizeBytes, 3000008u);
  EXPECT_FALSE(root.children[0].isTorn);
}

TEST(ByteStream, PatchesAPlaceThatStandsAcrossTwoPieces) {
  for (std::size_t before = (1 << 20) - 6; before <= (1 << 20) + 1; ++before) {
    Pieces pieces;
    ByteStream stream(pieces.drain());
    stream.putBytes(Bytes(before / 2));
    stream.putBytes(Bytes(before - before / 2));
    const std::uint64_t position = stream.position();
    for (int i = 0; i < 4; ++i) stream.put8(0);  // one by one: the border may lie between them
    stream.put8(7);
    stream.patch32(position, 0x01020304);
    ASSERT_TRUE(stream.finish().ok());
    EXPECT_EQ(Bytes(pieces.bytes.end() - 5, pieces.bytes.end()), (Bytes{1, 2, 3, 4, 7}));
  }
}

TEST(ByteStream, FailsWhenABoxGrowsBeyond32Bits) {
  constexpr std::size_t kChunk = std::size_t{1} << 24;
  const Bytes chunk(kChunk);
  std::uint64_t drained = 0;
  ByteStream stream([&](std::uint64_t, std::span<const std::uint8_t> piece) {
    drained += piece.size();
    return Status();
  });
  {
    Box box(stream, "free");
    for (int i = 0; i < 256; ++i) stream.putBytes(chunk);
  }
  EXPECT_FALSE(stream.finish().ok());
  EXPECT_GE(drained, std::uint64_t{1} << 32);
}

TEST(ByteStream, FailsWhenADescriptorGrowsBeyond28Bits) {
  const Bytes chunk(std::size_t{1} << 24);
  const auto statusWith = [&](std::size_t lastBytes) {
    ByteStream stream([](std::uint64_t, std::span<const std::uint8_t>) { return Status(); });
    {
      Descriptor descriptor(stream, 5);
      for (int i = 0; i < 15; ++i) stream.putBytes(chunk);
      stream.putBytes(std::span(chunk).first(lastBytes));
    }
    return stream.finish().ok();
  };
  EXPECT_TRUE(statusWith(chunk.size() - 1));
  EXPECT_FALSE(statusWith(chunk.size()));
}

TEST(ByteStream, TellsAtTheEndThatMemoryWasShortForAPatch) {
  ByteStream stream([](std::uint64_t, std::span<const std::uint8_t> piece) -> Status {
    if (piece.size() == 4) throw std::bad_alloc();
    return {};
  });
  {
    Box box(stream, "free");
    stream.putBytes(Bytes(2 << 20));  // handed on, so that the size is patched in the file
  }
  EXPECT_THROW(static_cast<void>(stream.finish()), std::bad_alloc);
}

TEST(ByteStream, KeepsTheFirstFailureAndPutsNothingAfterIt) {
  int calls = 0;
  ByteStream stream([&](std::uint64_t, std::span<const std::uint8_t>) -> Status {
    return NSError("test", ++calls, "full");
  });
  for (int i = 0; i < 3; ++i) stream.putBytes(Bytes(2 << 20));
  const Status status = stream.finish();
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(status.error().code(), 1);
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace vx::mp4::test
