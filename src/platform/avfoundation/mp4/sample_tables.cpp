#include "platform/avfoundation/mp4/sample_tables.h"

#include <limits>

namespace vx::mp4 {

namespace {

/// Equal neighbours as one entry of `stts`.
class DurationRuns {
 public:
  explicit DurationRuns(ByteStream& stream) : _stream(stream), _count(stream) {}
  ~DurationRuns() { putRun(); }
  DurationRuns(const DurationRuns&) = delete;
  DurationRuns& operator=(const DurationRuns&) = delete;

  void add(std::uint32_t duration) {
    if (duration != _duration) putRun();
    _duration = duration;
    ++_length;
  }

 private:
  void putRun() {
    if (_length == 0) return;
    _stream.put32(_length);
    _stream.put32(_duration);
    _count.add();
    _length = 0;
  }

  ByteStream& _stream;
  EntryCount _count;
  std::uint32_t _duration = 0;
  std::uint32_t _length = 0;
};

}  // namespace

void write_stts(ByteStream& stream, const SampleIndex& index, std::uint32_t lastDuration) {
  FullBox box(stream, "stts", 0, 0);
  DurationRuns runs(stream);
  SampleIndex::SampleReader reader(index);
  IndexedSample sample;
  if (!reader.next(sample)) return;
  while (reader.next(sample)) runs.add(sample.delta);
  runs.add(lastDuration);
}

void write_stss(ByteStream& stream, const SampleIndex& index) {
  if (index.keyFrameCount() == index.sampleCount()) return;
  FullBox box(stream, "stss", 0, 0);
  EntryCount count(stream);
  SampleIndex::SampleReader reader(index);
  IndexedSample sample;
  for (std::uint32_t number = 1; reader.next(sample); ++number) {
    if (!sample.isKeyFrame) continue;
    stream.put32(number);
    count.add();
  }
}

void write_stsc(ByteStream& stream, const SampleIndex& index) {
  FullBox box(stream, "stsc", 0, 0);
  EntryCount count(stream);
  SampleIndex::ChunkReader reader(index);
  IndexedChunk chunk;
  std::uint32_t previous = 0;
  for (std::uint32_t number = 1; reader.next(chunk); ++number) {
    if (chunk.sampleCount == previous) continue;
    previous = chunk.sampleCount;
    stream.put32(number);
    stream.put32(chunk.sampleCount);
    stream.put32(1);  // sample description
    count.add();
  }
}

void write_stsz(ByteStream& stream, const SampleIndex& index) {
  FullBox box(stream, "stsz", 0, 0);
  stream.put32(0);  // sizes differ
  EntryCount count(stream);
  SampleIndex::SampleReader reader(index);
  IndexedSample sample;
  while (reader.next(sample)) {
    stream.put32(sample.sizeBytes);
    count.add();
  }
}

void write_co64(ByteStream& stream, const SampleIndex& index) {
  FullBox box(stream, "co64", 0, 0);
  EntryCount count(stream);
  SampleIndex::ChunkReader reader(index);
  IndexedChunk chunk;
  while (reader.next(chunk)) {
    stream.put64(chunk.offset);
    count.add();
  }
}

std::uint64_t sampleTablesBytesAtMost(const TableSizes& sizes) {
  constexpr std::uint64_t kPerSample = 4 + 8;  // stsz, stts without runs
  constexpr std::uint64_t kPerKeyFrame = 4;
  constexpr std::uint64_t kPerChunk = 8 + 12;  // co64, stsc without runs
  return sizes.samples * kPerSample + sizes.keyFrames * kPerKeyFrame + sizes.chunks * kPerChunk;
}

}  // namespace vx::mp4
