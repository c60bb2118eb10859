// The memory behind the pixels of one buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace vx {

inline constexpr std::size_t kPixelMemoryAlignment = 64;  // bytes: a cache line

/// Memory that starts at a multiple of `kPixelMemoryAlignment`.
class PixelMemory {
 public:
  /// `size` bytes of zero. Memory comes page by page, with the first write, where the system hands
  /// it out zeroed; in the inside of large blocks the pages are large. Without enough memory the
  /// result is empty.
  static PixelMemory allocateZeroed(std::size_t size);

  std::uint8_t* base() const { return _base; }
  explicit operator bool() const { return _base != nullptr; }

 private:
  struct Free {
    void operator()(void* block) const { std::free(block); }
  };
  std::unique_ptr<void, Free> _block;
  std::uint8_t* _base = nullptr;
};

}  // namespace vx
