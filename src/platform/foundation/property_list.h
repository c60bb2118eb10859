// XML property lists, the form of an application's Info.plist.
#pragma once

#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <optional>
#include <string_view>

namespace vx {

/// The dictionary at the top of an XML property list. Absent when the text is malformed, no UTF-8,
/// holds something else at the top, or nests beyond what such files do.
std::optional<NSDictionary> dictionaryFromPropertyList(std::string_view xml);

}  // namespace vx
