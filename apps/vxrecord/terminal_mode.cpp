#include "terminal_mode.h"

#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>

namespace vxrecord {
namespace {

// Written before `isChanged` becomes true, read after it is taken back.
termios modeBefore = {};
std::atomic<bool> isChanged = false;
// Once the program dies nobody changes the terminal any more.
std::atomic<bool> isDying = false;

// All that end a program unless somebody handles them.
constexpr int kDeadlySignals[] = {SIGQUIT, SIGILL,  SIGTRAP,   SIGABRT, SIGBUS,  SIGFPE,
                                  SIGUSR1, SIGSEGV, SIGALRM,   SIGXCPU, SIGXFSZ, SIGVTALRM,
                                  SIGPROF, SIGSYS,  SIGSTKFLT, SIGIO,   SIGPWR};

extern "C" void dieOf(int signal) { dieOfSignal(signal); }

// The program stops inside this handler. When it goes on, SIGCONT tells the keys.
extern "C" void stopAsAsked(int) {
  const int savedErrno = errno;
  leaveKeyMode();
  kill(getpid(), SIGSTOP);
  errno = savedErrno;
}

// Where the terminal has become another's meanwhile, that one has set it up for itself.
void giveBack() {
  if (isTerminalOurs()) {
    tcsetattr(STDIN_FILENO, TCSANOW, &modeBefore);
  }
}

void handleUnlessTaken(int signal, void (*handler)(int)) {
  struct sigaction action = {};
  if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_DFL) {
    action.sa_handler = handler;
    action.sa_flags = static_cast<int>(SA_RESTART);
    sigaction(signal, &action, nullptr);
  }
}

}  // namespace

bool isTerminalOurs() {
  if (isatty(STDIN_FILENO) != 1) {
    return false;
  }
  // A terminal that controls no session has no foreground.
  const pid_t foreground = tcgetpgrp(STDIN_FILENO);
  return foreground == getpgrp() || (foreground == -1 && errno == ENOTTY);
}

void enterKeyMode() {
  if (isChanged || isDying || !isTerminalOurs() || tcgetattr(STDIN_FILENO, &modeBefore) != 0) {
    return;
  }
  termios mode = modeBefore;
  mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  mode.c_cc[VMIN] = 1;
  mode.c_cc[VTIME] = 0;
  isChanged = true;
  tcsetattr(STDIN_FILENO, TCSANOW, &mode);
  // A signal that came in between gave back what had not been taken yet.
  if (isDying || !isChanged) {
    isChanged = false;
    giveBack();
  }
}

void leaveKeyMode() {
  if (isChanged.exchange(false)) {
    giveBack();
  }
}

void guardKeyModeAgainstSignals() {
  for (const int signal : kDeadlySignals) {
    handleUnlessTaken(signal, dieOf);
  }
  handleUnlessTaken(SIGTSTP, stopAsAsked);
}

void dieOfSignal(int signal) {
  isDying = true;
  leaveKeyMode();
  std::signal(signal, SIG_DFL);
  raise(signal);  // takes effect when the handler returns
}

}  // namespace vxrecord
