// Which entry of an information dictionary is the application's name.
#pragma once

#include "VXVideoRecorder/platform/Foundation.h"

#include <optional>

namespace vx {

/// "CFBundleDisplayName" if that key is there, whatever its value, else "CFBundleName".
std::optional<Object> applicationName(const std::optional<NSDictionary>& infoDictionary);

}  // namespace vx
