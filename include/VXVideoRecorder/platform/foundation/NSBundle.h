// The running program's information dictionary.
#pragma once

#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <optional>
#include <string>
#include <utility>

#pragma GCC visibility push(default)

namespace vx {

/// A program and what it tells about itself. The first of these that exists is taken:
///
/// 1. `Contents/Info.plist` of the bundle, for a program at `NAME.app/Contents/MacOS/PROGRAM`;
/// 2. `Info.plist` in the program's folder;
/// 3. the desktop entry of an installed program, in `applications` below $XDG_DATA_HOME and each of
///    $XDG_DATA_DIRS: the one named `PROGRAM.desktop`, else the first by name whose "Exec" starts
///    the program. "Name" becomes "CFBundleName", and "Name" in the language of the user's messages
///    (LC_ALL, LC_MESSAGES or LANG), or else "Name", becomes "CFBundleDisplayName". Entries that
///    are malformed, hidden or no applications are passed over.
///
/// Property lists are read in their XML form, in UTF-8, up to 1 MiB.
///
/// Thread: any; reads the environment and the file system and may block on the latter.
class NSBundle {
 public:
  /// The bundle of the running program.
  static NSBundle mainBundle();
  /// The bundle of a program that lies (or would lie) at this path.
  static NSBundle bundleWithExecutablePath(std::string executablePath);

  /// The program's information property list. Read anew at every call. Absent when there is none,
  /// or when the property list that is taken is malformed.
  std::optional<NSDictionary> infoDictionary() const;

 private:
  explicit NSBundle(std::string executablePath) : _executablePath(std::move(executablePath)) {}
  std::string _executablePath;
};

}  // namespace vx

#pragma GCC visibility pop
