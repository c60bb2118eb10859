// Notices an encoder that does not come back.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace vx {

/// The coding thread says when it enters and leaves the encoder; another thread looks now and then
/// whether it is still inside the same call. Several looks in a row must find it there: a process
/// that was stopped for a while, encoder and all, counts as one look and not as an encoder that
/// hangs.
class EncoderWatch {
 public:
  using Clock = std::chrono::steady_clock;

  explicit EncoderWatch(std::chrono::milliseconds patience) : _step(patience / kLooks) {}

  /// Lives as long as one call into the encoder. Thread: the coding thread.
  class Visit {
   public:
    explicit Visit(EncoderWatch& watch) : _watch(watch) { ++_watch._crossings; }
    ~Visit() { ++_watch._crossings; }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

   private:
    EncoderWatch& _watch;
  };

  // Thread: the one that looks, for these two.
  Clock::time_point nextLook() const { return _nextLook; }
  /// True when one call has lasted for the whole patience.
  bool isStuck(Clock::time_point now) {
    if (now < _nextLook) {
      return false;
    }
    _nextLook = now + _step;
    const std::uint64_t crossings = _crossings;
    const bool isInside = crossings % 2 == 1;
    _looks = isInside && crossings == _crossingsSeen ? _looks + 1 : 0;
    _crossingsSeen = crossings;
    return _looks >= kLooks;
  }

 private:
  static constexpr int kLooks = 4;

  const Clock::duration _step;
  std::atomic<std::uint64_t> _crossings = 0;  // odd while the coding thread is inside
  // Of the thread that looks.
  Clock::time_point _nextLook = Clock::now();
  std::uint64_t _crossingsSeen = 0;
  int _looks = 0;
};

}  // namespace vx
