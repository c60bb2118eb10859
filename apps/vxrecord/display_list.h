// The X displays of this machine.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "x11_attempt.h"

namespace vxrecord {

struct DisplayState {
  std::string name;  ///< ":0"
  int width = 0;     ///< of its first screen, in pixels
  int height = 0;
  std::string trouble;  ///< why it cannot be used; empty when it can
  bool isOurs = false;  ///< the one that DISPLAY names
};

/// The displays that listen in `socketFolder`, by number, and the one that DISPLAY names. Asks them
/// all at once for their sizes; one that has not answered within `patience` is in trouble.
std::vector<DisplayState> findDisplays(const std::string& socketFolder = "/tmp/.X11-unix",
                                       std::chrono::milliseconds patience = kX11Patience);

/// A line each, which begins with what vxrecord takes as INPUT.
std::string asLines(const std::vector<DisplayState>& displays);

}  // namespace vxrecord
