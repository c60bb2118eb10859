// An allocator that fails when told to. Linked into a test program it takes the place of operator
// new and, without sanitizers, of malloc and its kin, for every library of the process.
#pragma once

#include <cstdint>

namespace vx::test {

/// Which allocations fail while one of these lives. Thread: any thread's allocations count.
class FailingMemory {
 public:
  enum class Source : std::uint8_t { operatorNew, malloc };
  enum class Extent : std::uint8_t { one, allFromThere };

  /// From now on allocation number `first` (0 is the next one) fails, or it and all after it.
  FailingMemory(Source source, Extent extent, std::int64_t first);
  ~FailingMemory();
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;

  /// Allocations of that source so far.
  static std::int64_t count();
  /// Whether malloc can be made to fail in this build.
  static bool hasMalloc();
};

}  // namespace vx::test
