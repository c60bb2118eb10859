#include "platform/corevideo/pixel_memory.h"

#include <unistd.h>
#include <cstring>
#include <limits>

namespace vx {

namespace {

// The system promises more memory than it has and kills the process that then writes to it. So a
// single picture that would take half of the machine is refused, and one beyond every encoder too,
// however large the machine is.
bool isOutOfReach(std::size_t size) {
  constexpr std::size_t kAlwaysTried = std::size_t{256} << 20;
  constexpr std::size_t kNeverTried = std::size_t{4} << 30;
  if (size <= kAlwaysTried || size > kNeverTried) {
    return size > kNeverTried;
  }
  const long pages = sysconf(_SC_PHYS_PAGES);
  const long bytesPerPage = sysconf(_SC_PAGESIZE);
  if (pages <= 0 || bytesPerPage <= 0) {
    return false;
  }
  return size / static_cast<std::size_t>(bytesPerPage) > static_cast<std::size_t>(pages) / 2;
}

[[maybe_unused]] std::size_t roundedUp(std::size_t value) {
  return (value + kPixelMemoryAlignment - 1) / kPixelMemoryAlignment * kPixelMemoryAlignment;
}

}  // namespace

PixelMemory PixelMemory::allocateZeroed(std::size_t size) {
  PixelMemory memory;
  if (size == 0 || isOutOfReach(size)) {
    return memory;
  }
#if defined(__SANITIZE_ADDRESS__)
  // A block that ends with its last byte, so that every access beyond it is found.
  void* block = nullptr;
  if (posix_memalign(&block, kPixelMemoryAlignment, size) != 0) {
    return memory;
  }
  memory._block.reset(block);
  memory._base = static_cast<std::uint8_t*>(block);
  std::memset(memory._base, 0, size);
#else
  memory._block.reset(std::calloc(1, size + kPixelMemoryAlignment - 1));
  if (memory._block) {
    const auto address = reinterpret_cast<std::uintptr_t>(memory._block.get());
    memory._base = static_cast<std::uint8_t*>(memory._block.get()) + (roundedUp(address) - address);
  }
#endif
  return memory;
}

}  // namespace vx
