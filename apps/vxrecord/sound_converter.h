// From the sound of any input to the sound that is recorded.
#pragma once

#include <cstdint>
#include <optional>

#include "libav.h"
#include "sound.h"

namespace vxrecord {

/// Keeps blocks together without a gap while the input's own times agree with that; a jump in them
/// is followed.
class SoundConverter {
 public:
  /// `time`: of the frame's first sample in samples since the first picture, where the input tells
  /// one.
  /// Errors: throws std::runtime_error for sound that cannot be converted.
  SoundBlock convert(const AVFrame& frame, std::optional<std::int64_t> time);

 private:
  void open(const AVFrame& frame);

  LibavPointer<SwrContext> _context;
  int _sourceRate = 0;
  int _sourceFormat = -1;
  int _sourceChannels = 0;
  std::optional<std::int64_t> _next;
};

}  // namespace vxrecord
