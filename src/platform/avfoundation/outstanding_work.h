// Work that the process must not leave unfinished: files that are being completed.
#pragma once

#include <functional>
#include <new>

namespace vx::outstanding_work {

/// Runs `body` on a detached thread that shows `name` in debuggers. False when the system gives no
/// thread.
[[nodiscard]] bool startThreadWith(const char* name, std::function<void()> body);
/// The same; false as well when there is no memory for a copy of `body`.
template <typename Body>
[[nodiscard]] bool startThread(const char* name, const Body& body) {
  try {
    return startThreadWith(name, std::function<void()>(body));
  } catch (const std::bad_alloc&) {
    return false;
  }
}

/// From `begin` on, a program that returns from main waits until `end` was called as often, also
/// for what begins only while it ends, as in the destructor of a static. Each pair belongs to one
/// file that is being completed.
void begin();
void end();

/// Marks the calling thread as one that does such work: a program that exits from within it does
/// not wait for it.
class WorkerScope {
 public:
  WorkerScope();
  ~WorkerScope();
};

}  // namespace vx::outstanding_work
