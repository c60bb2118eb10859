// Memory whose end is the end of what may be touched.
#pragma once

#include <sys/mman.h>
#include <unistd.h>
#include <cstddef>
#include <cstdint>
#include <new>

/// `size` bytes right before a page that kills the program when it is touched: that finds also the
/// accesses of libraries that no sanitizer has seen. Each byte is 0x55 at first.
class GuardedBytes {
 public:
  explicit GuardedBytes(std::size_t size) : _size(size) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t usable = (size + page - 1) / page * page;
    _mappedSize = usable + page;
    void* mapped =
        mmap(nullptr, _mappedSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) {
      throw std::bad_alloc();
    }
    _mapped = static_cast<std::uint8_t*>(mapped);
    mprotect(_mapped + usable, page, PROT_NONE);
    _data = _mapped + usable - size;
    for (std::size_t i = 0; i < size; ++i) {
      _data[i] = 0x55;
    }
  }
  ~GuardedBytes() { munmap(_mapped, _mappedSize); }
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  std::uint8_t* data() const { return _data; }
  std::size_t size() const { return _size; }

 private:
  std::size_t _size;
  std::size_t _mappedSize = 0;
  std::uint8_t* _mapped = nullptr;
  std::uint8_t* _data = nullptr;
};
