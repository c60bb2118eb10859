#include "platform/foundation/file_status.h"

#include <sys/statvfs.h>

#include <cerrno>
#include <limits>
#include <system_error>

namespace vx {
namespace {

std::int64_t readErrorCode(int systemError) {
  switch (systemError) {
    case ENOENT:
    case ENOTDIR:
      return NSFileReadNoSuchFileError;
    case EACCES:
    case EPERM:
      return NSFileReadNoPermissionError;
    default:
      return NSFileReadUnknownError;
  }
}

std::int64_t writeErrorCode(int systemError) {
  switch (systemError) {
    case ENOENT:
      return NSFileNoSuchFileError;
    case EEXIST:
      return NSFileWriteFileExistsError;
    case EACCES:
    case EPERM:
      return NSFileWriteNoPermissionError;
    case EROFS:
      return NSFileWriteVolumeReadOnlyError;
    case ENOSPC:
    case EDQUOT:
      return NSFileWriteOutOfSpaceError;
    default:
      return NSFileWriteUnknownError;
  }
}

std::string_view advice(int systemError) {
  switch (systemError) {
    case ENOENT:
      return "Check that the folder is there and its disk is connected.";
    case EEXIST:
    case ENOTDIR:
      return "Move the file that stands in the way, or choose another folder.";
    case EACCES:
    case EPERM:
      return "Choose a folder that you may write to, or change its permissions.";
    case EROFS:
      return "The disk is read-only; choose a folder on another one.";
    case ENOSPC:
    case EDQUOT:
      return "Free some space, or choose a folder on another disk.";
    default:
      return "Try again, or choose another folder.";
  }
}

FileTime fileTimeFrom(const timespec& time) {
  using std::chrono::nanoseconds;
  constexpr std::int64_t kNanosecondsPerSecond = 1000000000;
  std::int64_t total = 0;
  if (__builtin_mul_overflow(static_cast<std::int64_t>(time.tv_sec), kNanosecondsPerSecond,
                             &total) ||
      __builtin_add_overflow(total, static_cast<std::int64_t>(time.tv_nsec), &total)) {
    total = time.tv_sec < 0 ? std::numeric_limits<std::int64_t>::min()
                            : std::numeric_limits<std::int64_t>::max();
  }
  return FileTime(nanoseconds(total));
}

ItemKind itemKindFrom(mode_t mode) {
  if (S_ISREG(mode)) return ItemKind::regular;
  if (S_ISDIR(mode)) return ItemKind::folder;
  if (S_ISLNK(mode)) return ItemKind::symbolicLink;
  return ItemKind::other;
}

std::uint64_t saturatedProduct(std::uint64_t a, std::uint64_t b) {
  std::uint64_t product = 0;
  return __builtin_mul_overflow(a, b, &product) ? std::numeric_limits<std::uint64_t>::max()
                                                : product;
}

}  // namespace

NSError fileError(FileAccess access, int systemError, std::string_view intention,
                  std::string_view path) {
  const std::int64_t code =
      access == FileAccess::read ? readErrorCode(systemError) : writeErrorCode(systemError);
  std::string text = "\"";
  text.append(path).append("\" could not be ").append(intention).append(": ");
  text.append(std::generic_category().message(systemError)).append(". ");
  text.append(advice(systemError));
  return NSError(NSCocoaErrorDomain, code, std::move(text));
}

ItemIdentity identityFrom(const struct ::stat& status) { return {status.st_dev, status.st_ino}; }

ItemStatus itemStatusFrom(const struct ::stat& status) {
  return {static_cast<std::uint64_t>(status.st_size), fileTimeFrom(status.st_mtim),
          itemKindFrom(status.st_mode), identityFrom(status)};
}

Status readVolumeSpace(const std::string& path, VolumeSpace& space) {
  constexpr std::string_view kIntention = "asked for the free space of its disk";
  if (!isUsablePath(path)) {
    return fileError(FileAccess::read, ENOENT, kIntention, path);
  }
  struct ::statvfs volume {};
  while (::statvfs(path.c_str(), &volume) != 0) {
    if (errno != EINTR) {
      return fileError(FileAccess::read, errno, kIntention, path);
    }
  }
  const std::uint64_t unit = volume.f_frsize != 0 ? volume.f_frsize : volume.f_bsize;
  space = {saturatedProduct(volume.f_blocks, unit), saturatedProduct(volume.f_bavail, unit)};
  return Status::success();
}

Status readItemStatus(const std::string& path, ItemStatus& status) {
  struct ::stat item {};
  if (!isUsablePath(path)) {
    return fileError(FileAccess::read, ENOENT, "read", path);
  }
  if (::lstat(path.c_str(), &item) != 0) {
    return fileError(FileAccess::read, errno, "read", path);
  }
  status = itemStatusFrom(item);
  return Status::success();
}

}  // namespace vx
