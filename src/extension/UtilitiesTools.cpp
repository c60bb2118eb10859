#include "VXVideoRecorder/UtilitiesTools.h"

#include "extension/application_name.h"

std::optional<vx::Object> UtilitiesTools::appBundleName() {
  return vx::applicationName(vx::NSBundle::mainBundle().infoDictionary());
}
