#include "platform/foundation/signal_block.h"

#include <gtest/gtest.h>

namespace vx {
namespace {

bool isPending(int signal) {
  sigset_t pending;
  ::sigpending(&pending);
  return ::sigismember(&pending, signal) == 1;
}

bool isBlocked(int signal) {
  sigset_t blocked;
  ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  return ::sigismember(&blocked, signal) == 1;
}

TEST(SignalBlock, TakesBackWhatTheThreadRaises) {
  {
    const SignalBlock block(SIGXFSZ);
    ::raise(SIGXFSZ);
    EXPECT_TRUE(isPending(SIGXFSZ));
  }
  EXPECT_FALSE(isPending(SIGXFSZ));
  EXPECT_FALSE(isBlocked(SIGXFSZ));
}

TEST(SignalBlock, LeavesASignalThatWasPendingToTheHost) {
  sigset_t signal;
  ::sigemptyset(&signal);
  ::sigaddset(&signal, SIGXFSZ);
  sigset_t before;
  ::pthread_sigmask(SIG_BLOCK, &signal, &before);
  ::raise(SIGXFSZ);
  { const SignalBlock block(SIGXFSZ); }
  EXPECT_TRUE(isPending(SIGXFSZ));
  EXPECT_TRUE(isBlocked(SIGXFSZ));
  constexpr timespec kAtOnce{};
  ::sigtimedwait(&signal, nullptr, &kAtOnce);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace
}  // namespace vx
