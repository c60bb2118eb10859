#include "x11_attempt.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>

#include "interruption.h"
#include "signals_blocked.h"

namespace vxrecord {
namespace {

using Clock = std::chrono::steady_clock;

// How often a wait looks whether the end was asked for.
constexpr std::chrono::milliseconds kLook{50};

X11Answer connectTo(const std::string& display) {
  X11Answer answer;
  answer.connection.reset(xcb_connect(display.c_str(), &answer.screenNumber));
  return answer;
}

// Where the environment does not name the file with a person's rights, libXau puts its usual name
// together in one buffer for all threads.
void nameAuthorityFile() {
  if (const char* home = std::getenv("HOME")) {
    setenv("XAUTHORITY", (std::string(home) + "/.Xauthority").c_str(), 0);
  }
}

}  // namespace

// A name that asks for a screen that is not there gives a connection that has failed.
const xcb_screen_t& X11Answer::screen() const {
  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
  for (int number = screenNumber; screens.rem > 1 && number > 0; --number) {
    xcb_screen_next(&screens);
  }
  return *screens.data;
}

X11Attempt::X11Attempt(const std::string& display) {
  static std::once_flag isNamed;
  std::call_once(isNamed, nameAuthorityFile);
  std::promise<X11Answer> promise;
  _answer = promise.get_future();
  const SignalsBlocked blocked;
  std::thread([promise = std::move(promise), display]() mutable {
    promise.set_value(connectTo(display));
  }).detach();
}

X11Answer X11Attempt::answerBy(Clock::time_point moment) {
  while (_answer.wait_until(std::min(moment, Clock::now() + kLook)) != std::future_status::ready) {
    if (isInterrupted() || Clock::now() >= moment) {
      return {};
    }
  }
  return _answer.get();
}

}  // namespace vxrecord
