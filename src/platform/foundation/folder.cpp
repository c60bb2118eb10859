#include "platform/foundation/folder.h"

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <memory>
#include <string_view>

namespace vx {
namespace {

// Folders nested deeper than this are not removed: each level holds a descriptor and stack space.
constexpr int kMaximumDepth = 1000;
// Some file systems skip entries of a folder that shrinks while it is read, so it is read again.
constexpr int kMaximumPasses = 8;
constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

struct CloseDirectory {
  void operator()(DIR* directory) const { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

Directory openDirectory(int parent, const char* path, int flags) {
  FileDescriptor descriptor(::openat(parent, path, flags));
  if (!descriptor.valid()) {
    return nullptr;
  }
  Directory directory(::fdopendir(descriptor.get()));
  if (directory) {
    // The stream owns the descriptor from here on.
    (void)descriptor.release();
  }
  return directory;
}

/// The next entry that is neither the folder nor its parent; null at the end and on an error.
const dirent* nextEntry(DIR* directory) {
  while (const dirent* entry = ::readdir(directory)) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") {
      return entry;
    }
  }
  return nullptr;
}

bool isFolder(DIR* directory, const dirent* entry) {
  if (entry->d_type != DT_UNKNOWN) {
    return entry->d_type == DT_DIR;
  }
  struct ::stat status {};
  return ::fstatat(::dirfd(directory), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISDIR(status.st_mode);
}

int removeEntryAtDepth(int parent, const char* name, int depth);

/// Removes what `directory` holds. Sets `removedAny` when at least one entry went.
int removeContents(DIR* directory, int depth, bool& removedAny) {
  while (const dirent* entry = nextEntry(directory)) {
    const int failure = removeEntryAtDepth(::dirfd(directory), entry->d_name, depth + 1);
    if (failure != 0 && failure != ENOENT) {
      return failure;
    }
    removedAny = true;
  }
  return 0;
}

int removeFolder(int parent, const char* name, int depth) {
  if (depth > kMaximumDepth) {
    return ENAMETOOLONG;
  }
  const Directory directory = openDirectory(parent, name, kFolderFlags);
  if (!directory) {
    const int failure = errno;
    // An empty folder can be removed even when it may not be read.
    return ::unlinkat(parent, name, AT_REMOVEDIR) == 0 ? 0 : failure;
  }
  for (int pass = 0;; ++pass) {
    bool removedAny = false;
    if (const int failure = removeContents(directory.get(), depth, removedAny); failure != 0) {
      return failure;
    }
    if (::unlinkat(parent, name, AT_REMOVEDIR) == 0) {
      return 0;
    }
    const int failure = errno;
    if (!removedAny || pass == kMaximumPasses || (failure != ENOTEMPTY && failure != EEXIST)) {
      return failure;
    }
    ::rewinddir(directory.get());
  }
}

int removeEntryAtDepth(int parent, const char* name, int depth) {
  if (::unlinkat(parent, name, 0) == 0) {
    return 0;
  }
  const int failure = errno;
  // Which error a folder gives differs between file systems, so the entry itself is asked.
  struct ::stat status {};
  const bool folder =
      ::fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
  return folder ? removeFolder(parent, name, depth) : failure;
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
    folder = FileDescriptor(::openat(folder.get(), name.c_str(), kFolderFlags | O_PATH));
  }
  return folder;
}

}  // namespace

int removeEntry(int parent, const char* name) { return removeEntryAtDepth(parent, name, 0); }

std::optional<Folder> Folder::open(const std::string& path) {
  if (!isUsablePath(path)) {
    return std::nullopt;
  }
  FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return descriptor.valid() ? std::optional<Folder>(Folder(std::move(descriptor))) : std::nullopt;
}

std::vector<std::string> Folder::subpaths() const {
  std::vector<std::string> entries;
  std::vector<std::string> folders{"."};  // grows while it is walked
  for (std::size_t i = 0; i < folders.size(); ++i) {
    const Directory directory = openDirectory(_descriptor.get(), folders[i].c_str(), kFolderFlags);
    const std::string front = i == 0 ? "" : folders[i] + '/';
    while (const dirent* entry = directory ? nextEntry(directory.get()) : nullptr) {
      entries.push_back(front + entry->d_name);
      if (isFolder(directory.get(), entry)) {
        folders.push_back(entries.back());
      }
    }
  }
  return entries;
}

std::optional<ItemStatus> Folder::statusOfItem(const std::string& subpath) const {
  struct ::stat status {};
  if (!isUsablePath(subpath) ||
      ::fstatat(_descriptor.get(), subpath.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
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

}  // namespace vx
