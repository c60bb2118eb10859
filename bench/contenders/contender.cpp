#include "bench/contenders/contender.h"

#include <algorithm>
#include <thread>

namespace bench {

const std::vector<ContenderFactory>& alternatives() {
  static const std::vector<ContenderFactory> all = {makeLibav, makeGStreamer, makeFfmpegPipe};
  return all;
}

std::string presetFor(const FrameSource& source) {
  const std::uint64_t pixels = std::uint64_t{source.width()} * source.height();
  return pixels <= 1280 * 720 ? "veryfast" : pixels <= 1920 * 1088 ? "superfast" : "ultrafast";
}

int encoderThreads(const FrameSource& source) {
  constexpr int kRowsOfBlocksPerSlice = 16;
  const int rowsOfBlocks = (static_cast<int>(source.height()) + 15) / 16;
  const int cores = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  return std::clamp(rowsOfBlocks / kRowsOfBlocksPerSlice, 1, cores);
}

}  // namespace bench
