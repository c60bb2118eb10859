// One whole recording by one contender, measured from every side at once.
#pragma once

#include "bench/contenders/contender.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace bench {

struct RunOptions {
  std::size_t frames = 0;
  Pace pace = Pace::asFastAsTaken;
  /// Before or after each push, by turns, the frame is also copied row by row, by the same thread:
  /// what a copy costs on this machine at this moment.
  bool withPlainCopy = false;
  RecordingSettings settings;
};

struct RunResult {
  double wallSeconds = 0;  // from opening to the complete file
  double cpuSeconds = 0;
  double framesPerSecond = 0;
  double hostMedian = 0, hostP99 = 0;  // seconds of the host's thread a frame
  double copyMedian = 0, copyP99 = 0;
  double stopSeconds = 0;      // `stop` itself
  double completeSeconds = 0;  // from `stop` to the complete file
  std::uint64_t refused = 0;
  // Beyond what was there before, the source's frames among it.
  std::uint64_t peakBytes = 0;
  std::uint64_t settledBytes = 0;  // after the last frame, before `stop`
  std::uint64_t peakFrames = 0;    // that were held, not yet coded, at one time
  // The most at one time beyond the frames that were held then; by the clock only.
  std::uint64_t peakAboveFramesBytes = 0;
};

/// Thread: any; several at once record side by side.
RunResult recordOnce(Contender& contender, const FrameSource& source, const RunOptions& options);

/// The same in a process of its own.
RunResult recordInChild(ContenderFactory make, const FrameSource& source,
                        const RunOptions& options);

}  // namespace bench
