// What a disk holds when the power goes: all that was synchronised, and of what was written since,
// anything.
#pragma once

#include "faults/fault_disk.h"
#include "stress/form.h"
#include "support/box_reader.h"

#include <cstddef>
#include <vector>

namespace vx::test {

class PowerCut {
 public:
  /// Replays what was done to one file. Blocks of this size reach the disk whole or not at all.
  PowerCut(std::vector<DiskRecord> records, std::size_t blockBytes);

  /// One of the states that the file may be in when the power goes after `calls` calls. Of each
  /// block either any version since the last synchronisation is there, or any of the writes to it;
  /// the file's length may lag behind or run ahead.
  Bytes stateAfter(std::size_t calls, Chance& chance) const;

  /// How many of the first `calls` calls were made durable by a synchronisation among them.
  std::size_t durableCalls(std::size_t calls) const;
  const std::vector<DiskRecord>& records() const { return _records; }
  /// The file after the first `calls` calls, with nothing lost.
  Bytes fileAfter(std::size_t calls) const;

 private:
  struct Piece;  // of a write, within one block
  std::vector<Piece> piecesBetween(std::size_t begin, std::size_t end) const;

  const std::vector<DiskRecord> _records;
  const std::size_t _blockBytes;
};

/// Does to `file` what one call did.
void replay(const DiskRecord& record, Bytes& file);

}  // namespace vx::test
