#include "wake_pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>

namespace vxrecord {

bool WakePipe::open() {
  int ends[2] = {-1, -1};
  if (_read < 0 && pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0) {
    _read = ends[0];
    _write = ends[1];
  }
  return _read >= 0;
}

void WakePipe::wake() const {
  const char byte = 0;
  [[maybe_unused]] const auto written = write(_write, &byte, 1);
}

void WakePipe::drain() const {
  std::array<char, 64> bytes{};
  [[maybe_unused]] const auto taken = read(_read, bytes.data(), bytes.size());
}

}  // namespace vxrecord
