#pragma once

#include "VXVideoRecorder/platform/CoreMedia.h"
#include "platform/foundation/cf_object.h"

#include <memory>

namespace vx {

/// What one stream is made of; never changed once it is made.
struct CMFormatDescription final : CFObject {
  CMMediaType mediaType = 0;
  FourCharCode mediaSubType = 0;
  AudioStreamBasicDescription stream;           // audio only
  std::unique_ptr<std::uint8_t[]> magicCookie;  // audio only; null when there is none
  std::size_t magicCookieSize = 0;
  CMVideoDimensions dimensions;  // video only

 private:
  ~CMFormatDescription() override = default;
};

}  // namespace vx
