#include "support/failing_memory.h"

#include "platform/foundation/sanitizers.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

#if VX_ADDRESS_SANITIZER || VX_THREAD_SANITIZER
#define VX_HAS_OWN_MALLOC 0
#else
#define VX_HAS_OWN_MALLOC 1
#endif

namespace vx::test {
namespace {

std::atomic<bool> armed = false;
std::atomic<bool> countsMalloc = false;
std::atomic<bool> failsForEver = false;
std::atomic<std::int64_t> firstFailure = 0;
std::atomic<std::int64_t> allocations = 0;

bool fails(FailingMemory::Source source) {
  if (!armed || (source == FailingMemory::Source::malloc) != countsMalloc) {
    return false;
  }
  const std::int64_t number = allocations++;
  return failsForEver ? number >= firstFailure : number == firstFailure;
}

}  // namespace

FailingMemory::FailingMemory(Source source, Extent extent, std::int64_t first) {
  countsMalloc = source == Source::malloc;
  failsForEver = extent == Extent::allFromThere;
  firstFailure = first;
  allocations = 0;
  armed = true;
}

FailingMemory::~FailingMemory() { armed = false; }

std::int64_t FailingMemory::count() { return allocations; }

bool FailingMemory::hasMalloc() { return VX_HAS_OWN_MALLOC != 0; }

namespace {

void* allocate(std::size_t size, std::size_t alignment) noexcept {
  if (fails(FailingMemory::Source::operatorNew)) {
    return nullptr;
  }
  if (alignment <= alignof(std::max_align_t)) {
    return std::malloc(size == 0 ? 1 : size);
  }
  void* memory = nullptr;
  return posix_memalign(&memory, alignment, size) == 0 ? memory : nullptr;
}

void* allocateOrThrow(std::size_t size, std::size_t alignment) {
  void* memory = allocate(size, alignment);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

constexpr std::size_t kUsual = alignof(std::max_align_t);

}  // namespace
}  // namespace vx::test

using vx::test::allocate;
using vx::test::allocateOrThrow;
using vx::test::kUsual;

void* operator new(std::size_t size) { return allocateOrThrow(size, kUsual); }
void* operator new[](std::size_t size) { return allocateOrThrow(size, kUsual); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size, kUsual);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size, kUsual);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }

#if VX_HAS_OWN_MALLOC

// What glibc offers under its own names, with the failure in front.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) {
  return vx::test::fails(vx::test::FailingMemory::Source::malloc) ? (errno = ENOMEM, nullptr)
                                                                  : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  return vx::test::fails(vx::test::FailingMemory::Source::malloc) ? (errno = ENOMEM, nullptr)
                                                                  : __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
  return vx::test::fails(vx::test::FailingMemory::Source::malloc) ? (errno = ENOMEM, nullptr)
                                                                  : __libc_realloc(memory, size);
}
void* memalign(std::size_t alignment, std::size_t size) {
  return vx::test::fails(vx::test::FailingMemory::Source::malloc)
             ? (errno = ENOMEM, nullptr)
             : __libc_memalign(alignment, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  void* got = memalign(alignment, size);
  if (got == nullptr) {
    return ENOMEM;
  }
  *memory = got;
  return 0;
}
}

#endif
