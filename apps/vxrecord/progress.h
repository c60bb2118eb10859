// What a person sees while a recording runs.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "options.h"

namespace vxrecord {

struct ProgressState {
  std::int64_t timeMs = 0;  ///< of the recording
  std::int64_t frames = 0;
  std::int64_t dropped = 0;
  bool isPaused = false;
};

/// What the folder of the recording has left.
struct Space {
  std::uint64_t freeBytes = 0;
  std::optional<std::int64_t> secondsLeft;  ///< at the file's rate of the last seconds
};

/// How fast a file grows, over the last ten seconds: it grows in steps, twice a second.
class GrowthRate {
 public:
  using Clock = std::chrono::steady_clock;
  void note(Clock::time_point now, std::uint64_t bytes);
  /// None while nothing is known, and while nothing grows.
  std::optional<double> bytesPerSecond() const;

 private:
  struct Note {
    Clock::time_point time;
    std::uint64_t bytes;
  };
  std::deque<Note> _notes;
};

/// "00:00:01.500  45 frames  30.0 fps  0 dropped  1.2 MB  52.10 GB free, 12 h left".
std::string progressLine(const ProgressState& state, double framesPerSecond, std::uint64_t bytes,
                         const std::optional<Space>& space);

/// Writes to standard error: one line that is written over on a terminal, otherwise a line a
/// second, which a log can hold.
class Progress {
 public:
  /// `hasKeys`: whether keys are taken, which a person is then told.
  Progress(Talk talk, std::string file, bool hasKeys);

  /// Shows the state when it is time to, and at once when a pause begins or ends; cheap enough for
  /// every frame.
  void update(const ProgressState& state);
  /// Leaves the terminal's line. Anything else that is written comes after this.
  void finish();

 private:
  using Clock = std::chrono::steady_clock;
  void show(const ProgressState& state, Clock::time_point now);
  std::optional<Space> space() const;

  std::string _file;
  bool _isShown;
  bool _isTerminal;
  Clock::duration _interval;
  Clock::time_point _lastShown;
  std::int64_t _lastFrames = 0;
  bool _wasPaused = false;
  bool _hasLine = false;
  GrowthRate _growth;
};

/// "00:01:02.345".
std::string readableTime(std::int64_t milliseconds);
/// "45 s", "12 min", "3.5 h", "20 d": as exact as an estimate is.
std::string readableEstimate(std::int64_t seconds);

}  // namespace vxrecord
