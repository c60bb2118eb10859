// The file that a recording is written to, with what the commit order needs of it and no more.
#pragma once

#include "platform/foundation/file_descriptor.h"
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
  /// An error when the file is no longer where it was created: removed, replaced, or moved with or
  /// without its folder.
  virtual Status checkStillNamed() = 0;
  /// Removes the name, if it still is this file's: nothing is in it that anybody could use.
  virtual void discard() = 0;
  virtual Status close() = 0;
};

/// Whether `status` says that the disk, a quota or a size limit leaves no room.
bool isOutOfSpace(const Status& status);

/// Creates the file at `path`, which must not exist, and locks it.
Status createPosixFile(const std::string& path, std::unique_ptr<OutputFile>& out);

/// The file at `path` behind an open descriptor.
std::unique_ptr<OutputFile> adoptPosixFile(FileDescriptor descriptor, const std::string& path);

}  // namespace vx::mp4
