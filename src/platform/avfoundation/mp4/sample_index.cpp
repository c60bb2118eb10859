#include "platform/avfoundation/mp4/sample_index.h"

namespace vx::mp4 {

namespace {

// The low bits of a sample's first number; its size stands above them. A delta follows only where
// it differs from the one before, which for AAC is nearly never.
constexpr std::uint64_t kKeyFrameBit = 1;
constexpr std::uint64_t kNewDeltaBit = 2;
constexpr int kSizeShift = 2;

constexpr std::uint8_t kMoreBit = 0x80;
constexpr int kBitsPerByte = 7;

}  // namespace

void VarintLog::append(std::uint64_t value) {
  reserve(1);
  bool more = true;
  while (more) {
    auto byte = static_cast<std::uint8_t>(value & (kMoreBit - 1));
    value >>= kBitsPerByte;
    more = value != 0;
    if (more) byte |= kMoreBit;
    (*_blocks[_size / kBlockBytes])[_size % kBlockBytes] = byte;
    ++_size;
  }
}

void VarintLog::reserve(std::size_t valueCount) {
  while (_blocks.size() * kBlockBytes < _size + valueCount * kMaxBytesPerValue)
    _blocks.push_back(std::make_unique<Block>());
}

std::uint64_t VarintLog::Reader::next() {
  std::uint64_t value = 0;
  for (int shift = 0; !atEnd(); shift += kBitsPerByte) {
    const std::uint8_t byte = (*_log._blocks[_position / kBlockBytes])[_position % kBlockBytes];
    ++_position;
    value |= std::uint64_t{byte & (kMoreBit - 1U)} << shift;
    if ((byte & kMoreBit) == 0) break;
  }
  return value;
}

void SampleIndex::reserve(std::size_t sampleCount) {
  _samples.reserve(2 * sampleCount);
  _chunks.reserve(2);
}

void SampleIndex::appendSample(const IndexedSample& sample) {
  const bool isNewDelta = sample.delta != _lastDelta;
  _samples.append(std::uint64_t{sample.sizeBytes} << kSizeShift |
                  (sample.isKeyFrame ? kKeyFrameBit : 0) | (isNewDelta ? kNewDeltaBit : 0));
  if (isNewDelta) _samples.append(sample.delta);
  _lastDelta = sample.delta;
  _span += sample.delta;
  _totalBytes += sample.sizeBytes;
  _keyFrameCount += sample.isKeyFrame;
  ++_sampleCount;
}

void SampleIndex::appendChunk(const IndexedChunk& chunk) {
  _chunks.append(chunk.offset - _lastChunkOffset);
  _chunks.append(chunk.sampleCount);
  _lastChunkOffset = chunk.offset;
  ++_chunkCount;
}

bool SampleIndex::SampleReader::next(IndexedSample& sample) {
  if (_reader.atEnd()) return false;
  const std::uint64_t first = _reader.next();
  if (first & kNewDeltaBit) _delta = static_cast<std::uint32_t>(_reader.next());
  sample.sizeBytes = static_cast<std::uint32_t>(first >> kSizeShift);
  sample.isKeyFrame = (first & kKeyFrameBit) != 0;
  sample.delta = _delta;
  return true;
}

bool SampleIndex::ChunkReader::next(IndexedChunk& chunk) {
  if (_reader.atEnd()) return false;
  _offset += _reader.next();
  chunk.offset = _offset;
  chunk.sampleCount = static_cast<std::uint32_t>(_reader.next());
  return true;
}

}  // namespace vx::mp4
