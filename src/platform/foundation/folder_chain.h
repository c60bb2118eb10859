// The way down from one folder to another, kept open so that nobody can bend it.
#pragma once

#include "platform/foundation/file_descriptor.h"
#include "platform/foundation/file_status.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vx {

/// A folder and those that were gone through to reach it, one component a step: neither links nor
/// the longest path that the system takes come into it.
///
/// However deep the way, at most `kMaximumOpen` folders of it are open at once, and the top. Those
/// between are reached through ".." again, and only if the folder found there is the one that was
/// left.
class FolderChain {
 public:
  static constexpr std::size_t kMaximumOpen = 128;

  /// Begins at an open folder. It need not be one that may be read.
  explicit FolderChain(FileDescriptor top);

  bool valid() const { return _levels.back().descriptor.valid(); }
  int current() const { return _levels.back().descriptor.get(); }
  /// Steps taken down.
  std::size_t depth() const { return _levels.size() - 1; }
  /// Whether the last step down stayed within one mounted file system.
  bool staysOnVolume() const;

  /// Steps into a folder that may be read, and is no link. Answers 0 or the errno value.
  int descend(const char* name);
  /// Steps back up. Answers 0 or the errno value, ESTALE when the folder was moved meanwhile.
  int ascend();

 private:
  struct Level {
    FileDescriptor descriptor;
    ItemIdentity identity;
    std::uint64_t mount = 0;  // 0 where the system does not tell
  };
  static Level levelOf(FileDescriptor descriptor);

  std::vector<Level> _levels;  // never empty
};

}  // namespace vx
