// A program on a terminal of its own, at which a person sits and types.
#pragma once

#include <sys/types.h>
#include <termios.h>

#include <optional>
#include <string>
#include <vector>

namespace vx::test {

/// Killed by its id if it still runs when this goes.
class TerminalProgram {
 public:
  /// Starts `arguments` as the leader of a session that the terminal controls.
  explicit TerminalProgram(const std::vector<std::string>& arguments, int columns = 200);
  ~TerminalProgram();
  TerminalProgram(const TerminalProgram&) = delete;
  TerminalProgram& operator=(const TerminalProgram&) = delete;

  pid_t id() const { return _id; }
  /// The group of processes that may read the terminal now.
  pid_t foreground() const;
  void type(const std::string& keys) const;
  void signal(int number) const;
  /// What the screen has been told so far.
  const std::string& screen();
  bool isRunning();
  /// Waits for the end: the exit status, or 128 and the signal's number. Throws after `kBound`.
  int wait();
  /// The terminal's settings now.
  termios mode() const;
  /// Whether keys are echoed and come line by line, as a shell leaves it.
  bool isInLineMode() const;
  /// Takes the terminal away.
  void hangUp();

 private:
  void start(const std::vector<std::string>& arguments);
  bool reap(bool block);

  pid_t _id = -1;
  int _master = -1;
  int _slave = -1;  // held open, so that the terminal outlives the program
  std::string _screen;
  std::optional<int> _status;
};

bool operator==(const termios& a, const termios& b);

}  // namespace vx::test
