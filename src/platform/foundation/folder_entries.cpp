#include "platform/foundation/folder_entries.h"

#include "platform/foundation/file_descriptor.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <string_view>

namespace vx {
namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

Directory openDirectory(int folder) {
  FileDescriptor descriptor(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
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

}  // namespace

bool isFolderEntry(int folder, const char* name) {
  struct ::stat status {};
  return ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

int readFolderEntries(int folder, std::vector<FolderEntry>& entries) {
  entries.clear();
  const Directory directory = openDirectory(folder);
  if (!directory) {
    return errno;
  }
  errno = 0;  // the end of a folder leaves it as it was
  while (const dirent* entry = ::readdir(directory.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") {
      entries.push_back({std::string(name), entry->d_type == DT_UNKNOWN
                                                ? isFolderEntry(folder, entry->d_name)
                                                : entry->d_type == DT_DIR});
    }
    errno = 0;
  }
  return errno;
}

}  // namespace vx
