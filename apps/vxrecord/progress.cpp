#include "progress.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>

#include "result.h"

namespace vxrecord {
namespace {
constexpr std::chrono::milliseconds kTerminalInterval{200};
constexpr std::chrono::milliseconds kLineInterval{1000};
}  // namespace

std::string readableTime(std::int64_t milliseconds) {
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%02lld:%02lld:%02lld.%03lld",
                static_cast<long long>(milliseconds / 3600000),
                static_cast<long long>(milliseconds / 60000 % 60),
                static_cast<long long>(milliseconds / 1000 % 60),
                static_cast<long long>(milliseconds % 1000));
  return text.data();
}

Progress::Progress(Talk talk, std::string file)
    : _file(std::move(file)),
      _isShown(talk != Talk::quiet),
      _isTerminal(isatty(STDERR_FILENO) == 1),
      _interval(_isTerminal ? kTerminalInterval : kLineInterval),
      _start(Clock::now()),
      _lastShown(_start) {
  if (_isShown) {
    std::fprintf(stderr, "recording to %s%s\n", _file.c_str(),
                 _isTerminal ? " (Ctrl-C ends it)" : "");
  }
}

void Progress::update(const ProgressState& state) {
  if (!_isShown) {
    return;
  }
  const Clock::time_point now = Clock::now();
  if (now - _lastShown >= _interval) {
    show(state, now);
  }
}

void Progress::show(const ProgressState& state, Clock::time_point now) {
  const std::chrono::duration<double> passed = now - _lastShown;
  const double rate = static_cast<double>(state.frames - _lastFrames) / passed.count();
  _lastShown = now;
  _lastFrames = state.frames;
  std::error_code ignored;
  const std::uintmax_t bytes = std::filesystem::file_size(_file, ignored);
  std::fprintf(stderr, "%s%s  %lld frames  %.1f fps  %lld dropped  %s%s", _isTerminal ? "\r" : "",
               readableTime(state.timeMs).c_str(), static_cast<long long>(state.frames), rate,
               static_cast<long long>(state.dropped), readableSize(ignored ? 0 : bytes).c_str(),
               _isTerminal ? "\x1b[K" : "\n");
  std::fflush(stderr);
  _hasLine = _isTerminal;
}

void Progress::finish() {
  if (_hasLine) {
    std::fputc('\n', stderr);
    _hasLine = false;
  }
}

}  // namespace vxrecord
