// How a person names a display.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vxrecord {

/// "DISPLAY[+X,Y,WxH][@FPS]" taken apart.
struct DisplayAddress {
  struct Area {
    unsigned x = 0;
    unsigned y = 0;
    unsigned width = 0;
    unsigned height = 0;
  };
  std::string display;
  std::optional<Area> area;       ///< none: the whole screen
  unsigned framesPerSecond = 60;  ///< at most; a screen that changes less often gives fewer
};

/// Errors: throws InputError with the accepted form.
DisplayAddress parseDisplayAddress(std::string_view text);

}  // namespace vxrecord
