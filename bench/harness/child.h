// Work in a process of its own, so that neither memory nor library state of one recording is seen
// by the next one's figures.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <type_traits>

namespace bench {

/// Runs `work` in a child of this process and returns what it returned. To be called while no other
/// thread runs. Throws when the child failed; it has said why on standard error.
template <typename Work>
auto inChild(const Work& work) {
  using Result = std::invoke_result_t<Work>;
  static_assert(std::is_trivially_copyable_v<Result>, "the result travels through a pipe");
  int ends[2];
  std::fflush(nullptr);
  if (::pipe(ends) != 0) {
    throw std::runtime_error("no pipe to a child process");
  }
  const pid_t id = ::fork();
  if (id == 0) {
    ::close(ends[0]);
    try {
      const Result result = work();
      const bool sent = ::write(ends[1], &result, sizeof result) == ssize_t{sizeof result};
      ::_exit(sent ? EXIT_SUCCESS : EXIT_FAILURE);
    } catch (const std::exception& problem) {
      std::fprintf(stderr, "%s\n", problem.what());
      ::_exit(EXIT_FAILURE);
    }
  }
  ::close(ends[1]);
  Result result{};
  const bool received = ::read(ends[0], &result, sizeof result) == ssize_t{sizeof result};
  ::close(ends[0]);
  int status = 0;
  while (id > 0 && ::waitpid(id, &status, 0) < 0 && errno == EINTR) {
  }
  if (id < 0 || !received || !WIFEXITED(status) || WEXITSTATUS(status) != EXIT_SUCCESS) {
    throw std::runtime_error("a child process failed");
  }
  return result;
}

}  // namespace bench
