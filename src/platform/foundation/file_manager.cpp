// The file manager: the host's view of file_status.h and folder.h.
#include "VXVideoRecorder/platform/foundation/NSFileManager.h"

#include "platform/foundation/file_status.h"
#include "platform/foundation/folder.h"

#include <fcntl.h>

#include <cerrno>

namespace vx {
namespace {

constexpr std::string_view kFileTypeUnknown = "NSFileTypeUnknown";
constexpr mode_t kFolderPermissions = 0777;  // less what the process's mask takes away

bool succeed(const Status& status, std::optional<NSError>* error) {
  if (!status && error != nullptr) {
    *error = status.error();
  }
  return status.ok();
}

bool isFolder(const std::string& path) {
  struct ::stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// Makes one level. A folder that is there already is a success whatever the system answers: some
/// automatic mounts and read-only parents refuse before they look.
int makeFolder(const std::string& path) {
  if (::mkdir(path.c_str(), kFolderPermissions) == 0) {
    return 0;
  }
  const int failure = errno;
  return isFolder(path) ? 0 : failure;
}

int makeParents(const std::string& path) {
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    if (const int failure = makeFolder(path.substr(0, slash)); failure != 0) {
      // Only the last component may answer that something stands there.
      return failure == EEXIST ? ENOTDIR : failure;
    }
  }
  return 0;
}

Status createFolder(const std::string& path, bool withParents) {
  int failure = ENOENT;
  if (isUsablePath(path)) {
    const bool existed = isFolder(path);
    failure = existed ? (withParents ? 0 : EEXIST) : 0;
    if (!existed) {
      const std::string trimmed = path.substr(0, path.find_last_not_of('/') + 1);
      failure = withParents ? makeParents(trimmed) : 0;
      failure = failure != 0 ? failure : makeFolder(trimmed);
    }
  }
  return failure == 0 ? Status::success()
                      : Status(fileError(FileAccess::write, failure, "created", path));
}

/// Splits off the last component and removes it. A path that ends in `.` or `..` would take the
/// contents of a folder with it before the system refuses the folder itself.
int removePath(const std::string& path) {
  if (!isUsablePath(path)) {
    return ENOENT;
  }
  const std::string trimmed = path.substr(0, path.find_last_not_of('/') + 1);
  const std::size_t slash = trimmed.find_last_of('/');
  const std::string name = slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
  if (name.empty() || name == "." || name == "..") {
    return EINVAL;
  }
  const std::string parentPath = slash == std::string::npos ? "." : trimmed.substr(0, slash + 1);
  const FileDescriptor parent(::open(parentPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  return parent.valid() ? removeEntry(parent.get(), name.c_str()) : errno;
}

std::string_view typeName(ItemKind kind) {
  switch (kind) {
    case ItemKind::regular:
      return NSFileTypeRegular;
    case ItemKind::folder:
      return NSFileTypeDirectory;
    case ItemKind::symbolicLink:
      return NSFileTypeSymbolicLink;
    case ItemKind::other:
      break;
  }
  return kFileTypeUnknown;
}

}  // namespace

NSFileManager& NSFileManager::defaultManager() {
  static NSFileManager manager;
  return manager;
}

bool NSFileManager::createDirectoryAtPath(const std::string& path, bool withIntermediateDirectories,
                                          std::optional<NSError>* error) {
  return succeed(createFolder(path, withIntermediateDirectories), error);
}

bool NSFileManager::removeItemAtPath(const std::string& path, std::optional<NSError>* error) {
  const int failure = removePath(path);
  return failure == 0 || succeed(fileError(FileAccess::write, failure, "removed", path), error);
}

bool NSFileManager::fileExistsAtPath(const std::string& path) const {
  struct ::stat status {};
  return isUsablePath(path) && ::stat(path.c_str(), &status) == 0;
}

std::optional<NSDictionary> NSFileManager::attributesOfFileSystemForPath(
    const std::string& path, std::optional<NSError>* error) const {
  VolumeSpace space;
  if (!succeed(readVolumeSpace(path, space), error)) {
    return std::nullopt;
  }
  return NSDictionary{{std::string(NSFileSystemSize), space.sizeBytes},
                      {std::string(NSFileSystemFreeSize), space.freeBytes}};
}

std::optional<NSDictionary> NSFileManager::attributesOfItemAtPath(
    const std::string& path, std::optional<NSError>* error) const {
  ItemStatus item;
  if (!succeed(readItemStatus(path, item), error)) {
    return std::nullopt;
  }
  return NSDictionary{{std::string(NSFileSize), item.sizeBytes},
                      {std::string(NSFileModificationDate), NSDate{item.modificationTime}},
                      {std::string(NSFileType), typeName(item.kind)}};
}

std::optional<std::vector<std::string>> NSFileManager::subpathsAtPath(
    const std::string& path) const {
  const std::optional<Folder> folder = Folder::open(path);
  return folder ? folder->subpaths() : std::nullopt;
}

}  // namespace vx
