// The pixel formats in which frames can be handed to the recorder.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "VXVideoRecorder/platform/CoreVideo.h"

namespace vxrecord {

/// One entry of the table: the name on the command line, the recorder's code, FFmpeg's format.
struct PixelFormat {
  std::string_view name;
  std::string_view constantName;  ///< as platform/CoreVideo.h spells it, without the common prefix
  vx::OSType code = 0;
  int avPixelFormat = -1;  ///< an AVPixelFormat
  bool isFullRange = false;
};

/// y420.
PixelFormat defaultPixelFormat();
/// The format with this name, this four-character code, or this constant of CoreVideo.h; letters
/// match in either case.
std::optional<PixelFormat> pixelFormatNamed(std::string_view name);
/// All names, separated by ", ".
std::string pixelFormatNames();

}  // namespace vxrecord
