// The running program's information dictionary.
#pragma once

#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <optional>
#include <string>
#include <utility>

namespace vx {

class NSBundle {
 public:
  /// The bundle of the running program.
  static NSBundle mainBundle();
  /// The bundle of a program that lies (or would lie) at this path.
  static NSBundle bundleWithExecutablePath(std::string executablePath);

  /// The program's information property list. Read anew at every call. Absent when none is found or
  /// the one found is malformed.
  std::optional<NSDictionary> infoDictionary() const;

 private:
  explicit NSBundle(std::string executablePath) : _executablePath(std::move(executablePath)) {}
  std::string _executablePath;
};

}  // namespace vx
