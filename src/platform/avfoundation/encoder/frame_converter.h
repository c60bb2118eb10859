// Any pixel buffer of the platform becomes a 4:2:0 picture of the track's size.
#pragma once

#include "VXVideoRecorder/platform/CoreVideo.h"
#include "platform/avfoundation/encoder/video_encoder.h"
#include "platform/foundation/status.h"

#include <memory>

namespace vx {

/// Converts, scales and pads. The track's size is the true one; pictures come out with each side
/// rounded up to even, the last column or row repeated. A buffer of another size than the track's
/// is fitted into it with its aspect kept, centred, the borders black (16, 128, 128).
/// A y420 buffer of the track's own even size is passed on without a copy.
/// Thread: one at a time.
class FrameConverter {
 public:
  FrameConverter(int trackWidth, int trackHeight);
  ~FrameConverter();

  /// `picture` points into `buffer` or into this converter: valid until the next call, and only
  /// while `buffer` is held and locked.
  Status convert(CVPixelBufferRef buffer, PlanarPicture& picture);

 private:
  struct Scratch;

  Status convertSameSize(CVPixelBufferRef buffer, PlanarPicture& picture);
  Status convertFitted(CVPixelBufferRef buffer, PlanarPicture& picture);

  int _trackWidth;
  int _trackHeight;
  std::unique_ptr<Scratch> _scratch;
};

}  // namespace vx
