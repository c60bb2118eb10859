#include "platform/avfoundation/mp4/file_errors.h"

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/mp4/output_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace vx::mp4 {

namespace {

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

bool isFolder(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

Status outOfSpace(int error, const std::string& path) {
  std::string reason = "The disk is full";
  std::string remedy = "Free some space or record to another disk.";
  if (error == EDQUOT) {
    reason = "The disk quota is used up";
    remedy = "Delete files or ask for a larger quota.";
  } else if (error == EFBIG) {
    reason = "The file has reached the largest size that is allowed here";
    remedy = "Record to another file, or raise the limit.";
  }
  return NSError(AVFoundationErrorDomain, AVErrorDiskFull,
                 reason + ": " + quoted(path) + ". " + remedy);
}

bool meansOutOfSpace(int error) { return error == ENOSPC || error == EDQUOT || error == EFBIG; }

std::string systemText(int error) { return std::generic_category().message(error); }

Status existsError(const std::string& path) {
  const std::string text = isFolder(path)
                               ? "A folder has the name of the recording: " + quoted(path)
                               : "The recording's file exists already: " + quoted(path);
  return NSError(AVFoundationErrorDomain, AVErrorFileAlreadyExists,
                 text + ". Choose another name, or move it away.");
}

}  // namespace

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

Status creationError(int error, const std::string& path) {
  if (meansOutOfSpace(error)) return outOfSpace(error, path);
  switch (error) {
    case EEXIST:
    case EISDIR:
      return existsError(path);
    case ENOENT:
    case ENOTDIR:
      return NSError(NSCocoaErrorDomain, NSFileNoSuchFileError,
                     "There is no folder " + quoted(folderOf(path)) + " for the recording " +
                         quoted(path) + ". Create the folder or choose another one.");
    case EACCES:
    case EPERM:
      return NSError(NSCocoaErrorDomain, NSFileWriteNoPermissionError,
                     "There is no permission to create " + quoted(path) +
                         ". Choose another folder, or allow writing to " + quoted(folderOf(path)) +
                         ".");
    case EROFS:
      return NSError(
          NSCocoaErrorDomain, NSFileWriteVolumeReadOnlyError,
          "The disk of " + quoted(path) + " is read-only. Choose a folder on another disk.");
    case ENAMETOOLONG:
      return NSError(
          NSPOSIXErrorDomain, error,
          "The name of the recording is too long: " + quoted(path) + ". Choose a shorter one.");
    default:
      return NSError(
          NSPOSIXErrorDomain, error,
          "The recording " + quoted(path) + " could not be created: " + systemText(error) + ".");
  }
}

Status writingError(int error, const std::string& path) {
  if (meansOutOfSpace(error)) return outOfSpace(error, path);
  if (error == EROFS)
    return NSError(NSCocoaErrorDomain, NSFileWriteVolumeReadOnlyError,
                   "The disk of " + quoted(path) +
                       " became read-only during the recording. Check the disk; what was recorded "
                       "before can be played.");
  return NSError(NSPOSIXErrorDomain, error,
                 "The recording " + quoted(path) + " could not be written: " + systemText(error) +
                     ". Check the disk; what was recorded before can be played.");
}

Status openingError(int error, const std::string& path) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return NSError(NSCocoaErrorDomain, NSFileReadNoSuchFileError,
                     "There is no file " + quoted(path) + ". Check the name.");
    case EACCES:
    case EPERM:
      return NSError(NSCocoaErrorDomain, NSFileReadNoPermissionError,
                     "There is no permission to read " + quoted(path) +
                         ". Ask its owner, or allow reading it.");
    case EISDIR:
    case EINVAL:
    case ENXIO:
      return NSError(NSCocoaErrorDomain, NSFileReadUnknownError,
                     quoted(path) + " is not a file. Name the recording itself.");
    default:
      return NSError(
          NSPOSIXErrorDomain, error,
          "The file " + quoted(path) + " could not be opened: " + systemText(error) + ".");
  }
}

Status repairingError(int error, const std::string& path) {
  switch (error) {
    case EACCES:
    case EPERM:
      return NSError(NSCocoaErrorDomain, NSFileWriteNoPermissionError,
                     "There is no permission to repair " + quoted(path) +
                         ". Allow writing to it, or repair a copy.");
    case EROFS:
      return NSError(
          NSCocoaErrorDomain, NSFileWriteVolumeReadOnlyError,
          "The disk of " + quoted(path) + " is read-only. Repair a copy on another disk.");
    case ELOOP:
      return NSError(NSPOSIXErrorDomain, error,
                     quoted(path) + " is a link. Name the recording that it leads to.");
    default:
      return openingError(error, path);
  }
}

Status readingError(int error, const std::string& path) {
  return NSError(NSPOSIXErrorDomain, error,
                 "The file " + quoted(path) + " could not be read: " + systemText(error) +
                     ". Check the disk; nothing was changed.");
}

Status removedError(const std::string& path) {
  return NSError(NSCocoaErrorDomain, NSFileNoSuchFileError,
                 "The file " + quoted(path) +
                     " was removed or replaced during the recording, which is lost. Leave the "
                     "file in place while it is recorded.");
}

Status movedError(const std::string& path) {
  return NSError(NSCocoaErrorDomain, NSFileNoSuchFileError,
                 "The recording is complete, but no longer at " + quoted(path) +
                     ": it or its folder was moved, or its disk removed. Leave the file in place "
                     "while it is recorded.");
}

bool isOutOfSpace(const Status& status) {
  return !status.ok() && status.error().domain() == AVFoundationErrorDomain &&
         status.error().code() == AVErrorDiskFull;
}

}  // namespace vx::mp4
