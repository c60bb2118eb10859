// A frame copied row by row: the least that a host pays whose frame buffer is used again.
#pragma once

#include "bench/harness/frame_source.h"
#include "bench/harness/timing.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace bench {

/// Copies into one buffer after the other, as a queue of pictures would.
class PlainCopy {
 public:
  explicit PlainCopy(const FrameSource& source)
      : _source(source), _buffers(kBuffers, std::vector<std::uint8_t>(source.frameBytes())) {}

  /// Seconds that frame `i` took.
  double run(std::size_t i) {
    const std::span<const std::uint8_t> bytes = _source.frame(i);
    std::uint8_t* destination = _buffers[i % kBuffers].data();
    const std::size_t pitch = _source.bytesPerRow();
    const auto start = Clock::now();
    for (std::size_t at = 0; at < bytes.size(); at += pitch) {
      std::memcpy(destination + at, bytes.data() + at, std::min(pitch, bytes.size() - at));
    }
    return secondsSince(start);
  }

 private:
  static constexpr std::size_t kBuffers = 6;
  const FrameSource& _source;
  std::vector<std::vector<std::uint8_t>> _buffers;
};

inline double medianCopySeconds(const FrameSource& source) {
  constexpr std::size_t kCopies = 40;
  PlainCopy copy(source);
  std::vector<double> seconds;
  for (std::size_t i = 0; i < kCopies; ++i) {
    seconds.push_back(copy.run(i));
  }
  return median(seconds);
}

}  // namespace bench
