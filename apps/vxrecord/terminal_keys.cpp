#include "terminal_keys.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "interruption.h"
#include "signals_blocked.h"
#include "terminal_mode.h"
#include "wake_pipe.h"

namespace vxrecord {
namespace {

// How often a program in the background looks whether the terminal has become its own; the shell
// tells it with SIGCONT only if it was stopped.
constexpr int kBackgroundLookMs = 1000;

WakePipe wakePipe;

extern "C" void noteContinuation(int) {
  const int savedErrno = errno;
  wakePipe.wake();
  errno = savedErrno;
}

void listenForContinuation() {
  struct sigaction action = {};
  action.sa_handler = noteContinuation;
  action.sa_flags = static_cast<int>(SA_RESTART);
  sigaction(SIGCONT, &action, nullptr);
  // A read in the moment in which the terminal is given to another fails instead of stopping us.
  std::signal(SIGTTIN, SIG_IGN);
}

}  // namespace

TerminalKeys::TerminalKeys() {
  if (isatty(STDIN_FILENO) != 1 || !wakePipe.open()) {
    return;
  }
  guardKeyModeAgainstSignals();
  listenForContinuation();
  enterKeyMode();
  const SignalsBlocked blocked;
  _thread = std::thread([this] { listen(); });
}

TerminalKeys::~TerminalKeys() {
  if (_thread.joinable()) {
    _isOver = true;
    wakePipe.wake();
    _thread.join();
    leaveKeyMode();
  }
}

void TerminalKeys::listen() {
  while (!_isOver) {
    const bool isOurs = isTerminalOurs();
    if (isOurs) {
      enterKeyMode();
    }
    std::array<pollfd, 2> ready = {{{wakePipe.readEnd(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
    if (poll(ready.data(), isOurs ? 2 : 1, isOurs ? -1 : kBackgroundLookMs) <= 0) {
      continue;
    }
    if (ready[0].revents != 0) {
      wakePipe.drain();
    }
    if (isOurs && ready[1].revents != 0 && !takeKeys()) {
      return;
    }
  }
}

/// False when no further key can come.
bool TerminalKeys::takeKeys() {
  std::array<char, 64> keys{};
  const ssize_t count = read(STDIN_FILENO, keys.data(), keys.size());
  if (count < 0) {
    return errno == EINTR || errno == EAGAIN || !isTerminalOurs();
  }
  for (ssize_t i = 0; i < count; ++i) {
    const char key = keys[static_cast<std::size_t>(i)];
    if (key == ' ') {
      togglePause();
    } else if (key == 'q' || key == 'Q') {
      requestEnd();
    }
  }
  return count > 0;
}

}  // namespace vxrecord
