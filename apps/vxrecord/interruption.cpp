#include "interruption.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace vxrecord {
namespace {

static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may only use such");
std::atomic<bool> interrupted = false;
// The handler writes a byte into this pipe, which wakes a sleeper that began just before it.
int wakeRead = -1;
int wakeWrite = -1;

extern "C" void noteInterruption(int) {
  const int savedErrno = errno;
  interrupted = true;
  const char byte = 0;
  [[maybe_unused]] const ssize_t written = write(wakeWrite, &byte, 1);
  errno = savedErrno;
}

}  // namespace

void listenForInterruption() {
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0) {
    wakeRead = ends[0];
    wakeWrite = ends[1];
  }
  struct sigaction action = {};
  action.sa_handler = noteInterruption;
  action.sa_flags = static_cast<int>(SA_RESETHAND);  // no SA_RESTART: a blocked read has to end
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    sigaction(signal, &action, nullptr);
  }
  std::signal(SIGPIPE, SIG_IGN);
}

bool isInterrupted() { return interrupted; }

bool sleepUntil(std::chrono::steady_clock::time_point moment) {
  using std::chrono::milliseconds;
  while (!isInterrupted()) {
    const auto left = std::chrono::ceil<milliseconds>(moment - std::chrono::steady_clock::now());
    if (left <= milliseconds::zero()) {
      return true;
    }
    pollfd wake = {wakeRead, POLLIN, 0};
    poll(&wake, 1, static_cast<int>(std::min(left, milliseconds(60000)).count()));
  }
  return false;
}

}  // namespace vxrecord
