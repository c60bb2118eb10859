// How many threads the process has.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <thread>

namespace vx::test {

/// Asked without allocating.
inline std::uint64_t threadCount() {
  struct stat tasks {};
  constexpr std::uint64_t kOwnLinks = 2;
  return ::stat("/proc/self/task", &tasks) == 0 ? tasks.st_nlink - kOwnLinks : 0;
}

inline void waitForThreads(std::uint64_t count) {
  while (threadCount() > count) {
    std::this_thread::yield();
  }
}

}  // namespace vx::test
