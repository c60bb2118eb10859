// When the file is to be committed next.
#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

namespace vx {

/// A crash may cost half a second of what was recorded, a power cut a second, and what the disk
/// takes on top. So a commit begins early enough to be done within half a second on an ordinary
/// disk, and earlier when nothing more comes. It goes by the clock and not by the next sample: a
/// still screen is committed too. The commit after the last one has no samples: it makes the last
/// one durable. Thread: the one that writes the file.
class CommitSchedule {
 public:
  using Clock = std::chrono::steady_clock;

  /// When to look again although nothing came.
  Clock::time_point nextLook() const {
    return std::min(_due.value_or(kNever), _silentFrom.value_or(kNever));
  }
  bool isDue(Clock::time_point now) const { return now >= nextLook(); }

  void sampleWasWritten(Clock::time_point now) {
    if (!_due) {
      _due = now + kInterval;
    }
    _silentFrom = now + kSilence;
  }
  /// A commit that lasted from `start` until `now`.
  void wasCommitted(bool hadSamples, Clock::time_point start, Clock::time_point now) {
    _silentFrom.reset();
    _due.reset();
    if (hadSamples) {
      // From its start: what the disk took must not be added to what may be lost. What queued up
      // behind one that took longer is taken together, and not one by one.
      _due = std::max(start + kInterval, now + kPause);
    }
  }

 private:
  // Of half a second; the rest is for coding and for the disk.
  static constexpr std::chrono::milliseconds kInterval{450};
  // Longer than the time between two frames of most displays, so that those share a fragment.
  static constexpr std::chrono::milliseconds kSilence{250};
  static constexpr std::chrono::milliseconds kPause{50};
  static constexpr Clock::time_point kNever = Clock::time_point::max();

  std::optional<Clock::time_point> _due;
  std::optional<Clock::time_point> _silentFrom;  // unless a sample comes before
};

}  // namespace vx
