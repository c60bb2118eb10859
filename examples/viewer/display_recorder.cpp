#include "display_recorder.h"

#include <chrono>
#include <condition_variable>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <utility>

namespace viewer {
namespace {

// The last picture of a recording is worth a moment of patience.
constexpr std::chrono::milliseconds kRoomWait{500};

/// "viewer-20260131-235959.mp4"; the recorder would replace a file of that name.
std::string freeName(const std::string& folder) {
  const std::time_t now = std::time(nullptr);
  std::tm local = {};
  localtime_r(&now, &local);
  char stem[64];
  std::strftime(stem, sizeof stem, "viewer-%Y%m%d-%H%M%S", &local);
  std::string name = std::string(stem) + ".mp4";
  for (int number = 2; std::filesystem::exists(folder + "/" + name); ++number) {
    name = std::string(stem) + "-" + std::to_string(number) + ".mp4";
  }
  return name;
}

}  // namespace

// The recorder tells on its own thread; the display's thread is only woken.
class DisplayRecorder::Delegate : public VXVideoRecorderDelegate {
 public:
  explicit Delegate(std::function<void()> tell) : _tell(std::move(tell)) {}

  void writeVideoFileDone() override {
    {
      std::lock_guard lock(_mutex);
      _isDone = true;
    }
    _changed.notify_all();
    _tell();
  }
  bool isDone() const {
    std::lock_guard lock(_mutex);
    return _isDone;
  }
  void wait() const {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [this] { return _isDone; });
  }

 private:
  std::function<void()> _tell;
  mutable std::mutex _mutex;
  mutable std::condition_variable _changed;
  bool _isDone = false;  // guarded by _mutex
};

DisplayRecorder::DisplayRecorder(std::string folder, std::function<void()> tell)
    : _folder(std::filesystem::absolute(folder).lexically_normal().string()),
      _tell(std::move(tell)) {}

DisplayRecorder::~DisplayRecorder() {
  if (_recorder) {
    stop({}, 0);
  }
  waitForFiles();
}

void DisplayRecorder::start(const Picture& shown, std::uint32_t nowMs) {
  if (_state != State::idle || shown.isEmpty()) {
    return;
  }
  std::error_code failed;
  std::filesystem::create_directories(_folder, failed);
  if (failed) {
    // The recorder would go elsewhere; this host records where it was told to or not at all.
    fail("the folder " + _folder + " cannot be made: " + failed.message());
    return;
  }
  const std::string name = freeName(_folder);
  _path = (std::filesystem::path(_folder) / name).string();
  _delegate = std::make_shared<Delegate>(_tell);
  _recorder = VXVideoRecorder::initWithDelegate(_delegate);
  _recorder->setStoragePath(_folder);
  _recorder->setFilename(name);
  _clock = {};
  _lastMs = 0;
  _startMs = nowMs;
  _state = State::recording;
  append(shown, nowMs);  // the first picture opens the file
}

// One call a picture; the recorder copies it and does everything else on threads of its own.
void DisplayRecorder::take(const Picture& shown, std::uint32_t nowMs) {
  if (_state == State::recording) {
    append(shown, nowMs);
  }
}

// A display that stands still brings no pictures, so what it shows is handed over before the pause,
// or its time would be the pause's, and again behind it.
void DisplayRecorder::togglePause(const Picture& shown, std::uint32_t nowMs) {
  if (_state == State::recording) {
    append(shown, nowMs);
    if (_recorder) {
      _recorder->pause();
      _state = State::paused;
    }
  } else if (_state == State::paused) {
    append(shown, nowMs);
    if (_recorder) {
      _state = State::recording;
    }
  }
}

// The last picture lasts until now.
void DisplayRecorder::stop(const Picture& shown, std::uint32_t nowMs) {
  if (_state == State::recording && !shown.isEmpty()) {
    _recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(kRoomWait);
    append(shown, nowMs);
  }
  if (!_recorder) {
    return;
  }
  _recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(kRoomWait);
  _recorder->stop();
  _endings.push_back(
      {std::move(_recorder), std::move(_delegate), {_path, _clock.durationMs(), {}}});
  _state = State::idle;
}

void DisplayRecorder::append(const Picture& picture, std::uint32_t nowMs) {
  _recorder->appendVideoSample(
      {{"timestamp", nowMs},
       {"frameBuffer",
        vx::NSData::dataWithBytesNoCopy(picture.pixels.data(), picture.pixels.size())},
       {"pixelFormatType", vx::kCVPixelFormatType_32BGRA},
       {"width", static_cast<std::uint32_t>(picture.width)},
       {"height", static_cast<std::uint32_t>(picture.height)},
       {"bytesPerRow", static_cast<std::uint32_t>(picture.bytesPerRow())}});
  if (!_recorder->writer()) {
    fail("no file can be made in " + _folder);
    return;
  }
  _lastMs = nowMs - _startMs;  // modulo 2^32, like the recorder's own reckoning
  _clock.accept(_lastMs, _state == State::paused);
  if (!isWriting()) {
    stop({}, nowMs);  // the writer has failed; what it wrote so far is kept
  }
}

bool DisplayRecorder::isWriting() const {
  return _recorder->writer()->status() == vx::AVAssetWriterStatusWriting;
}

void DisplayRecorder::fail(const std::string& why) {
  _failure = Outcome{_path, 0, why};
  _recorder = nullptr;
  _delegate = nullptr;
  _state = State::idle;
  _tell();
}

std::int64_t DisplayRecorder::recordedMs(std::uint32_t nowMs) const {
  const std::int64_t sinceLast = std::int64_t{nowMs - _startMs} - _lastMs;
  return _clock.timeMs() + (_state == State::recording ? sinceLast : 0);
}

std::optional<Outcome> DisplayRecorder::takeOutcome() {
  if (_failure) {
    return std::exchange(_failure, std::nullopt);
  }
  if (_endings.empty() || !_endings.front().delegate->isDone()) {
    return std::nullopt;
  }
  const Ending ending = std::move(_endings.front());
  _endings.erase(_endings.begin());
  Outcome outcome = ending.outcome;
  const auto& writer = ending.recorder->writer();
  if (writer->status() != vx::AVAssetWriterStatusCompleted) {
    outcome.error = writer->error() ? writer->error()->localizedDescription() : "unknown reason";
  }
  return outcome;
}

void DisplayRecorder::waitForFiles() {
  for (const Ending& ending : _endings) {
    ending.delegate->wait();
  }
}

}  // namespace viewer
