// One file, all readers that are not ours.
#pragma once

#include <cstdint>
#include <string>

namespace vx::test {

/// FFmpeg decodes every picture of these `pictures` with every check on and has nothing to say,
/// MediaInfo names the video track, and GStreamer decodes to the end. What a reader objects to is a
/// failure of the test.
void expectReadByAll(const std::string& path, std::int64_t pictures);

}  // namespace vx::test
