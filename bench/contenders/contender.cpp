#include "bench/contenders/contender.h"

#include <algorithm>
#include <thread>

namespace bench {
namespace {

int cores() { return static_cast<int>(std::max(1u, std::thread::hardware_concurrency())); }

}  // namespace

const std::vector<ContenderFactory>& alternatives() {
  static const std::vector<ContenderFactory> all = {makeLibav, makeGStreamer, makeFfmpegPipe};
  return all;
}

// The same as in platform/avfoundation/encoder/x264_encoder.cpp, in the words of x264's options.
EncoderSpeed speedFor(const FrameSource& source) {
  const std::string highProfile = "cabac=1:8x8dct=1";
  const std::uint64_t pixels =
      std::uint64_t{source.width()} * source.height() * 2 / static_cast<std::uint64_t>(cores());
  if (pixels <= 1280 * 720) {
    return {"superfast", highProfile + ":subme=2:me=hex:partitions=p8x8,i8x8,i4x4"};
  }
  if (pixels <= 1920 * 1088) {
    return {"superfast", highProfile};
  }
  return {"superfast", highProfile + ":subme=1:me=dia:partitions=none:weightp=0"};
}

int encoderThreads(const FrameSource& source) {
  constexpr int kRowsOfBlocksPerSlice = 16;
  const int rowsOfBlocks = (static_cast<int>(source.height()) + 15) / 16;
  return std::clamp(rowsOfBlocks / kRowsOfBlocksPerSlice, 1, cores());
}

}  // namespace bench
