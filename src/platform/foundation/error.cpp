#include "VXVideoRecorder/platform/foundation/NSError.h"

namespace vx {

std::string NSError::description() const {
  return "Error Domain=" + _domain + " Code=" + std::to_string(_code) + " \"" +
         _localizedDescription + "\"";
}

}  // namespace vx
