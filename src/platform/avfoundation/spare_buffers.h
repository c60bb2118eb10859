// Byte buffers that go round between two threads instead of being allocated for every picture.
#pragma once

#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

namespace vx {

/// Thread: any.
class SpareBuffers {
 public:
  SpareBuffers() { _spares.reserve(kMost); }

  /// An empty buffer, with the capacity of one given back if there is any.
  std::vector<std::uint8_t> take() {
    std::lock_guard lock(_mutex);
    if (_spares.empty()) {
      return {};
    }
    std::vector<std::uint8_t> buffer = std::move(_spares.back());
    _spares.pop_back();
    buffer.clear();
    return buffer;
  }

  void giveBack(std::vector<std::uint8_t>&& buffer) {
    std::lock_guard lock(_mutex);
    if (_spares.size() < kMost) {
      _spares.push_back(std::move(buffer));
    }
  }

 private:
  static constexpr std::size_t kMost = 4;  // more are in use only while the disk is slow

  std::mutex _mutex;
  std::vector<std::vector<std::uint8_t>> _spares;  // guarded by _mutex
};

}  // namespace vx
