#include "VXVideoRecorder/NSString+extension.h"

namespace vx {

std::optional<Object> JSONValue(std::string_view text) {
  return NSJSONSerialization::JSONObjectWithData(
      NSData::dataWithBytesNoCopy(text.data(), text.size()), NSJSONReadingNone);
}

}  // namespace vx
