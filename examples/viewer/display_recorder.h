// How a host feeds the recorder from the thread that shows the stream. This is the part to copy.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "picture.h"
#include "recording_clock.h"

namespace viewer {

/// A recording that has ended, well or not.
struct Outcome {
  std::string path;
  std::int64_t durationMs = 0;
  std::string error;  ///< empty: the file is complete
};

/// Times are milliseconds of the display's clock, as the recorder takes them.
/// Thread: all calls on the display's thread.
class DisplayRecorder {
 public:
  enum class State : std::uint8_t { idle, recording, paused };

  /// `tell` is called, on a thread of the recorder, when an outcome is there to be taken.
  DisplayRecorder(std::string folder, std::function<void()> tell);
  /// Ends the recording and waits until every file is complete.
  ~DisplayRecorder();
  DisplayRecorder(const DisplayRecorder&) = delete;
  DisplayRecorder& operator=(const DisplayRecorder&) = delete;

  State state() const { return _state; }
  /// Of the recording that runs.
  const std::string& path() const { return _path; }
  std::int64_t recordedMs(std::uint32_t nowMs) const;

  /// Begins a recording with what the display shows at this moment.
  void start(const Picture& shown, std::uint32_t nowMs);
  /// The display shows this picture from now on.
  void take(const Picture& shown, std::uint32_t nowMs);
  void togglePause(const Picture& shown, std::uint32_t nowMs);
  /// Ends the recording; the file is completed meanwhile and then becomes an outcome.
  void stop(const Picture& shown, std::uint32_t nowMs);
  /// The next recording whose file is complete.
  std::optional<Outcome> takeOutcome();
  /// Waits until no file is being completed any more.
  void waitForFiles();

 private:
  class Delegate;
  /// A recorder whose file is being completed.
  struct Ending {
    std::shared_ptr<VXVideoRecorder> recorder;
    std::shared_ptr<Delegate> delegate;
    Outcome outcome;
  };
  void append(const Picture& picture, std::uint32_t nowMs);
  void fail(const std::string& why);
  bool isWriting() const;

  std::string _folder;
  std::function<void()> _tell;
  State _state = State::idle;
  std::shared_ptr<VXVideoRecorder> _recorder;  // while a recording runs
  std::shared_ptr<Delegate> _delegate;
  std::string _path;
  vxrecord::RecordingClock _clock;
  std::int64_t _lastMs = 0;
  std::uint32_t _startMs = 0;
  std::vector<Ending> _endings;
  std::optional<Outcome> _failure;
};

}  // namespace viewer
