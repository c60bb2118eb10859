// One picture of the stream, as it goes to the screen and to the recorder.
#pragma once

#include <cstdint>
#include <vector>

namespace viewer {

struct Picture {
  std::vector<std::uint8_t> pixels;  ///< blue, green, red, unused; rows without padding
  int width = 0;
  int height = 0;

  int bytesPerRow() const { return width * 4; }
  bool isEmpty() const { return pixels.empty(); }
};

}  // namespace viewer
