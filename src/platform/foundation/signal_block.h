// Signals that the system raises for what a thread does, taken for no more than the error that goes
// with them.
#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>

namespace vx {

/// While it lives, the signal does not reach this thread, and one that the thread raises meanwhile
/// by a write that fails is taken back: neither a log line nor a recording may end the host. The
/// process's own handling of the signal is left alone.
class SignalBlock {
 public:
  explicit SignalBlock(int signal) {
    sigset_t pending;
    ::sigpending(&pending);
    _wasPending = ::sigismember(&pending, signal) == 1;
    ::sigemptyset(&_signal);
    ::sigaddset(&_signal, signal);
    ::pthread_sigmask(SIG_BLOCK, &_signal, &_before);
  }
  ~SignalBlock() {
    constexpr timespec kAtOnce{};
    if (!_wasPending) {
      while (::sigtimedwait(&_signal, nullptr, &kAtOnce) < 0 && errno == EINTR) {
      }
    }
    ::pthread_sigmask(SIG_SETMASK, &_before, nullptr);
  }
  SignalBlock(const SignalBlock&) = delete;
  SignalBlock& operator=(const SignalBlock&) = delete;

 private:
  sigset_t _signal{};
  sigset_t _before{};
  bool _wasPending = false;
};

}  // namespace vx
