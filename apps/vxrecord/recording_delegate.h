// What the recorder tells, turned into counts and an outcome.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "VXVideoRecorder/VXVideoRecorderDelegate.h"

namespace vxrecord {

/// Thread: any; the recorder logs on its caller's thread and on the writer's.
class RecordingDelegate : public VXVideoRecorderDelegate {
 public:
  /// With `showsLog` every line also goes to standard error.
  explicit RecordingDelegate(bool showsLog) : _showsLog(showsLog) {}

  void writeLog(const std::string& message, std::int32_t level) override;
  void writeVideoFileDone() override;

  /// Frames that the recorder refused or could not keep.
  std::int64_t lostFrames() const;
  /// Whether the recorder has found too little free space.
  bool isSpaceShort() const;
  /// Waits for the end of the file, or returns at once when the recorder reported an exception, or
  /// that it has no memory to stop, and will not finish. True when the file is done.
  bool waitForOutcome();
  /// The exception that the recorder reported while it stopped, or what it lacked.
  std::optional<std::string> exception() const;

 private:
  const bool _showsLog;
  mutable std::mutex _mutex;
  std::condition_variable _changed;
  // Guarded by _mutex.
  std::int64_t _lostFrames = 0;
  bool _isSpaceShort = false;
  bool _isFileDone = false;
  bool _isSuccess = false;
  std::optional<std::string> _exception;
};

}  // namespace vxrecord
