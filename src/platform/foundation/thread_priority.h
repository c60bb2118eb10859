// How threads share the processor.
#pragma once

#include <sys/resource.h>
#include <unistd.h>

namespace vx {

/// The calling thread, and those that it starts from now on, let others of the same processor go
/// first: the host's threads, which copy pictures and have a screen to serve. Where the system
/// keeps priorities by process and not by thread, nothing changes.
inline void giveWayToOtherThreads() {
#if defined(__linux__)
  constexpr int kNiceness = 5;
  const auto thread = static_cast<id_t>(gettid());
  if (getpriority(PRIO_PROCESS, thread) < kNiceness) {
    setpriority(PRIO_PROCESS, thread, kNiceness);
  }
#endif
}

}  // namespace vx
