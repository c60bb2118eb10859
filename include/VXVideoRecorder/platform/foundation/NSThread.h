// Threads as objects, and the system log.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#pragma GCC visibility push(default)

namespace vx {

/// One thread of the process. The object outlives its thread when somebody keeps it.
class NSThread {
 public:
  /// The calling thread's object: the same one at every call from that thread.
  static std::shared_ptr<NSThread> currentThread();
  /// One text a stack frame of the calling thread, innermost first.
  static std::vector<std::string> callStackSymbols();

  /// The name given last, whole; empty when none was given.
  std::string name() const;
  /// Names the thread. The object keeps the whole name; the system shows its first 15 bytes, cut at
  /// a character's edge. Naming a thread that has ended only changes the object.
  /// Thread: any.
  void setName(std::string_view name);

  ~NSThread();

 private:
  NSThread();
  struct Handle;
  mutable std::mutex _mutex;
  std::string _name;                // guarded by _mutex
  std::unique_ptr<Handle> _handle;  // guarded by _mutex
};

/// Writes one line to the system log: standard error, with the time, the program and its process
/// id. Thread: any; lines of different threads are never mixed.
void NSLog(std::string_view message);

}  // namespace vx

#pragma GCC visibility pop
