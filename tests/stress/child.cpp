#include "stress/child.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>

#include "support/program.h"

namespace vx::test {

std::int64_t nowNanoseconds() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

void Teller::tell(Message::Kind kind, std::int64_t value) const {
  const Message message{kind, value, nowNanoseconds()};
  if (write(_descriptor, &message, sizeof message) != sizeof message) {
    _exit(99);  // nobody listens any more
  }
}

Child::Child(const std::function<void(const Teller&)>& body) {
  int ends[2] = {-1, -1};
  if (pipe(ends) != 0) {
    throw std::runtime_error("no pipe could be made");
  }
  _id = fork();
  if (_id == 0) {
    close(ends[0]);
    body(Teller(ends[1]));
    std::exit(0);
  }
  close(ends[1]);
  _descriptor = ends[0];
  if (_id < 0) {
    throw std::runtime_error("no process could be started");
  }
}

Child::~Child() {
  if (!_status) {
    ::kill(_id, SIGKILL);
    wait();
  }
  close(_descriptor);
}

std::optional<Message> Child::next() {
  const auto bound = std::chrono::duration_cast<std::chrono::milliseconds>(kBound);
  pollfd poller{_descriptor, POLLIN, 0};
  Message message;
  if (poll(&poller, 1, static_cast<int>(bound.count())) != 1 ||
      read(_descriptor, &message, sizeof message) != sizeof message) {
    return std::nullopt;
  }
  _messages.push_back(message);
  return message;
}

bool Child::waitFor(Message::Kind kind) {
  while (const std::optional<Message> message = next()) {
    if (message->kind == kind) {
      return true;
    }
  }
  return false;
}

bool Child::hasTold(Message::Kind kind) const {
  return std::any_of(_messages.begin(), _messages.end(),
                     [kind](const Message& message) { return message.kind == kind; });
}

std::int64_t Child::kill() {
  const std::int64_t moment = nowNanoseconds();
  ::kill(_id, SIGKILL);
  while (next()) {
  }
  wait();
  return moment;
}

int Child::wait() {
  int state = 0;
  while (!_status) {
    if (waitpid(_id, &state, 0) == _id) {
      _status = WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state);
    } else if (errno != EINTR) {
      throw std::runtime_error("the child cannot be waited for");
    }
  }
  return *_status;
}

}  // namespace vx::test
