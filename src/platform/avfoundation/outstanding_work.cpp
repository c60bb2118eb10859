#include "platform/avfoundation/outstanding_work.h"

#include <pthread.h>

#include <condition_variable>
#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

namespace vx::outstanding_work {
namespace {

struct Ledger {
  std::mutex mutex;
  std::condition_variable changed;
  int outstanding = 0;  // guarded by mutex
};

thread_local int workDepth = 0;

Ledger& ledger();

// What a parent was at when a process was forked is done by the parent's threads: a child begins
// with nothing. The lock is held meanwhile, for the child would inherit it from a thread it has
// not.
void beforeFork() { ledger().mutex.lock(); }
void afterForkInParent() { ledger().mutex.unlock(); }
void afterForkInChild() {
  ledger().outstanding = 0;
  ledger().mutex.unlock();
}

// Never destroyed: threads may still use it while the process ends. Made in place: a writer that is
// let go of must not depend on free memory.
Ledger& ledger() {
  alignas(Ledger) static std::byte place[sizeof(Ledger)];
  static Ledger* const instance = [] {
    pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);
    return new (place) Ledger;
  }();
  return *instance;
}

void waitAtExit() {
  Ledger& book = ledger();
  std::unique_lock lock(book.mutex);
  // A worker that exits the program itself is part of what would be waited for.
  const int own = workDepth > 0 ? 1 : 0;
  book.changed.wait(lock, [&] { return book.outstanding <= own; });
}

}  // namespace

bool startThreadWith(const char* name, std::function<void()> body) {
  try {
    std::thread thread(std::move(body));
    pthread_setname_np(thread.native_handle(), name);
    thread.detach();
    return true;
  } catch (const std::system_error&) {
    return false;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void begin() {
  Ledger& book = ledger();
  std::lock_guard lock(book.mutex);
  if (book.outstanding++ == 0) {
    // Anew each time: what the program built before this moment, the host's statics included, must
    // still be there while the work is waited for. While a program ends it is what is called next.
    std::atexit(waitAtExit);
  }
}

void end() {
  Ledger& book = ledger();
  std::lock_guard lock(book.mutex);
  --book.outstanding;
  book.changed.notify_all();
}

WorkerScope::WorkerScope() { ++workDepth; }
WorkerScope::~WorkerScope() { --workDepth; }

}  // namespace vx::outstanding_work
