#include "platform/foundation/folder.h"

#include "platform/foundation/folder_chain.h"
#include "platform/foundation/folder_entries.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace vx {
namespace {

// Folders nested deeper than this are entries without contents: their paths grow with every level.
constexpr std::size_t kMaximumListedDepth = 1000;

/// Whether a call failed for want of memory or descriptors, which says nothing about the folder.
bool isShortage(int failure) { return failure == ENOMEM || failure == EMFILE || failure == ENFILE; }

/// Adds what the chain's last folder holds to `subpaths`, each path beginning with `front`, and the
/// folders among it to `folders`. Answers 0 or the errno value.
int list(const FolderChain& chain, const std::string& front, std::vector<std::string>& subpaths,
         std::vector<std::string>& folders) {
  std::vector<FolderEntry> entries;
  const int failure = readFolderEntries(chain.current(), entries);
  for (FolderEntry& entry : entries) {
    subpaths.push_back(front + entry.name);
    if (entry.isFolder && chain.depth() < kMaximumListedDepth) {
      folders.push_back(std::move(entry.name));
    }
  }
  return failure;
}

/// The path without its last component, both ending in a separator.
void dropLastComponent(std::string& front) {
  front.pop_back();
  const std::size_t slash = front.find_last_of('/');
  front.resize(slash == std::string::npos ? 0 : slash + 1);
}

/// Opens the folder that holds the last component of `subpath`, one component at a time so that no
/// link is followed. `name` becomes the last component. The result is invalid with errno set.
FileDescriptor openParent(int root, std::string_view subpath, std::string& name) {
  FileDescriptor folder(::fcntl(root, F_DUPFD_CLOEXEC, 0));
  while (folder.valid()) {
    const std::size_t slash = subpath.find('/');
    name = subpath.substr(0, slash);
    if (name.empty() || name == "." || name == "..") {
      errno = EINVAL;
      return {};
    }
    if (slash == std::string_view::npos) {
      return folder;
    }
    subpath.remove_prefix(slash + 1);
    folder = FileDescriptor(
        ::openat(folder.get(), name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  }
  return folder;
}

/// The same item in one step, where the system can promise that no link is followed.
bool readStatusAtOnce(int root, const std::string& subpath, struct ::stat& status) {
  ::open_how how{};
  how.flags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
  const FileDescriptor item(
      static_cast<int>(::syscall(SYS_openat2, root, subpath.c_str(), &how, sizeof how)));
  return item.valid() && ::fstat(item.get(), &status) == 0;
}

bool readStatus(int root, const std::string& subpath, struct ::stat& status) {
  const bool isBelowFolder = subpath.find('/') != std::string::npos;
  if (isBelowFolder && readStatusAtOnce(root, subpath, status)) {
    return true;
  }
  if (!isBelowFolder) {
    return ::fstatat(root, subpath.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
  }
  std::string name;
  const FileDescriptor parent = openParent(root, subpath, name);
  return parent.valid() && ::fstatat(parent.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace

std::optional<Folder> Folder::open(const std::string& path) {
  if (!isUsablePath(path)) {
    return std::nullopt;
  }
  FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return descriptor.valid() ? std::optional<Folder>(Folder(std::move(descriptor))) : std::nullopt;
}

std::optional<std::vector<std::string>> Folder::subpaths() const {
  std::vector<std::string> subpaths;
  FolderChain chain(FileDescriptor(::fcntl(_descriptor.get(), F_DUPFD_CLOEXEC, 0)));
  if (!chain.valid()) {
    return std::nullopt;
  }
  std::string front;  // the path of the chain's last folder, with a closing separator
  std::vector<std::vector<std::string>> folders(1);  // still to enter, one list a level
  int failure = list(chain, front, subpaths, folders.back());
  while (!isShortage(failure)) {
    if (folders.back().empty()) {
      folders.pop_back();
      if (folders.empty()) {
        return subpaths;
      }
      if (chain.ascend() != 0) {
        return std::nullopt;
      }
      dropLastComponent(front);
      continue;
    }
    const std::string name = std::move(folders.back().back());
    folders.back().pop_back();
    failure = chain.descend(name.c_str());
    if (failure == 0) {
      front.append(name).append("/");
      folders.emplace_back();
      failure = list(chain, front, subpaths, folders.back());
    }
  }
  return std::nullopt;
}

std::optional<ItemStatus> Folder::statusOfItem(const std::string& subpath) const {
  struct ::stat status {};
  if (!isUsablePath(subpath) || !readStatus(_descriptor.get(), subpath, status)) {
    return std::nullopt;
  }
  return itemStatusFrom(status);
}

Status Folder::removeItem(const std::string& subpath) const {
  int failure = EINVAL;
  if (isUsablePath(subpath)) {
    std::string name;
    const FileDescriptor parent = openParent(_descriptor.get(), subpath, name);
    failure = parent.valid() ? removeEntry(parent.get(), name.c_str()) : errno;
  }
  return failure == 0 ? Status::success()
                      : Status(fileError(FileAccess::write, failure, "removed", subpath));
}

std::vector<ItemIdentity> identitiesUpwards(const std::string& folder) {
  std::vector<ItemIdentity> identities;
  constexpr int kFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
  FileDescriptor level(isUsablePath(folder) ? ::open(folder.c_str(), kFlags) : -1);
  struct ::stat status {};
  while (level.valid() && ::fstat(level.get(), &status) == 0) {
    const ItemIdentity identity = identityFrom(status);
    if (!identities.empty() && identities.back() == identity) {
      break;  // the root lies in itself
    }
    identities.push_back(identity);
    level = FileDescriptor(::openat(level.get(), "..", kFlags));
  }
  return identities;
}

}  // namespace vx
