#include "input.h"

#include "media_input.h"
#include "test_input.h"
#include "x11_input.h"

namespace vxrecord {
namespace {
constexpr std::string_view kDisplayPrefix = "x11:";
constexpr std::string_view kTestPrefix = "test:";
}  // namespace

std::unique_ptr<Input> openInput(const std::string& address, bool withSound) {
  if (address.starts_with(kDisplayPrefix)) {
    return openDisplay(address.substr(kDisplayPrefix.size()));
  }
  if (address.starts_with(kTestPrefix)) {
    return openTestPicture(address.substr(kTestPrefix.size()), withSound);
  }
  return openMedia(address, withSound);
}

}  // namespace vxrecord
