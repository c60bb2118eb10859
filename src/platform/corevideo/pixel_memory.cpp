#include "platform/corevideo/pixel_memory.h"

#include "platform/foundation/sanitizers.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace vx {

namespace {

// From here on a picture is mapped by itself. The heap would keep it when it is given back: what is
// allocated behind it holds its place, so a queue that was full once would cost its memory for
// ever.
constexpr std::size_t kMappedFrom = std::size_t{256} << 10;
constexpr std::size_t kLargePage = std::size_t{2} << 20;

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

std::size_t roundedUp(std::size_t value, std::size_t step) {
  return (value + step - 1) / step * step;
}

// The last large page is taken whole where that costs next to nothing.
std::size_t mappedSizeFor(std::size_t size) {
  constexpr std::size_t kMostWasted = 64;  // one part in so many
  const std::size_t whole = roundedUp(size, kLargePage);
  return whole - size <= size / kMostWasted ? whole : size;
}

// A picture of 4K is some 3000 pages of the usual size. Fetching each of them at its first write,
// on the host's thread, takes about as long as the copy itself; large pages come 512 at once.
void askForLargePages(std::uint8_t* base, std::size_t size) {
  if (const std::size_t whole = size / kLargePage * kLargePage; whole > 0) {
    ::madvise(base, whole, MADV_HUGEPAGE);  // a wish, no more
  }
}

void* mapAnywhere(std::size_t size) {
  void* block = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return block == MAP_FAILED ? nullptr : block;
}

}  // namespace

void PixelMemory::GiveBack::operator()(void* block) const {
  if (mappedBytes > 0) {
    ::munmap(block, mappedBytes);
  } else {
    std::free(block);
  }
}

PixelMemory PixelMemory::allocateZeroed(std::size_t size) {
  if (size == 0 || isOutOfReach(size)) {
    return {};
  }
  // The address sanitizer finds every access beyond the last byte, but on the heap only.
  const bool staysOnHeap = VX_ADDRESS_SANITIZER || size < kMappedFrom;
  return staysOnHeap ? fromHeap(size) : map(size);
}

PixelMemory PixelMemory::fromHeap(std::size_t size) {
  PixelMemory memory;
  void* block = nullptr;
  if (posix_memalign(&block, kPixelMemoryAlignment, size) == 0) {
    memory._block.reset(block);
    memory._base = static_cast<std::uint8_t*>(block);
    std::memset(block, 0, size);
  }
  return memory;
}

// More addresses are asked for than needed, and those beside the block given back at once: large
// pages begin at multiples of their size.
PixelMemory PixelMemory::map(std::size_t size) {
  PixelMemory memory;
  const std::size_t mapped =
      roundedUp(mappedSizeFor(size), static_cast<std::size_t>(sysconf(_SC_PAGESIZE)));
  const std::size_t spare = mapped < kLargePage ? 0 : kLargePage;
  auto* start = static_cast<std::uint8_t*>(mapAnywhere(mapped + spare));
  if (start == nullptr) {
    return memory;
  }
  std::size_t before = 0;
  if (spare > 0) {
    const auto address = reinterpret_cast<std::uintptr_t>(start);
    before = roundedUp(address, kLargePage) - address;
    if (before > 0) {
      ::munmap(start, before);
    }
    if (before < spare) {
      ::munmap(start + before + mapped, spare - before);
    }
  }
  memory._base = start + before;
  memory._block = std::unique_ptr<void, GiveBack>(memory._base, GiveBack{mapped});
  askForLargePages(memory._base, mapped);
  return memory;
}

}  // namespace vx
