// A process of a test's own that tells what it did and can be killed at any moment.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace vx::test {

/// Something that the child did, and when, by a clock that both processes share.
struct Message {
  enum class Kind : std::int64_t {
    accepted,
    committed,
    stopping,
    finishing,
    diskCall,
    switched,
    done
  };
  Kind kind = Kind::accepted;
  std::int64_t value = 0;
  std::int64_t nanoseconds = 0;
};
std::int64_t nowNanoseconds();

/// The child's end of the pipe.
class Teller {
 public:
  explicit Teller(int descriptor) : _descriptor(descriptor) {}
  /// Thread: any; a message is written whole or not at all.
  void tell(Message::Kind kind, std::int64_t value) const;

 private:
  int _descriptor;
};

/// Runs `body` in a forked process, which then returns from main as far as a fork can.
/// Thread: while the test's process has one thread only.
class Child {
 public:
  explicit Child(const std::function<void(const Teller&)>& body);
  /// Kills it if it still runs.
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// The next message; none when the child ended without another, or after a bound.
  std::optional<Message> next();
  /// Messages up to the first of this kind; false when none came.
  bool waitFor(Message::Kind kind);
  /// All messages so far.
  const std::vector<Message>& messages() const { return _messages; }

  /// Whether it has told this, so far as it was listened to.
  bool hasTold(Message::Kind kind) const;

  /// Kills it with SIGKILL; returns when that was. What it had told before is among the messages.
  std::int64_t kill();
  /// Waits for its own end: the exit status, or 128 and the signal's number.
  int wait();

 private:
  pid_t _id = -1;
  int _descriptor = -1;
  std::optional<int> _status;
  std::vector<Message> _messages;
};

}  // namespace vx::test
