// Files, folders and the paths that name them. Paths are UTF-8 texts with `/` between components.
#pragma once

#include "VXVideoRecorder/platform/foundation/NSError.h"
#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#pragma GCC visibility push(default)

namespace vx {

enum NSSearchPathDirectory : unsigned { NSDocumentDirectory = 9 };
enum NSSearchPathDomainMask : unsigned { NSUserDomainMask = 1 };

/// The user's folder of this kind, as absolute paths, best first. The Documents folder is the XDG
/// user directory (`$XDG_CONFIG_HOME/user-dirs.dirs`, key XDG_DOCUMENTS_DIR), `$HOME/Documents`
/// where none is set; one that points at the home folder itself means just that. Without a usable
/// HOME the account's home folder counts. With `expandTilde` false a home folder at the front is
/// written as `~`.
/// Empty only for other directories and domains. Thread: any; reads the environment and a file.
std::vector<std::string> NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory directory,
                                                             NSSearchPathDomainMask domainMask,
                                                             bool expandTilde);

/// `path` and `component` joined by exactly one separator; the other one if one is empty.
std::string stringByAppendingPathComponent(std::string_view path, std::string_view component);
/// The part of the last component after its last dot; empty when there is none. Thread: any, for
/// these two; neither blocks.
std::string pathExtension(std::string_view path);

/// A location. Only file locations are offered.
class NSURL {
 public:
  /// A relative `path` is taken from the current folder. Thread: any.
  static NSURL fileURLWithPath(std::string_view path);
  /// The absolute path.
  const std::string& path() const { return _path; }
  friend bool operator==(const NSURL&, const NSURL&) = default;

 private:
  std::string _path;
};

inline constexpr std::string_view NSFileSystemFreeSize = "NSFileSystemFreeSize";
inline constexpr std::string_view NSFileSystemSize = "NSFileSystemSize";
inline constexpr std::string_view NSFileSize = "NSFileSize";
inline constexpr std::string_view NSFileModificationDate = "NSFileModificationDate";
inline constexpr std::string_view NSFileType = "NSFileType";
inline constexpr std::string_view NSFileTypeRegular = "NSFileTypeRegular";
inline constexpr std::string_view NSFileTypeDirectory = "NSFileTypeDirectory";
inline constexpr std::string_view NSFileTypeSymbolicLink = "NSFileTypeSymbolicLink";

/// The file system. Symbolic links are entries of their own: only `fileExistsAtPath`, the creation
/// of folders, the volume's attributes and the folder that is listed look at what lies behind one.
///
/// A path with a zero byte in it names nothing: it is refused rather than cut short.
///
/// Thread: any. Every operation goes to the file system anew and may block on it.
/// Errors: an operation that fails returns false or absent and, when `error` is not null, fills it.
class NSFileManager {
 public:
  /// The one file manager of the process.
  static NSFileManager& defaultManager();

  /// Creates the folder and, with `withIntermediateDirectories`, its missing parents. True as well
  /// when the folder exists; code 516 (`NSFileWriteFileExistsError`) when something that is not a
  /// folder stands there, or when the folder exists and no parents were to be made.
  bool createDirectoryAtPath(const std::string& path, bool withIntermediateDirectories,
                             std::optional<NSError>* error = nullptr);
  /// Deletes a file, a link, or a folder with all its contents. Ends at the first entry that cannot
  /// be deleted. Refuses paths that end in `.` or `..`.
  bool removeItemAtPath(const std::string& path, std::optional<NSError>* error = nullptr);
  bool fileExistsAtPath(const std::string& path) const;
  /// Attributes of the volume that holds `path`: `NSFileSystemSize` and `NSFileSystemFreeSize`, the
  /// bytes that this user may still fill.
  std::optional<NSDictionary> attributesOfFileSystemForPath(
      const std::string& path, std::optional<NSError>* error = nullptr) const;
  /// `NSFileSize`, `NSFileModificationDate` and `NSFileType` of one entry.
  std::optional<NSDictionary> attributesOfItemAtPath(const std::string& path,
                                                     std::optional<NSError>* error = nullptr) const;
  /// Every entry below the folder at any depth, as paths relative to it, folders before what they
  /// hold. Links are listed, never walked. Absent when the folder cannot be listed, or memory
  /// or descriptors run out; a sub-folder that may not be read is an entry without contents.
  std::optional<std::vector<std::string>> subpathsAtPath(const std::string& path) const;

 private:
  NSFileManager() = default;
};

}  // namespace vx

#pragma GCC visibility pop
