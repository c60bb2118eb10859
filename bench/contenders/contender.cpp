#include "bench/contenders/contender.h"

#include <algorithm>
#include <thread>

namespace bench {

const std::vector<ContenderFactory>& alternatives() {
  static const std::vector<ContenderFactory> all = {makeLibav, makeGStreamer, makeFfmpegPipe};
  return all;
}

EncoderSpeed speedFor(const FrameSource& source) {
  const std::string highProfile = "cabac=1:8x8dct=1";
  const std::uint64_t pixels = std::uint64_t{source.width()} * source.height();
  if (pixels <= 1280 * 720) {
    return {"veryfast", highProfile};
  }
  return {pixels <= 1920 * 1088 ? "superfast" : "ultrafast", highProfile};
}

int encoderThreads(const FrameSource& source) {
  constexpr int kRowsOfBlocksPerSlice = 16;
  const int rowsOfBlocks = (static_cast<int>(source.height()) + 15) / 16;
  const int cores = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  return std::clamp(rowsOfBlocks / kRowsOfBlocksPerSlice, 1, cores);
}

}  // namespace bench
