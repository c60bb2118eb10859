#include "platform/corevideo/pixel_memory.h"

#include <sys/mman.h>
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

[[maybe_unused]] std::uintptr_t roundedUp(std::uintptr_t value, std::uintptr_t step) {
  return (value + step - 1) / step * step;
}

// A picture of 4K is some 3000 pages of the usual size. Fetching each of them at its first write,
// on the host's thread, takes about as long as the copy itself; large pages come 512 at once. Only
// whole ones inside the block are asked for, so that no more memory is taken than without them.
[[maybe_unused]] void askForLargePages(std::uintptr_t begin, std::uintptr_t end) {
  constexpr std::uintptr_t kLargePage = std::uintptr_t{2} << 20;
  const std::uintptr_t first = roundedUp(begin, kLargePage);
  const std::uintptr_t last = end / kLargePage * kLargePage;
  if (first < last) {
    ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);  // a wish, no more
  }
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
    memory._base = static_cast<std::uint8_t*>(memory._block.get()) +
                   (roundedUp(address, kPixelMemoryAlignment) - address);
    askForLargePages(address, address + size);
  }
#endif
  return memory;
}

}  // namespace vx
