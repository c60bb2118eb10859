// The system log.
#include "VXVideoRecorder/platform/foundation/NSThread.h"

#include "platform/foundation/signal_block.h"

#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <span>

namespace vx {
namespace {

using Head = std::array<char, 512>;

/// "2024-05-06 07:08:09.123 program[1234] ", and its length.
std::size_t writeHead(Head& head) {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  std::tm local{};
  ::localtime_r(&now.tv_sec, &local);
  const std::size_t dateLength = std::strftime(head.data(), head.size(), "%F %T", &local);
  constexpr long kNanosecondsPerMillisecond = 1000000;
  const int rest = std::snprintf(head.data() + dateLength, head.size() - dateLength,
                                 ".%03ld %.400s[%ld] ", now.tv_nsec / kNanosecondsPerMillisecond,
                                 program_invocation_short_name, static_cast<long>(::getpid()));
  return dateLength + (rest > 0 ? static_cast<std::size_t>(rest) : 0);
}

/// Drops what was written from the front of the parts.
std::span<iovec> remaining(std::span<iovec> parts, std::size_t written) {
  while (!parts.empty() && written >= parts.front().iov_len) {
    written -= parts.front().iov_len;
    parts = parts.subspan(1);
  }
  if (!parts.empty()) {
    parts.front().iov_base = static_cast<char*>(parts.front().iov_base) + written;
    parts.front().iov_len -= written;
  }
  return parts;
}

}  // namespace

// One system call a line: lines of several threads and processes stay whole.
void NSLog(std::string_view message) {
  Head head;
  char lineFeed = '\n';
  std::array<iovec, 3> line{iovec{head.data(), writeHead(head)},
                            iovec{const_cast<char*>(message.data()), message.size()},
                            iovec{&lineFeed, 1}};
  std::span<iovec> parts = line;
  const SignalBlock block(SIGPIPE);  // of a pipe that nobody reads any more
  while (!parts.empty()) {
    const ssize_t written = ::writev(STDERR_FILENO, parts.data(), static_cast<int>(parts.size()));
    if (written < 0 && errno != EINTR) {
      return;  // there is nowhere left to complain
    }
    parts = remaining(parts, written > 0 ? static_cast<std::size_t>(written) : 0);
  }
}

}  // namespace vx
