// Ends the sleep of a thread.
#pragma once

namespace vxrecord {

/// A pipe that a thread looks at while it sleeps in poll. What is written into it just before the
/// sleep begins ends the sleep as well. Stays open until the program ends.
class WakePipe {
 public:
  /// Once more does nothing. False when the system gives no pipe: then nothing wakes.
  bool open();
  /// For poll; -1, which poll passes over, when it is not open.
  int readEnd() const { return _read; }
  /// Thread: any. May be called from a signal handler.
  void wake() const;
  /// Takes out what has woken.
  void drain() const;

 private:
  int _read = -1;
  int _write = -1;
};

}  // namespace vxrecord
