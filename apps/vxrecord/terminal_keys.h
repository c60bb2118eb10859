// Keys that are pressed while a recording runs.
#pragma once

#include <atomic>
#include <thread>

namespace vxrecord {

/// Reads the terminal on standard input while it lives: space begins and ends a pause, q ends the
/// recording. Without a terminal there it does nothing. Stopped and continued programs (Ctrl-Z, fg)
/// take the keys up again; in the background they are left to others.
class TerminalKeys {
 public:
  TerminalKeys();
  ~TerminalKeys();
  TerminalKeys(const TerminalKeys&) = delete;
  TerminalKeys& operator=(const TerminalKeys&) = delete;

  /// Whether keys are read.
  bool isListening() const { return _thread.joinable(); }

 private:
  void listen();
  bool takeKeys();

  std::atomic<bool> _isOver = false;
  std::thread _thread;
};

}  // namespace vxrecord
