// The memory behind the pixels of one buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vx {

inline constexpr std::size_t kPixelMemoryAlignment = 64;  // bytes: a cache line

/// Memory that starts at a multiple of `kPixelMemoryAlignment`.
class PixelMemory {
 public:
  /// `size` bytes of zero. Memory comes page by page, with the first write, where the system hands
  /// it out zeroed; in large blocks the pages are large. Large blocks go back to the system when
  /// they are given back, whatever else was allocated meanwhile. Without enough memory the result
  /// is empty.
  static PixelMemory allocateZeroed(std::size_t size);

  std::uint8_t* base() const { return _base; }
  explicit operator bool() const { return _base != nullptr; }

 private:
  struct GiveBack {
    GiveBack() : GiveBack(0) {}
    explicit GiveBack(std::size_t bytes) : mappedBytes(bytes) {}
    void operator()(void* block) const;
    std::size_t mappedBytes;  // 0 for a block of the heap
  };

  static PixelMemory map(std::size_t size);
  static PixelMemory fromHeap(std::size_t size);

  std::unique_ptr<void, GiveBack> _block;
  std::uint8_t* _base = nullptr;
};

}  // namespace vx
