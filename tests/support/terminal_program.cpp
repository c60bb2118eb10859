#include "support/terminal_program.h"

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>

#include "support/program.h"

namespace vx::test {
namespace {
constexpr int kSignalBase = 128;
constexpr int kCannotStart = 127;
}  // namespace

TerminalProgram::TerminalProgram(const std::vector<std::string>& arguments, int columns) {
  winsize size = {};
  size.ws_col = static_cast<unsigned short>(columns);
  size.ws_row = 24;
  if (openpty(&_master, &_slave, nullptr, nullptr, &size) != 0) {
    throw std::runtime_error("no terminal could be made");
  }
  fcntl(_master, F_SETFD, FD_CLOEXEC);
  fcntl(_slave, F_SETFD, FD_CLOEXEC);
  fcntl(_master, F_SETFL, O_NONBLOCK);
  _id = fork();
  if (_id == 0) {
    start(arguments);
  }
  if (_id < 0) {
    throw std::runtime_error("no process could be started");
  }
}

void TerminalProgram::start(const std::vector<std::string>& arguments) {
  std::vector<char*> words;
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  login_tty(dup(_slave));
  execvp(words.front(), words.data());
  _exit(kCannotStart);
}

TerminalProgram::~TerminalProgram() {
  if (isRunning()) {
    kill(_id, SIGKILL);
    reap(true);
  }
  hangUp();
}

void TerminalProgram::type(const std::string& keys) const {
  if (write(_master, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
    throw std::runtime_error("the terminal takes no keys");
  }
}

void TerminalProgram::signal(int number) const {
  if (!_status) {
    kill(_id, number);
  }
}

pid_t TerminalProgram::foreground() const { return tcgetpgrp(_master); }

const std::string& TerminalProgram::screen() {
  std::array<char, 4096> bytes{};
  for (ssize_t count = 0; (count = read(_master, bytes.data(), bytes.size())) > 0;) {
    _screen.append(bytes.data(), static_cast<std::size_t>(count));
  }
  return _screen;
}

bool TerminalProgram::reap(bool block) {
  int state = 0;
  if (!_status && waitpid(_id, &state, block ? 0 : WNOHANG) == _id) {
    _status = WIFEXITED(state) ? WEXITSTATUS(state) : kSignalBase + WTERMSIG(state);
  }
  return _status.has_value();
}

// A program that writes to a terminal that nobody reads comes to a halt.
bool TerminalProgram::isRunning() {
  screen();
  return !reap(false);
}

int TerminalProgram::wait() {
  if (!waitUntil([this] { return !isRunning(); })) {
    throw std::runtime_error("the program did not end: " + screen());
  }
  screen();
  return *_status;
}

termios TerminalProgram::mode() const {
  termios mode = {};
  if (tcgetattr(_slave, &mode) != 0) {
    throw std::runtime_error("the terminal is gone");
  }
  return mode;
}

bool TerminalProgram::isInLineMode() const { return (mode().c_lflag & ICANON) != 0; }

void TerminalProgram::hangUp() {
  for (int* end : {&_slave, &_master}) {
    if (*end >= 0) {
      close(*end);
      *end = -1;
    }
  }
}

bool operator==(const termios& a, const termios& b) {
  return a.c_iflag == b.c_iflag && a.c_oflag == b.c_oflag && a.c_cflag == b.c_cflag &&
         a.c_lflag == b.c_lflag && std::equal(std::begin(a.c_cc), std::end(a.c_cc), b.c_cc);
}

}  // namespace vx::test
