// What the finished file's tables are made from, kept small: a day at 60 pictures a second is some
// 20 MB.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace vx::mp4 {

/// Numbers in 7 bits a byte, in blocks: growing neither copies nor doubles what is there.
class VarintLog {
 public:
  static constexpr std::size_t kMaxBytesPerValue = 10;

  void append(std::uint64_t value);
  /// Makes room, so that appending this many values cannot fail for want of memory.
  void reserve(std::size_t valueCount);
  std::size_t sizeBytes() const { return _size; }

  class Reader {
   public:
    explicit Reader(const VarintLog& log) : _log(log) {}
    bool atEnd() const { return _position == _log._size; }
    std::uint64_t next();

   private:
    const VarintLog& _log;
    std::size_t _position = 0;
  };

 private:
  static constexpr std::size_t kBlockBytes = std::size_t{1} << 16;
  using Block = std::array<std::uint8_t, kBlockBytes>;

  std::vector<std::unique_ptr<Block>> _blocks;
  std::size_t _size = 0;
};

struct IndexedSample {
  std::uint32_t sizeBytes = 0;
  std::uint32_t delta = 0;  // units of the track since the previous sample; 0 for the first
  bool isKeyFrame = true;
};

/// Samples of one track that lie in one piece, one after the other, in the file.
struct IndexedChunk {
  std::uint64_t offset = 0;
  std::uint32_t sampleCount = 0;
};

/// The samples and chunks of one track in file order.
class SampleIndex {
 public:
  /// Makes room for these samples and one chunk: appending them cannot fail then.
  void reserve(std::size_t sampleCount);
  void appendSample(const IndexedSample& sample);
  /// `offset` must not be smaller than that of the chunk before.
  void appendChunk(const IndexedChunk& chunk);

  std::uint64_t sampleCount() const { return _sampleCount; }
  std::uint64_t keyFrameCount() const { return _keyFrameCount; }
  std::uint64_t chunkCount() const { return _chunkCount; }
  std::uint64_t totalBytes() const { return _totalBytes; }
  /// Time from the first to the last sample.
  std::int64_t span() const { return _span; }
  std::size_t memoryBytes() const { return _samples.sizeBytes() + _chunks.sizeBytes(); }

  class SampleReader {
   public:
    explicit SampleReader(const SampleIndex& index) : _reader(index._samples) {}
    bool next(IndexedSample& sample);

   private:
    VarintLog::Reader _reader;
    std::uint32_t _delta = 0;
  };

  class ChunkReader {
   public:
    explicit ChunkReader(const SampleIndex& index) : _reader(index._chunks) {}
    bool next(IndexedChunk& chunk);

   private:
    VarintLog::Reader _reader;
    std::uint64_t _offset = 0;
  };

 private:
  VarintLog _samples;
  VarintLog _chunks;
  std::uint64_t _sampleCount = 0;
  std::uint64_t _keyFrameCount = 0;
  std::uint64_t _chunkCount = 0;
  std::uint64_t _totalBytes = 0;
  std::uint64_t _lastChunkOffset = 0;
  std::int64_t _span = 0;
  std::uint32_t _lastDelta = 0;
};

}  // namespace vx::mp4
