#include "platform/avfoundation/mp4/sample_index.h"

#include "platform/avfoundation/mp4/sample_tables.h"
#include "support/box_reader.h"

#include <gtest/gtest.h>

namespace vx::mp4::test {
namespace {

using namespace vx::test;

constexpr std::uint32_t kMax32 = 0xFFFFFFFF;

template <typename Write>
Bytes written(Write write) {
  ByteStream stream;
  write(stream);
  EXPECT_TRUE(stream.finish().ok());
  return stream.bytes();
}

TEST(SampleIndex, ReadsBackWhatWasAppended) {
  const std::vector<IndexedSample> samples = {
      {0, 0, true},     {kMax32, kMax32, false}, {1, kMax32, true}, {4095, 0, false},
      {4096, 0, false}, {127, 1, true},          {128, 16, true}};
  SampleIndex index;
  for (const IndexedSample& sample : samples) index.appendSample(sample);
  SampleIndex::SampleReader reader(index);
  IndexedSample read;
  for (const IndexedSample& sample : samples) {
    ASSERT_TRUE(reader.next(read));
    EXPECT_EQ(read.sizeBytes, sample.sizeBytes);
    EXPECT_EQ(read.delta, sample.delta);
    EXPECT_EQ(read.isKeyFrame, sample.isKeyFrame);
  }
  EXPECT_FALSE(reader.next(read));
  EXPECT_EQ(index.sampleCount(), samples.size());
  EXPECT_EQ(index.keyFrameCount(), 4u);
  EXPECT_EQ(index.span(), 2 * std::int64_t{kMax32} + 17);
}

TEST(SampleIndex, ReadsBackChunksBeyond4GiB) {
  SampleIndex index;
  const std::vector<std::uint64_t> offsets = {48, kMax32, std::uint64_t{kMax32} + 1,
                                              std::uint64_t{1} << 50};
  for (std::uint64_t offset : offsets) index.appendChunk({offset, 2});
  const Bytes bytes = written([&](ByteStream& s) { write_co64(s, index); });
  EXPECT_EQ(parse_co64(readBoxes(bytes).children[0]), offsets);
}

TEST(SampleIndex, IsSmallForADayOfVideo) {
  SampleIndex index;
  constexpr std::uint32_t kSamples = 24 * 3600 * 60;
  std::uint64_t offset = 1000;
  for (std::uint32_t i = 0; i < kSamples; ++i) {
    index.appendSample({20000 + i * 7919 % 30000, i % 3 == 0 ? 17U : 16U, i % 30 == 0});
    if (i % 30 == 0) index.appendChunk({offset += 600000, 30});
  }
  EXPECT_LE(index.memoryBytes(), std::size_t{6} * kSamples);
}

TEST(SampleIndex, IsSmallForADayOfAudio) {
  SampleIndex index;
  constexpr std::uint32_t kSamples = 24 * 3600 * 47;
  for (std::uint32_t i = 0; i < kSamples; ++i) index.appendSample({300 + i % 100, 1024, true});
  EXPECT_LE(index.memoryBytes(), std::size_t{2} * kSamples + 8);
}

TEST(SampleTables, StoreDurationsInRunsAndTheLastOneAsTold) {
  SampleIndex index;
  for (std::uint32_t delta : {0U, 16U, 16U, 17U, 0U, kMax32}) index.appendSample({1, delta, true});
  const Bytes bytes = written([&](ByteStream& s) { write_stts(s, index, kMax32); });
  EXPECT_EQ(parse_stts(readBoxes(bytes).children[0]),
            (std::vector<RunEntry>{{2, 16}, {1, 17}, {1, 0}, {2, kMax32}}));
}

TEST(SampleTables, NameKeyFramesUnlessAllAre) {
  SampleIndex index;
  index.appendSample({1, 0, true});
  EXPECT_TRUE(written([&](ByteStream& s) { write_stss(s, index); }).empty());
  index.appendSample({1, 1, false});
  index.appendSample({1, 1, true});
  const Bytes bytes = written([&](ByteStream& s) { write_stss(s, index); });
  EXPECT_EQ(parse_stss(readBoxes(bytes).children[0]), (std::vector<std::uint32_t>{1, 3}));
}

TEST(SampleTables, StoreChunksOfEqualLengthOnce) {
  SampleIndex index;
  for (std::uint32_t count : {5U, 5U, 4U, 5U}) index.appendChunk({100, count});
  const Bytes bytes = written([&](ByteStream& s) { write_stsc(s, index); });
  EXPECT_EQ(parse_stsc(readBoxes(bytes).children[0]),
            (std::vector<ChunkRun>{{1, 5, 1}, {3, 4, 1}, {4, 5, 1}}));
}

TEST(SampleTables, StoreEverySize) {
  SampleIndex index;
  for (std::uint32_t size : {0U, 1U, kMax32}) index.appendSample({size, 1, true});
  const Bytes bytes = written([&](ByteStream& s) { write_stsz(s, index); });
  EXPECT_EQ(parse_stsz(readBoxes(bytes).children[0]), (std::vector<std::uint32_t>{0, 1, kMax32}));
}

TEST(SampleTables, TakeNoMoreThanWasSaid) {
  // As badly as it gets: no two durations and no two chunks are alike, and all but one are key
  // frames.
  SampleIndex index;
  const std::uint64_t empty = written([&](ByteStream& s) {
                                write_stts(s, index, 0);
                                write_stsc(s, index);
                                write_stsz(s, index);
                                write_co64(s, index);
                              }).size() +
                              16;  // stss, which nothing needs yet
  for (std::uint32_t i = 0; i < 1000; ++i) {
    index.appendSample({1, i, i != 7});
    index.appendChunk({i * std::uint64_t{100}, 1 + i % 2});
  }
  const Bytes bytes = written([&](ByteStream& s) {
    write_stts(s, index, 5000);
    write_stss(s, index);
    write_stsc(s, index);
    write_stsz(s, index);
    write_co64(s, index);
  });
  EXPECT_LE(bytes.size() - empty, sampleTablesBytesAtMost({1000, 999, 1000}));
}

TEST(SampleTables, OfNothingAreEmpty) {
  const SampleIndex index;
  const Bytes bytes = written([&](ByteStream& s) { write_stts(s, index, 9); });
  EXPECT_TRUE(parse_stts(readBoxes(bytes).children[0]).empty());
}

}  // namespace
}  // namespace vx::mp4::test
