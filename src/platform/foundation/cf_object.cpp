#include "platform/foundation/cf_object.h"

namespace vx {

namespace {
const CFObject* counted(CFTypeRef object) { return static_cast<const CFObject*>(object); }
}  // namespace

CFTypeRef CFRetain(CFTypeRef object) {
  if (object) {
    counted(object)->retain();
  }
  return object;
}

void CFRelease(CFTypeRef object) {
  if (object) {
    counted(object)->release();
  }
}

std::intptr_t CFGetRetainCount(CFTypeRef object) {
  return object ? counted(object)->retainCount() : 0;
}

}  // namespace vx
