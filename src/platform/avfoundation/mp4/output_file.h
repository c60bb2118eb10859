// The file that a recording is written to, with what the commit order needs of it and no more.
#pragma once

#include "platform/foundation/status.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace vx::mp4 {

/// Thread: one at a time. Every call may block on the disk.
class OutputFile {
 public:
  virtual ~OutputFile() = default;
  /// Writes all of `bytes` at `offset`.
  virtual Status writeAt(std::uint64_t offset, std::span<const std::uint8_t> bytes) = 0;
  /// Returns when all that was written is on the disk.
  virtual Status sync() = 0;
  /// Makes the file's entry in its folder durable.
  virtual Status syncFolder() = 0;
  /// Sets room aside up to `end` without making the file longer. Success where the file system
  /// cannot; an error only when there is no such room.
  virtual Status reserve(std::uint64_t end) = 0;
  /// Makes the file this long and gives back all room behind it.
  virtual Status truncate(std::uint64_t sizeBytes) = 0;
  /// An error when the name was removed or given to another file.
  virtual Status checkStillNamed() = 0;
  virtual Status close() = 0;
};

/// Whether `status` says that the disk, a quota or a size limit leaves no room.
bool isOutOfSpace(const Status& status);

/// Creates the file at `path`, which must not exist, and locks it.
Status createPosixFile(const std::string& path, std::unique_ptr<OutputFile>& out);

/// The file at `path` behind an open descriptor, which this takes over, also when it throws.
std::unique_ptr<OutputFile> adoptPosixFile(int descriptor, const std::string& path);

}  // namespace vx::mp4
