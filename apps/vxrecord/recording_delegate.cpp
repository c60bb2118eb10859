#include "recording_delegate.h"

#include <cstdio>
#include <string_view>

namespace vxrecord {
namespace {

// Every line opens with two bracketed texts; what counts stands behind them.
std::string_view withoutPrefix(std::string_view line) {
  for (int bracket = 0; bracket < 2 && line.starts_with('['); ++bracket) {
    const std::size_t end = line.find(']');
    if (end == std::string_view::npos) {
      break;
    }
    line.remove_prefix(end + 1);
  }
  while (line.starts_with(' ')) {
    line.remove_prefix(1);
  }
  return line;
}

constexpr std::string_view kRefused = "appendVideoSample - sample not appended";
constexpr std::string_view kNoBuffer = "Pixel buffer create failed";
constexpr std::string_view kNoSample = "Sample buffer create failed";
constexpr std::string_view kNoMemory = "There is not enough memory: a frame is lost";
constexpr std::string_view kNotStopped =
    "There is not enough memory: the recording is not stopped yet";
constexpr std::string_view kSpaceShort = "status 1 with error";
constexpr std::string_view kException = "exception : ";
constexpr std::string_view kRecord = "Record ";
constexpr std::string_view kDone = " - done";

}  // namespace

void RecordingDelegate::writeLog(const std::string& message, std::int32_t) {
  std::lock_guard lock(_mutex);
  // The recorder stops once more when it is let go of, and logs that this came too late.
  if (_isFileDone) {
    return;
  }
  if (_showsLog) {
    std::fprintf(stderr, "%s\n", message.c_str());
  }
  const std::string_view text = withoutPrefix(message);
  if (text.starts_with(kRefused) || text.starts_with(kNoBuffer) || text.starts_with(kNoSample) ||
      text.starts_with(kNoMemory)) {
    ++_lostFrames;
  } else if (text.starts_with(kSpaceShort)) {
    _isSpaceShort = true;
  } else if (text.starts_with(kException)) {
    _exception = text.substr(kException.size());
    _changed.notify_all();
  } else if (text.starts_with(kNotStopped)) {
    _exception = text;
    _changed.notify_all();
  } else if (text.starts_with(kRecord)) {
    _isSuccess = text.ends_with(kDone);
  }
}

void RecordingDelegate::writeVideoFileDone() {
  std::lock_guard lock(_mutex);
  _isFileDone = true;
  _changed.notify_all();
}

std::int64_t RecordingDelegate::lostFrames() const {
  std::lock_guard lock(_mutex);
  return _lostFrames;
}

bool RecordingDelegate::isSpaceShort() const {
  std::lock_guard lock(_mutex);
  return _isSpaceShort;
}

bool RecordingDelegate::waitForOutcome() {
  std::unique_lock lock(_mutex);
  _changed.wait(lock, [this] { return _isFileDone || _exception; });
  return _isFileDone && _isSuccess;
}

std::optional<std::string> RecordingDelegate::exception() const {
  std::lock_guard lock(_mutex);
  return _exception;
}

}  // namespace vxrecord
