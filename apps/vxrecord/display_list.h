// The X displays of this machine.
#pragma once

#include <string>
#include <vector>

namespace vxrecord {

struct DisplayState {
  std::string name;  ///< ":0"
  int width = 0;     ///< of its first screen, in pixels
  int height = 0;
  std::string trouble;  ///< why it cannot be used; empty when it can
  bool isOurs = false;  ///< the one that DISPLAY names
};

/// The displays that listen in `socketFolder`, by number, and the one that DISPLAY names. Asks each
/// for its size.
std::vector<DisplayState> findDisplays(const std::string& socketFolder = "/tmp/.X11-unix");

/// A line each, which begins with what vxrecord takes as INPUT.
std::string asLines(const std::vector<DisplayState>& displays);

}  // namespace vxrecord
