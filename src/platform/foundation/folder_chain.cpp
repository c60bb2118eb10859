#include "platform/foundation/folder_chain.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

namespace vx {
namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// Two mounts of one file system have the same device, so the mount is asked for as well.
std::uint64_t mountOf(int descriptor) {
  struct ::statx status {};
  const bool told = ::statx(descriptor, "", AT_EMPTY_PATH, STATX_MNT_ID, &status) == 0 &&
                    (status.stx_mask & STATX_MNT_ID) != 0;
  return told ? status.stx_mnt_id : 0;
}

}  // namespace

FolderChain::Level FolderChain::levelOf(FileDescriptor descriptor) {
  Level level;
  struct ::stat status {};
  if (descriptor.valid() && ::fstat(descriptor.get(), &status) == 0) {
    level.identity = identityFrom(status);
    level.mount = mountOf(descriptor.get());
    level.descriptor = std::move(descriptor);
  }
  return level;
}

FolderChain::FolderChain(FileDescriptor top) { _levels.push_back(levelOf(std::move(top))); }

bool FolderChain::staysOnVolume() const {
  if (depth() == 0) {
    return true;
  }
  const Level& last = _levels.back();
  const Level& before = _levels[_levels.size() - 2];
  return last.identity.device == before.identity.device && last.mount == before.mount;
}

int FolderChain::descend(const char* name) {
  FileDescriptor descriptor(::openat(current(), name, kFolderFlags));
  const int failure = errno;
  if (!descriptor.valid()) {
    return failure;
  }
  Level level = levelOf(std::move(descriptor));
  if (!level.descriptor.valid()) {
    return EIO;
  }
  _levels.push_back(std::move(level));
  // The top stays open: the way back to it may lead through folders that may not be read.
  if (_levels.size() > kMaximumOpen + 1) {
    _levels[_levels.size() - kMaximumOpen - 1].descriptor = FileDescriptor();
  }
  return 0;
}

int FolderChain::ascend() {
  if (depth() == 0) {
    return EINVAL;
  }
  Level& above = _levels[_levels.size() - 2];
  if (!above.descriptor.valid()) {
    FileDescriptor descriptor(::openat(current(), "..", kFolderFlags));
    if (!descriptor.valid()) {
      return errno;
    }
    Level found = levelOf(std::move(descriptor));
    if (!found.descriptor.valid() || found.identity != above.identity) {
      return ESTALE;
    }
    above.descriptor = std::move(found.descriptor);
  }
  _levels.pop_back();
  return 0;
}

}  // namespace vx
