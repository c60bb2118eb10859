// Removing a folder with everything in it, without recursion: depth costs neither stack space nor
// descriptors.
#include "platform/foundation/folder.h"
#include "platform/foundation/folder_chain.h"
#include "platform/foundation/folder_entries.h"

#include <fcntl.h>

#include <cerrno>

namespace vx {
namespace {

// Others may add to a folder while it is emptied, so what is left is removed again, but not for
// ever.
constexpr int kMaximumPasses = 8;

class FolderRemoval {
 public:
  explicit FolderRemoval(int parent)
      : _chain(FileDescriptor(::fcntl(parent, F_DUPFD_CLOEXEC, 0))) {}

  int remove(const char* name) {
    if (!_chain.valid()) {
      return EMFILE;
    }
    int failure = enter(name);
    while (failure == 0 && !_levels.empty()) {
      failure = _levels.back().entries.empty() ? leave() : removeNext();
    }
    return failure;
  }

 private:
  struct Level {
    std::string name;
    std::vector<FolderEntry> entries;  // still to be removed
    int passes = 0;
    bool removedAny = false;
  };

  int enter(const std::string& name) {
    if (const int failure = _chain.descend(name.c_str()); failure != 0) {
      // An empty folder can be removed even when it may not be read.
      return ::unlinkat(_chain.current(), name.c_str(), AT_REMOVEDIR) == 0 ? noteRemoved()
                                                                           : failure;
    }
    if (!_chain.staysOnVolume()) {
      (void)_chain.ascend();
      return EXDEV;
    }
    _levels.push_back({name, {}, 0, false});
    return readFolderEntries(_chain.current(), _levels.back().entries);
  }

  int removeNext() {
    const FolderEntry entry = std::move(_levels.back().entries.back());
    _levels.back().entries.pop_back();
    if (::unlinkat(_chain.current(), entry.name.c_str(), 0) == 0) {
      return noteRemoved();
    }
    int failure = errno;
    // Which error a folder gives differs between file systems, so the entry itself is asked.
    if (isFolderEntry(_chain.current(), entry.name.c_str())) {
      failure = enter(entry.name);
    }
    return failure == ENOENT ? noteRemoved() : failure;
  }

  int leave() {
    if (const int failure = _chain.ascend(); failure != 0) {
      return failure;
    }
    Level& level = _levels.back();
    if (::unlinkat(_chain.current(), level.name.c_str(), AT_REMOVEDIR) == 0 || errno == ENOENT) {
      _levels.pop_back();
      return noteRemoved();
    }
    const int failure = errno;
    const bool filledAgain = failure == ENOTEMPTY || failure == EEXIST;
    if (!filledAgain || !level.removedAny || ++level.passes > kMaximumPasses) {
      return failure;
    }
    return again(level);
  }

  int again(Level& level) {
    if (const int failure = _chain.descend(level.name.c_str()); failure != 0) {
      return failure;
    }
    level.removedAny = false;
    return _chain.staysOnVolume() ? readFolderEntries(_chain.current(), level.entries) : EXDEV;
  }

  int noteRemoved() {
    if (!_levels.empty()) {
      _levels.back().removedAny = true;
    }
    return 0;
  }

  FolderChain _chain;
  std::vector<Level> _levels;  // the folders being emptied, one a step of the chain
};

}  // namespace

int removeEntry(int parent, const char* name) {
  if (::unlinkat(parent, name, 0) == 0) {
    return 0;
  }
  const int failure = errno;
  return isFolderEntry(parent, name) ? FolderRemoval(parent).remove(name) : failure;
}

}  // namespace vx
