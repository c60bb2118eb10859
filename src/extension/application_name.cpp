#include "extension/application_name.h"

namespace vx {

std::optional<Object> applicationName(const std::optional<NSDictionary>& infoDictionary) {
  if (!infoDictionary) {
    return std::nullopt;
  }
  const Object* name = infoDictionary->objectForKey("CFBundleDisplayName");
  if (name == nullptr) {
    name = infoDictionary->objectForKey("CFBundleName");
  }
  return name != nullptr ? std::optional(*name) : std::nullopt;
}

}  // namespace vx
