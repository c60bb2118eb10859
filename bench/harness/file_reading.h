// What is in a finished file, read by FFmpeg's libraries.
#pragma once

#include "bench/harness/frame_source.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace bench {

struct FileFacts {
  std::uint64_t bytes = 0;
  std::uint64_t mediaBytes = 0;  // of the coded pictures
  std::size_t frames = 0;
  double seconds = 0;
  double nonMediaShare() const {
    return static_cast<double>(bytes - mediaBytes) / static_cast<double>(bytes);
  }
};
FileFacts factsOf(const std::string& path);

/// Mean SSIM of brightness (0 to 1) of every `step`th picture in the file, which must hold the
/// frames of `source` in their order.
double meanSsim(const std::string& path, const FrameSource& source, std::size_t step = 1);

}  // namespace bench
