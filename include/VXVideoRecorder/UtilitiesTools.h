// Small helpers for the host.
#pragma once

#include "VXVideoRecorder/platform/Foundation.h"

#include <optional>

#pragma GCC visibility push(default)

class UtilitiesTools {
 public:
  /// The name under which the running application presents itself: "CFBundleDisplayName" of its
  /// information dictionary if that key is there (an empty text included), else "CFBundleName", as
  /// it stands. Absent when neither is there, and when the file that is taken is malformed.
  ///
  /// The information dictionary comes from the first of these that exists: `Contents/Info.plist` of
  /// the bundle, for a program at `NAME.app/Contents/MacOS/PROGRAM`; `Info.plist` in the program's
  /// folder; the desktop entry of an installed program, whose "Name" in the user's language is the
  /// display name and whose "Name" is the bundle name. `vx::NSBundle` tells where entries are
  /// looked for.
  /// Thread: any; reads files.
  static std::optional<vx::Object> appBundleName();
};

#pragma GCC visibility pop
