#include "interruption.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

#include "terminal_mode.h"
#include "wake_pipe.h"

namespace vxrecord {
namespace {

using Clock = std::chrono::steady_clock;

static_assert(std::atomic<std::int64_t>::is_always_lock_free, "signal handlers only use such");
constexpr std::int64_t kNever = -1;
std::atomic<std::int64_t> endWishedMs = kNever;
std::atomic<unsigned> pauseToggles = 0;
WakePipe wakePipe;

// The standard does not list the clock for handlers, but POSIX does clock_gettime, which it is.
std::int64_t nowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now().time_since_epoch())
      .count();
}

extern "C" void noteEnd(int signal) {
  const int savedErrno = errno;
  std::int64_t first = kNever;
  const std::int64_t now = nowMs();
  if (!endWishedMs.compare_exchange_strong(first, now) && now - first > kSameWish.count()) {
    dieOfSignal(signal);
  }
  wakePipe.wake();
  errno = savedErrno;
}

extern "C" void notePause(int) {
  const int savedErrno = errno;
  togglePause();
  errno = savedErrno;
}

void handle(int signal, void (*handler)(int), int flags) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  sigaction(signal, &action, nullptr);
}

bool isIgnored(int signal) {
  struct sigaction action = {};
  sigaction(signal, nullptr, &action);
  return action.sa_handler == SIG_IGN;
}

/// Sleeps until woken, until `moment`, or until `descriptor` can be read; -1 is no descriptor.
void sleepUntilWoken(Clock::time_point moment, int descriptor = -1) {
  using std::chrono::milliseconds;
  const auto left = std::chrono::ceil<milliseconds>(moment - Clock::now());
  const milliseconds wait = std::clamp(left, milliseconds::zero(), milliseconds(60000));
  std::array<pollfd, 2> ready = {{{wakePipe.readEnd(), POLLIN, 0}, {descriptor, POLLIN, 0}}};
  if (poll(ready.data(), ready.size(), static_cast<int>(wait.count())) > 0 &&
      ready[0].revents != 0) {
    wakePipe.drain();
  }
}

}  // namespace

void listenForSignals() {
  wakePipe.open();
  // No SA_RESTART: a blocked read has to end.
  handle(SIGINT, noteEnd, 0);
  handle(SIGTERM, noteEnd, 0);
  if (!isIgnored(SIGHUP)) {
    handle(SIGHUP, noteEnd, 0);
  }
  handle(SIGUSR2, notePause, static_cast<int>(SA_RESTART));
  std::signal(SIGPIPE, SIG_IGN);
}

bool isInterrupted() { return endWishedMs != kNever; }

// By a signal, because that also ends a read that blocks.
void requestEnd() {
  if (!isInterrupted()) {
    kill(getpid(), SIGTERM);
  }
}

bool isPauseWished() { return pauseToggles % 2 == 1; }

void togglePause() {
  ++pauseToggles;
  wakePipe.wake();
}

bool sleepUntil(Clock::time_point moment) {
  while (!isInterrupted()) {
    if (Clock::now() >= moment) {
      return true;
    }
    sleepUntilWoken(moment);
  }
  return false;
}

void sleepUntilWish(Clock::time_point moment) {
  const unsigned toggles = pauseToggles;
  while (!isInterrupted() && pauseToggles == toggles && Clock::now() < moment) {
    sleepUntilWoken(moment);
  }
}

// What wakes may come between a look at the wishes and the sleep; it then lies in the pipe.
void waitUntilReadable(int descriptor, Clock::time_point moment) {
  sleepUntilWoken(moment, descriptor);
}

}  // namespace vxrecord
