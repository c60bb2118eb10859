// Callbacks into a C host, and their end.
#include "capi/host.h"

#include <algorithm>
#include <chrono>
#include <string_view>

namespace vx::capi {

namespace {

/// How a line of the recorder's log goes on behind its prefix, and what that means for the call.
struct TroubleMark {
  std::string_view opening;
  vx_result result;
};
constexpr TroubleMark kTroubleMarks[] = {
    {"AVAssetWriter status: ", VX_REFUSED},
    {"exception : ", VX_EXCEPTION},
    // Sizes and formats were looked at before, so nothing but memory was missing.
    {"Pixel buffer create failed", VX_OUT_OF_MEMORY},
    {"Sample buffer create failed", VX_OUT_OF_MEMORY},
};

/// VX_OK for a line that tells of no trouble.
vx_result troubleOf(std::string_view line) {
  constexpr std::string_view kEndOfPrefix = ">] ";
  const std::size_t end = line.find(kEndOfPrefix);
  if (end == line.npos) {
    return VX_OK;
  }
  const std::string_view message = line.substr(end + kEndOfPrefix.size());
  for (const TroubleMark& mark : kTroubleMarks) {
    if (message.starts_with(mark.opening)) {
      return mark.result;
    }
  }
  return VX_OK;
}

constexpr std::size_t kCallbacksAtOnce = 8;  // one within another, and on two threads

}  // namespace

Host::Host(const vx_callbacks& callbacks) : _callbacks(callbacks) {
  _running.reserve(kCallbacksAtOnce);  // so that a callback takes no memory
}

/// The time in which a callback runs; `isAllowed` says whether it may.
class Host::Callback {
 public:
  explicit Callback(Host& host) : _host(host) {
    const std::lock_guard lock(_host._mutex);
    _isAllowed = !_host._isDetached;
    if (_isAllowed) {
      _host._running.push_back(std::this_thread::get_id());
    }
  }
  ~Callback() {
    const std::lock_guard lock(_host._mutex);
    if (_isAllowed) {
      auto& running = _host._running;
      running.erase(std::find(running.begin(), running.end(), std::this_thread::get_id()));
    }
    _host._changed.notify_all();
  }
  Callback(const Callback&) = delete;
  Callback& operator=(const Callback&) = delete;

  bool isAllowed() const { return _isAllowed; }

 private:
  Host& _host;
  bool _isAllowed = false;
};

void Host::writeLog(const std::string& message, std::int32_t level) {
  if (const vx_result result = troubleOf(message); result != VX_OK) {
    const std::lock_guard lock(_mutex);
    _trouble = Trouble{result, message};
  }
  const Callback callback(*this);
  if (callback.isAllowed() && _callbacks.log) {
    try {
      _callbacks.log(_callbacks.user_data, message.c_str(), level);
    } catch (...) {
      // A C++ function given to the C interface; the recorder goes on as if it had returned.
    }
  }
}

void Host::writeVideoFileDone() {
  const std::shared_ptr<VXVideoRecorder> recorder = _recorder.lock();
  const std::shared_ptr<AVAssetWriter> writer = recorder ? recorder->writer() : nullptr;
  const bool isWhole = writer && writer->status() == AVAssetWriterStatusCompleted;
  const vx_result outcome = isWhole ? VX_OK : VX_FAILED;
  const Callback callback(*this);  // its end wakes those who wait for the outcome
  if (callback.isAllowed() && _callbacks.done) {
    try {
      _callbacks.done(_callbacks.user_data, outcome);
    } catch (...) {
      // As above.
    }
  }
  const std::lock_guard lock(_mutex);
  _outcome = outcome;
}

void Host::detach() {
  std::unique_lock lock(_mutex);
  _isDetached = true;
  _changed.wait(lock, [this] {
    const auto isOwn = [](std::thread::id id) { return id == std::this_thread::get_id(); };
    return std::all_of(_running.begin(), _running.end(), isOwn);
  });
}

bool Host::isDetached() const {
  const std::lock_guard lock(_mutex);
  return _isDetached;
}

std::optional<vx_result> Host::waitUntilDone(std::int32_t timeoutMs) {
  std::unique_lock lock(_mutex);
  const auto isDone = [this] { return _outcome.has_value(); };
  if (timeoutMs < 0) {
    _changed.wait(lock, isDone);
  } else {
    _changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), isDone);
  }
  return _outcome;
}

bool Host::isDone() const {
  const std::lock_guard lock(_mutex);
  return _outcome.has_value();
}

bool Host::isWithinCallback() const {
  const std::lock_guard lock(_mutex);
  return std::find(_running.begin(), _running.end(), std::this_thread::get_id()) != _running.end();
}

void Host::forgetTrouble() {
  const std::lock_guard lock(_mutex);
  _trouble.reset();
}

std::optional<Trouble> Host::trouble() const {
  const std::lock_guard lock(_mutex);
  return _trouble;
}

}  // namespace vx::capi
