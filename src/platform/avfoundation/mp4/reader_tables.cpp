// The tables of a finished track, all read side by side. ISO/IEC 14496-12, 8.6 and 8.7
#include "platform/avfoundation/mp4/reader_track.h"

namespace vx::mp4 {

namespace {

ByteReader tableOf(ReaderInput& input, const FoundBox& box) {
  return {input, box.payload + kFullBoxBytes, box.end};
}

/// `stts`: runs of equal durations.
class Durations {
 public:
  Durations(ReaderInput& input, const FoundBox& stts) : _reader(tableOf(input, stts)) {
    _entries = _reader.u32();
  }
  bool next(std::uint32_t& duration) {
    while (_left == 0) {
      if (_entries == 0) return false;
      --_entries;
      _left = _reader.u32();
      _duration = _reader.u32();
      if (!_reader.ok()) return false;
    }
    --_left;
    duration = _duration;
    return true;
  }
  bool atEnd() const { return _entries == 0 && _left == 0; }

 private:
  ByteReader _reader;
  std::uint32_t _entries = 0;
  std::uint32_t _left = 0;
  std::uint32_t _duration = 0;
};

/// `stsz`: one size a sample.
class Sizes {
 public:
  Sizes(ReaderInput& input, const FoundBox& stsz) : _reader(tableOf(input, stsz)) {
    _common = _reader.u32();
    _left = _reader.u32();
  }
  bool isFine() const { return _reader.ok() && _common == 0; }
  bool next(std::uint32_t& size) {
    if (_left == 0) return false;
    --_left;
    size = _reader.u32();
    return _reader.ok();
  }
  bool atEnd() const { return _left == 0; }

 private:
  ByteReader _reader;
  std::uint32_t _common = 0;
  std::uint32_t _left = 0;
};

/// `stss`: the numbers of the key frames; without it every sample is one.
class KeyFrames {
 public:
  KeyFrames(ReaderInput& input, const std::optional<FoundBox>& stss) {
    if (!stss) return;
    _reader.emplace(tableOf(input, *stss));
    _left = _reader->u32();
    advance();
  }
  bool isKeyFrame() {
    ++_number;
    if (!_reader) return true;
    if (_number != _next) return false;
    advance();
    return true;
  }
  bool atEnd() const { return !_reader || (_reader->ok() && _left == 0 && _next == 0); }

 private:
  void advance() {
    _next = 0;
    if (_left == 0) return;
    --_left;
    _next = _reader->u32();
  }

  std::optional<ByteReader> _reader;
  std::uint32_t _left = 0;
  std::uint32_t _next = 0;
  std::uint32_t _number = 0;
};

/// `stsc` and `co64`: where the chunks stand and how many samples each has.
class Chunks {
 public:
  Chunks(ReaderInput& input, const TableBoxes& boxes)
      : _offsets(tableOf(input, boxes.co64)), _runs(tableOf(input, boxes.stsc)) {
    _left = _offsets.u32();
    _runsLeft = _runs.u32();
    readRun();
  }
  bool next(IndexedChunk& chunk) {
    if (_left == 0) return false;
    --_left;
    ++_number;
    if (_number == _nextFirst) {
      _count = _nextCount;
      readRun();
    }
    chunk = {_offsets.u64(), _count};
    return _offsets.ok() && _runs.ok() && _count > 0;
  }
  bool atEnd() const { return _left == 0; }

 private:
  void readRun() {
    _nextFirst = 0;
    if (_runsLeft == 0) return;
    --_runsLeft;
    _nextFirst = _runs.u32();
    _nextCount = _runs.u32();
    _runs.skip(4);  // sample description
  }

  ByteReader _offsets;
  ByteReader _runs;
  std::uint32_t _left = 0;
  std::uint32_t _runsLeft = 0;
  std::uint32_t _number = 0;
  std::uint32_t _nextFirst = 0;
  std::uint32_t _nextCount = 0;
  std::uint32_t _count = 0;
};

}  // namespace

bool readTables(ReaderInput& input, const TableBoxes& boxes, const FoundBox& media,
                FoundSamples& samples) {
  Durations durations(input, boxes.stts);
  Sizes sizes(input, boxes.stsz);
  KeyFrames keyFrames(input, boxes.stss);
  Chunks chunks(input, boxes);
  if (!sizes.isFine()) return false;

  std::uint64_t time = 0;
  std::uint64_t previousEnd = media.payload;
  IndexedChunk chunk;
  while (!chunks.atEnd()) {
    if (!chunks.next(chunk) || chunk.offset < previousEnd) return false;
    samples.beginRun(time, chunk.offset);
    std::uint64_t end = chunk.offset;
    for (std::uint32_t i = 0; i < chunk.sampleCount; ++i) {
      std::uint32_t duration = 0;
      std::uint32_t size = 0;
      if (!durations.next(duration) || !sizes.next(size)) return false;
      samples.add(size, duration, keyFrames.isKeyFrame());
      time += duration;
      end += size;
      if (end > media.end || time > kMaxFinishedTime) return false;
    }
    samples.endRun();
    previousEnd = end;
  }
  return durations.atEnd() && sizes.atEnd() && keyFrames.atEnd();
}

}  // namespace vx::mp4
