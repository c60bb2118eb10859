// Callbacks into a C host, and their end.
#include "capi/host.h"

#include <algorithm>
#include <chrono>
#include <string_view>

namespace vx::capi {

namespace {

constexpr std::string_view kRefusalMark = " AVAssetWriter status: ";
constexpr std::string_view kExceptionMark = " exception : ";

bool tellsOfTrouble(std::string_view line) {
  return line.find(kRefusalMark) != line.npos || line.find(kExceptionMark) != line.npos;
}

}  // namespace

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
    if (!_isAllowed) {
      return;
    }
    const std::lock_guard lock(_host._mutex);
    auto& running = _host._running;
    running.erase(std::find(running.begin(), running.end(), std::this_thread::get_id()));
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
  if (tellsOfTrouble(message)) {
    const std::lock_guard lock(_mutex);
    _trouble = message;
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
  {
    const Callback callback(*this);
    if (callback.isAllowed() && _callbacks.done) {
      try {
        _callbacks.done(_callbacks.user_data, outcome);
      } catch (...) {
        // As above.
      }
    }
  }
  const std::lock_guard lock(_mutex);
  _outcome = outcome;
  _changed.notify_all();
}

void Host::detach() {
  std::unique_lock lock(_mutex);
  _isDetached = true;
  _changed.wait(lock, [this] {
    const auto isOwn = [](std::thread::id id) { return id == std::this_thread::get_id(); };
    return std::all_of(_running.begin(), _running.end(), isOwn);
  });
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

std::optional<std::string> Host::trouble() const {
  const std::lock_guard lock(_mutex);
  return _trouble;
}

}  // namespace vx::capi
