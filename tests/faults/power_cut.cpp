#include "faults/power_cut.h"

#include <algorithm>
#include <map>
#include <span>

namespace vx::test {

namespace {

std::size_t lengthAfter(std::vector<DiskRecord>::const_iterator begin,
                        std::vector<DiskRecord>::const_iterator end, std::size_t length) {
  for (; begin != end; ++begin) {
    if (begin->event.call == DiskCall::truncate && begin->error == 0)
      length = begin->event.sizeBytes;
    length = std::max<std::size_t>(
        length, begin->bytes.empty() ? 0 : begin->event.offset + begin->bytes.size());
  }
  return length;
}

}  // namespace

struct PowerCut::Piece {
  std::uint64_t offset;
  std::span<const std::uint8_t> bytes;

  void putInto(Bytes& file) const {
    file.resize(std::max<std::size_t>(file.size(), offset + bytes.size()));
    std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(offset));
  }
};

void replay(const DiskRecord& record, Bytes& file) {
  if (record.event.call == DiskCall::truncate && record.error == 0)
    file.resize(record.event.sizeBytes);
  if (record.bytes.empty()) return;
  const std::uint64_t offset = record.event.offset;
  file.resize(std::max<std::size_t>(file.size(), offset + record.bytes.size()));
  std::copy(record.bytes.begin(), record.bytes.end(),
            file.begin() + static_cast<std::ptrdiff_t>(offset));
}

PowerCut::PowerCut(std::vector<DiskRecord> records, std::size_t blockBytes)
    : _records(std::move(records)), _blockBytes(blockBytes) {}

std::size_t PowerCut::durableCalls(std::size_t calls) const {
  while (calls > 0 &&
         (_records[calls - 1].event.call != DiskCall::sync || _records[calls - 1].error != 0))
    --calls;
  return calls;
}

Bytes PowerCut::fileAfter(std::size_t calls) const {
  Bytes file;
  for (std::size_t i = 0; i < calls; ++i) replay(_records[i], file);
  return file;
}

std::vector<PowerCut::Piece> PowerCut::piecesBetween(std::size_t begin, std::size_t end) const {
  std::vector<Piece> pieces;
  for (std::size_t i = begin; i < end; ++i) {
    std::uint64_t offset = _records[i].event.offset;
    std::span<const std::uint8_t> left = _records[i].bytes;
    while (!left.empty()) {
      const std::size_t count = std::min(_blockBytes - offset % _blockBytes, left.size());
      pieces.push_back({offset, left.first(count)});
      offset += count;
      left = left.subspan(count);
    }
  }
  return pieces;
}

Bytes PowerCut::stateAfter(std::size_t calls, Chance& chance) const {
  const std::size_t durable = durableCalls(calls);
  Bytes file = fileAfter(durable);
  const std::size_t durableLength = file.size();
  const std::vector<Piece> pieces = piecesBetween(durable, calls);

  if (chance.between(0, 1) == 0) {
    // Any of the writes.
    const std::int64_t percent = chance.between(0, 100);
    for (const Piece& piece : pieces)
      if (chance.between(1, 100) <= percent) piece.putInto(file);
  } else {
    // Of each block, any version.
    std::map<std::uint64_t, std::vector<const Piece*>> blocks;
    for (const Piece& piece : pieces) blocks[piece.offset / _blockBytes].push_back(&piece);
    for (const auto& [block, versions] : blocks) {
      const auto kept = chance.between(0, static_cast<std::int64_t>(versions.size()));
      for (std::int64_t i = 0; i < kept; ++i) versions[static_cast<std::size_t>(i)]->putInto(file);
    }
  }

  const auto first = _records.begin();
  const std::size_t length = lengthAfter(first + static_cast<std::ptrdiff_t>(durable),
                                         first + static_cast<std::ptrdiff_t>(calls), durableLength);
  switch (chance.between(0, 3)) {
    case 0:
      file.resize(length);
      break;
    case 1:
      file.resize(static_cast<std::size_t>(
          chance.between(static_cast<std::int64_t>(std::min(durableLength, length)),
                         static_cast<std::int64_t>(std::max(durableLength, length)))));
      break;
    default:
      break;
  }
  return file;
}

}  // namespace vx::test
