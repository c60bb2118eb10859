// viewer: shows a display's stream in a window and records it at the press of a key.
// usage: viewer INPUT [FOLDER]
#include <cstdio>
#include <exception>
#include <string>

#include "display_recorder.h"
#include "interruption.h"
#include "libav.h"
#include "progress.h"
#include "stream.h"
#include "window.h"
#include "x_errors.h"

namespace {

using namespace viewer;
using State = DisplayRecorder::State;

// How long the loop may sleep: the time that is shown goes on meanwhile.
constexpr int kLongestWaitMs = 100;

/// Wakes the display's thread. Thread: any.
void wakeDisplay() {
  SDL_Event event = {};
  event.type = SDL_USEREVENT;
  SDL_PushEvent(&event);
}

std::string minutesAndSeconds(std::int64_t milliseconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%02lld:%02lld", static_cast<long long>(milliseconds / 60000),
                static_cast<long long>(milliseconds / 1000 % 60));
  return text;
}

void say(const std::string& line) {
  std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

class Viewer {
 public:
  Viewer(const std::string& input, const std::string& folder)
      : _input(input),
        _window("waiting for " + input),
        _recorder(folder, wakeDisplay),
        _stream(input, wakeDisplay) {
    _message = {Badge::Symbol::none, "R  record     P  pause     Q  quit"};
  }

  void run();

 private:
  bool handle(const SDL_Event& event);
  bool handleKey(SDL_Keycode key);
  void toggleRecording();
  void togglePause();
  void showNewest();
  void announce();
  std::string titleWhenIdle() const;
  void showState();

  std::string _input;
  Window _window;
  DisplayRecorder _recorder;
  Stream _stream;
  Picture _shown;
  Badge _message;
  std::string _end;    // why the stream has ended, once that was told
  std::string _saved;  // the file that was completed last
};

// Everything that touches the window or the recorder happens here, on one thread.
void Viewer::run() {
  bool goesOn = true;
  while (goesOn && !vxrecord::isInterrupted()) {
    SDL_Event event;
    for (bool isThere = SDL_WaitEventTimeout(&event, kLongestWaitMs) != 0; isThere && goesOn;
         isThere = SDL_PollEvent(&event) != 0) {
      goesOn = handle(event);
    }
    showNewest();
    announce();
    showState();
    _window.present();
  }
  _recorder.stop(_shown, SDL_GetTicks());
  _recorder.waitForFiles();
  announce();
}

void Viewer::showNewest() {
  if (_stream.take(_shown)) {
    _window.setPicture(_shown);
    _window.present();
    _recorder.take(_shown, SDL_GetTicks());
  }
}

bool Viewer::handle(const SDL_Event& event) {
  switch (event.type) {
    case SDL_QUIT:
      return false;
    case SDL_KEYDOWN:
      return event.key.repeat != 0 || handleKey(event.key.keysym.sym);
    case SDL_WINDOWEVENT:
      _window.touch();
      return true;
    default:
      return true;
  }
}

bool Viewer::handleKey(SDL_Keycode key) {
  switch (key) {
    case SDLK_r:
      toggleRecording();
      return true;
    case SDLK_p:
      togglePause();
      return true;
    case SDLK_q:
    case SDLK_ESCAPE:
      return false;
    default:
      return true;
  }
}

void Viewer::toggleRecording() {
  if (_recorder.state() == State::idle) {
    _recorder.start(_shown, SDL_GetTicks());
    if (_recorder.state() == State::recording) {
      _message = {};
      _saved.clear();
      say("recording to " + _recorder.path());
    }
  } else {
    _recorder.stop(_shown, SDL_GetTicks());
  }
}

void Viewer::togglePause() {
  const State before = _recorder.state();
  _recorder.togglePause(_shown, SDL_GetTicks());
  if (_recorder.state() != before) {
    say(_recorder.state() == State::paused ? "paused" : "goes on");
  }
}

void Viewer::announce() {
  while (const auto outcome = _recorder.takeOutcome()) {
    if (outcome->error.empty()) {
      _saved = outcome->path;
      _message = {Badge::Symbol::tick,
                  "Saved " + minutesAndSeconds(outcome->durationMs) + " to " + outcome->path};
      say("saved " + outcome->path + " (" + vxrecord::readableTime(outcome->durationMs) + ")");
    } else {
      _message = {Badge::Symbol::cross, "Not recorded: " + outcome->error};
      say("failed " + outcome->path + ": " + outcome->error);
    }
  }
  if (const std::string end = _stream.end(); _end != end) {
    _end = end;
    _message = {Badge::Symbol::none, end};
    say(end);
  }
}

std::string Viewer::titleWhenIdle() const {
  if (_shown.isEmpty()) {
    return "waiting for " + _input;
  }
  return _saved.empty() ? _input + " - viewer" : "saved " + _saved;
}

void Viewer::showState() {
  const std::string time = minutesAndSeconds(_recorder.recordedMs(SDL_GetTicks()));
  switch (_recorder.state()) {
    case State::recording:
      _window.setTitle("recording " + time + " - " + _input);
      _window.setState({Badge::Symbol::dot, time});
      break;
    case State::paused:
      _window.setTitle("paused " + time + " - " + _input);
      _window.setState({Badge::Symbol::bars, time});
      break;
    case State::idle:
      _window.setTitle(titleWhenIdle());
      _window.setState({});
      break;
  }
  _window.setMessage(_message);
}

int show(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::fprintf(stderr,
                 "usage: %s INPUT [FOLDER]\n"
                 "INPUT is a file, x11:DISPLAY or test:WxH@FPS; recordings go into FOLDER\n"
                 "(otherwise the current one). Keys: R records, P pauses, Q quits.\n",
                 argv[0]);
    return 2;
  }
  vxrecord::listenForSignals();
  vxrecord::catchLibavMessages(vxrecord::LibavTalk::nothing);
  const VanishedWindowsTolerated tolerated;
  const SdlSession session;
  Viewer(argv[1], argc > 2 ? argv[2] : ".").run();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return show(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "viewer: %s\n", error.what());
    return 1;
  }
}
