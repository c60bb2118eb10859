// A process that the system gives no thread.
#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>

namespace vx::test {

/// While it lives the process starts no thread: it has as many as it may. The limit does not bind
/// root, so root is somebody else meanwhile.
class NoMoreThreads {
 public:
  NoMoreThreads() : _wasRoot(::getuid() == 0) {
    ::getrlimit(RLIMIT_NPROC, &_before);
    const rlimit none{0, _before.rlim_max};
    _works = (!_wasRoot || ::setresuid(kNobody, kNobody, 0) == 0) &&
             ::setrlimit(RLIMIT_NPROC, &none) == 0;
  }
  ~NoMoreThreads() {
    const bool isUndone =
        ::setrlimit(RLIMIT_NPROC, &_before) == 0 && (!_wasRoot || ::setresuid(0, 0, 0) == 0);
    if (!isUndone) std::abort();
  }
  NoMoreThreads(const NoMoreThreads&) = delete;
  NoMoreThreads& operator=(const NoMoreThreads&) = delete;

  bool works() const { return _works; }

 private:
  static constexpr uid_t kNobody = 65534;

  rlimit _before{};
  bool _wasRoot;
  bool _works = false;
};

}  // namespace vx::test
