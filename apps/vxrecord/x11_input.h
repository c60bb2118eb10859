// A live X display as an input.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "input.h"

namespace vxrecord {

/// "DISPLAY" or "DISPLAY+X,Y,WxH" taken apart.
struct DisplayAddress {
  struct Area {
    unsigned x = 0;
    unsigned y = 0;
    unsigned width = 0;
    unsigned height = 0;
  };
  std::string display;
  std::optional<Area> area;  ///< none: the whole screen
};

/// Errors: throws InputError with the accepted form.
DisplayAddress parseDisplayAddress(std::string_view text);

/// Up to 30 frames a second with the moments at which they were taken, the pointer drawn in.
std::unique_ptr<Input> openDisplay(std::string_view text);

}  // namespace vxrecord
