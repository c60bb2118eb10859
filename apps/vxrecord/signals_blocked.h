// Threads that leave signals to others.
#pragma once

#include <csignal>

namespace vxrecord {

/// While it lives, threads begin with all signals blocked: those are for the main thread, whose
/// blocking reads they have to end.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &_before);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &_before, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t _before = {};
};

}  // namespace vxrecord
