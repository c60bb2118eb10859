// The recorder's delegate that speaks to a C host.
#pragma once

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "VXVideoRecorder/capi.h"

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace vx::capi {

/// Hands log lines and the notice of a finished file to callbacks until it is detached.
/// Thread: any.
class Host : public VXVideoRecorderDelegate {
 public:
  explicit Host(const vx_callbacks& callbacks) : _callbacks(callbacks) {}

  /// The recorder that it serves, for the outcome; not kept alive.
  void setRecorder(const std::shared_ptr<VXVideoRecorder>& recorder) { _recorder = recorder; }

  void writeLog(const std::string& message, std::int32_t level) override;
  void writeVideoFileDone() override;

  /// From its return on no callback runs or comes, except for those that the caller is within.
  void detach();
  /// Waits for the end of `writeVideoFileDone`; nothing when `timeoutMs` (negative: without end)
  /// have passed.
  std::optional<vx_result> waitUntilDone(std::int32_t timeoutMs);
  bool isDone() const;
  /// Whether the calling thread is within a callback.
  bool isWithinCallback() const;

  /// Forgets the trouble; to be called before the recorder is.
  void forgetTrouble();
  /// The line, since then, in which the recorder told of a sample that the writer refused or of an
  /// exception that it caught. The recorder tells of them in its log alone.
  std::optional<std::string> trouble() const;

 private:
  class Callback;

  const vx_callbacks _callbacks;
  std::weak_ptr<VXVideoRecorder> _recorder;  // set before the first call

  mutable std::mutex _mutex;
  std::condition_variable _changed;
  bool _isDetached = false;               // guarded by _mutex, as all below
  std::vector<std::thread::id> _running;  // one entry a callback that runs
  std::optional<vx_result> _outcome;
  std::optional<std::string> _trouble;
};

}  // namespace vx::capi
