// What a person sees while a recording runs.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "options.h"

namespace vxrecord {

struct ProgressState {
  std::int64_t timeMs = 0;  ///< of the recording
  std::int64_t frames = 0;
  std::int64_t dropped = 0;
};

/// Writes to standard error: one line that is written over on a terminal, otherwise a line a
/// second, which a log can hold.
class Progress {
 public:
  Progress(Talk talk, std::string file);

  /// Shows the state when it is time to; cheap enough for every frame.
  void update(const ProgressState& state);
  /// Leaves the terminal's line. Anything else that is written comes after this.
  void finish();

 private:
  using Clock = std::chrono::steady_clock;
  void show(const ProgressState& state, Clock::time_point now);

  std::string _file;
  bool _isShown;
  bool _isTerminal;
  Clock::duration _interval;
  Clock::time_point _start;
  Clock::time_point _lastShown;
  std::int64_t _lastFrames = 0;
  bool _hasLine = false;
};

/// "00:01:02.345".
std::string readableTime(std::int64_t milliseconds);

}  // namespace vxrecord
