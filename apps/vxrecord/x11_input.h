// A live X display as an input.
#pragma once

#include <memory>
#include <string_view>

#include "input.h"

namespace vxrecord {

/// A picture whenever the screen or its pointer changes, at the moment of the change, the pointer
/// drawn in. A screen that changes its size gives pictures of another size. `text` is an address as
/// x11_address.h reads it.
/// Errors: throws InputError.
std::unique_ptr<Input> openDisplay(std::string_view text);

}  // namespace vxrecord
