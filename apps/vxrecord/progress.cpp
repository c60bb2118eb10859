#include "progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>

#include "result.h"

namespace vxrecord {
namespace {

constexpr std::chrono::milliseconds kTerminalInterval{200};
constexpr std::chrono::milliseconds kLineInterval{1000};
constexpr std::chrono::seconds kGrowthMemory{10};

template <typename... Values>
std::string printed(const char* format, Values... values) {
  std::array<char, 160> text{};
  std::snprintf(text.data(), text.size(), format, values...);
  return text.data();
}

/// A longer line would break, and what broke could not be written over.
std::size_t terminalColumns() {
  winsize size = {};
  const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  return isKnown ? size.ws_col : std::string::npos;
}

}  // namespace

std::string readableTime(std::int64_t milliseconds) {
  return printed("%02lld:%02lld:%02lld.%03lld", static_cast<long long>(milliseconds / 3600000),
                 static_cast<long long>(milliseconds / 60000 % 60),
                 static_cast<long long>(milliseconds / 1000 % 60),
                 static_cast<long long>(milliseconds % 1000));
}

std::string readableEstimate(std::int64_t seconds) {
  constexpr std::int64_t kMinute = 60;
  constexpr std::int64_t kHour = 60 * kMinute;
  constexpr std::int64_t kDay = 24 * kHour;
  if (seconds < 2 * kMinute) {
    return std::to_string(seconds) + " s";
  }
  if (seconds < 2 * kHour) {
    return std::to_string(seconds / kMinute) + " min";
  }
  if (seconds < 2 * kDay) {
    return printed("%.1f h", static_cast<double>(seconds) / static_cast<double>(kHour));
  }
  return std::to_string(seconds / kDay) + " d";
}

void GrowthRate::note(Clock::time_point now, std::uint64_t bytes) {
  _notes.push_back({now, bytes});
  while (_notes.size() > 2 && now - _notes.front().time > kGrowthMemory) {
    _notes.pop_front();
  }
}

std::optional<double> GrowthRate::bytesPerSecond() const {
  if (_notes.size() < 2 || _notes.back().bytes <= _notes.front().bytes) {
    return std::nullopt;
  }
  const std::chrono::duration<double> passed = _notes.back().time - _notes.front().time;
  const auto grown = static_cast<double>(_notes.back().bytes - _notes.front().bytes);
  return passed.count() > 0 ? std::optional(grown / passed.count()) : std::nullopt;
}

std::string progressLine(const ProgressState& state, double framesPerSecond, std::uint64_t bytes,
                         const std::optional<Space>& space) {
  std::string line =
      readableTime(state.timeMs) + printed("  %lld frames", static_cast<long long>(state.frames));
  line += state.isPaused ? "  paused" : printed("  %.1f fps", framesPerSecond);
  line += printed("  %lld dropped  ", static_cast<long long>(state.dropped)) + readableSize(bytes);
  if (space) {
    line += "  " + readableSize(space->freeBytes) + " free";
    line += space->secondsLeft ? ", " + readableEstimate(*space->secondsLeft) + " left" : "";
  }
  return line;
}

Progress::Progress(Talk talk, std::string file, bool hasKeys)
    : _file(std::move(file)),
      _isShown(talk != Talk::quiet),
      _isTerminal(isatty(STDERR_FILENO) == 1),
      _interval(_isTerminal ? kTerminalInterval : kLineInterval),
      _lastShown(Clock::now()) {
  if (_isShown) {
    const char* keys = hasKeys ? " (space pauses, q ends)" : " (Ctrl-C ends it)";
    std::fprintf(stderr, "recording to %s%s\n", _file.c_str(), _isTerminal ? keys : "");
  }
}

void Progress::update(const ProgressState& state) {
  if (!_isShown) {
    return;
  }
  const Clock::time_point now = Clock::now();
  if (now - _lastShown >= _interval || state.isPaused != _wasPaused) {
    show(state, now);
  }
}

void Progress::show(const ProgressState& state, Clock::time_point now) {
  const std::chrono::duration<double> passed = now - _lastShown;
  const double rate = static_cast<double>(state.frames - _lastFrames) / passed.count();
  _lastShown = now;
  _lastFrames = state.frames;
  _wasPaused = state.isPaused;
  std::error_code failed;
  const std::uintmax_t found = std::filesystem::file_size(_file, failed);
  const std::uint64_t bytes = failed ? 0 : found;
  _growth.note(now, bytes);
  std::string line = progressLine(state, rate, bytes, space());
  if (_isTerminal) {
    line.resize(std::min(line.size(), terminalColumns() - 1));
  }
  std::fprintf(stderr, "%s%s%s", _isTerminal ? "\r" : "", line.c_str(),
               _isTerminal ? "\x1b[K" : "\n");
  std::fflush(stderr);
  _hasLine = _isTerminal;
}

std::optional<Space> Progress::space() const {
  std::error_code failed;
  const std::string folder = std::filesystem::path(_file).parent_path().string();
  const auto info = std::filesystem::space(folder.empty() ? "." : folder, failed);
  if (failed) {
    return std::nullopt;
  }
  Space space{info.available, std::nullopt};
  if (const auto rate = _growth.bytesPerSecond()) {
    space.secondsLeft = static_cast<std::int64_t>(static_cast<double>(info.available) / *rate);
  }
  return space;
}

void Progress::finish() {
  if (_hasLine) {
    std::fputc('\n', stderr);
    _hasLine = false;
  }
}

}  // namespace vxrecord
