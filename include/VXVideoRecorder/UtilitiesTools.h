// Small helpers for the host.
#pragma once

#include "VXVideoRecorder/platform/Foundation.h"

#include <optional>

class UtilitiesTools {
 public:
  /// The name under which the running application presents itself: "CFBundleDisplayName" of its
  /// information dictionary if that key is there (an empty text included), else "CFBundleName", as
  /// it stands. Absent when neither is there.
  /// Thread: any; reads files.
  static std::optional<vx::Object> appBundleName();
};
