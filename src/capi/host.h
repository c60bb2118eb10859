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

/// What the recorder tells of in its log alone, and a C host has to be answered.
struct Trouble {
  vx_result result;  ///< VX_REFUSED, VX_OUT_OF_MEMORY or VX_EXCEPTION
  std::string line;
};

/// Hands log lines and the notice of a finished file to callbacks until it is detached.
/// Thread: any.
class Host : public VXVideoRecorderDelegate {
 public:
  explicit Host(const vx_callbacks& callbacks);

  /// The recorder that it serves, for the outcome; not kept alive.
  void setRecorder(const std::shared_ptr<VXVideoRecorder>& recorder) { _recorder = recorder; }

  void writeLog(const std::string& message, std::int32_t level) override;
  void writeVideoFileDone() override;

  /// From its return on no callback runs or comes, except for those that the caller is within.
  void detach();
  bool isDetached() const;
  /// Waits for the end of `writeVideoFileDone`; nothing when `timeoutMs` (negative: without end)
  /// have passed.
  std::optional<vx_result> waitUntilDone(std::int32_t timeoutMs);
  bool isDone() const;
  /// Whether the calling thread is within a callback.
  bool isWithinCallback() const;

  /// Forgets the trouble; to be called before the recorder is.
  void forgetTrouble();
  /// The last trouble since then.
  std::optional<Trouble> trouble() const;

 private:
  class Callback;

  const vx_callbacks _callbacks;
  std::weak_ptr<VXVideoRecorder> _recorder;  // set before the first call

  mutable std::mutex _mutex;
  std::condition_variable _changed;
  bool _isDetached = false;               // guarded by _mutex, as all below
  std::vector<std::thread::id> _running;  // one entry a callback that runs
  std::optional<vx_result> _outcome;
  std::optional<Trouble> _trouble;
};

}  // namespace vx::capi
