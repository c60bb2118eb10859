// A process that has no more than a few descriptors.
#pragma once

#include <sys/resource.h>
#include <unistd.h>

namespace vx::test {

/// The number that the next opened file gets: with this limit on descriptors none can be opened.
inline rlim_t lowestFreeDescriptor() {
  const int lowest = ::dup(STDERR_FILENO);
  ::close(lowest);
  return static_cast<rlim_t>(lowest);
}

/// Leaves the process so few descriptors while it lives.
class ScopedDescriptorLimit {
 public:
  explicit ScopedDescriptorLimit(rlim_t limit) {
    ::getrlimit(RLIMIT_NOFILE, &_before);
    const rlimit lowered{limit, _before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &lowered);
  }
  ~ScopedDescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &_before); }
  ScopedDescriptorLimit(const ScopedDescriptorLimit&) = delete;
  ScopedDescriptorLimit& operator=(const ScopedDescriptorLimit&) = delete;

 private:
  rlimit _before{};
};

}  // namespace vx::test
