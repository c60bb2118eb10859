// Real H.264 to put into files: a small moving picture, coded by libx264.
#pragma once

#include <cstdint>
#include <vector>

namespace vx::test {

struct H264Source {
  struct Picture {
    std::vector<std::uint8_t> bytes;  // NAL units behind their length in 4 bytes
    bool isKeyFrame = false;
  };
  std::vector<std::uint8_t> sps;
  std::vector<std::uint8_t> pps;
  std::vector<Picture> pictures;
};

/// `count` pictures of even size, High profile, a key frame every `keyFrameInterval`. The same
/// arguments give the same bytes.
H264Source makeH264(int width, int height, int count, int keyFrameInterval = 30);

}  // namespace vx::test
