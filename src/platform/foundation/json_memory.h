// Memory for RapidJSON, whose own allocator does not notice when there is none.
#pragma once

#include <cstdlib>
#include <new>

namespace vx {

/// RapidJSON's allocator concept over the C heap. Raises `std::bad_alloc`.
class JSONMemory {
 public:
  static constexpr bool kNeedFree = true;

  void* Malloc(std::size_t size) { return Realloc(nullptr, 0, size); }
  void* Realloc(void* memory, std::size_t, std::size_t newSize) {
    if (newSize == 0) {
      Free(memory);
      return nullptr;
    }
    void* grown = std::realloc(memory, newSize);
    if (grown == nullptr) {
      throw std::bad_alloc();
    }
    return grown;
  }
  static void Free(void* memory) { std::free(memory); }
};

}  // namespace vx
