// Reads the output settings of a video input.
#pragma once

#include "VXVideoRecorder/platform/Foundation.h"
#include "platform/avfoundation/encoder/video_encoder.h"
#include "platform/foundation/status.h"

namespace vx {

struct VideoTrackSettings {
  int width = 0;  // pixels, the true size
  int height = 0;
  VideoEncoderSettings encoder;  // its size rounded up to even
};

/// Fails with a text that names the setting when one is missing or cannot be honoured. A fraction
/// of a pixel is dropped.
Status readVideoSettings(const NSDictionary& settings, VideoTrackSettings& out);

}  // namespace vx
