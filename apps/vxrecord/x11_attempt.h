// Connecting to an X server that may never answer.
#pragma once

#include <xcb/xcb.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>

namespace vxrecord {

struct X11Disconnect {
  void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using X11Handle = std::unique_ptr<xcb_connection_t, X11Disconnect>;

/// What comes of an attempt. The connection may be one that has failed, as
/// `xcb_connection_has_error` tells.
struct X11Answer {
  X11Handle connection;  ///< null: no answer
  int screenNumber = 0;  ///< that the display's name asks for

  /// Of a connection that has not failed.
  const xcb_screen_t& screen() const;
};

/// How long a server may take to answer.
inline constexpr std::chrono::seconds kX11Patience{5};

/// An attempt to connect, on a thread of its own: XCB waits without end for a server that takes the
/// connection and says nothing, as one that is stopped does. Several may run side by side. One that
/// is given up ends when its server says something or goes, or with the program.
class X11Attempt {
 public:
  explicit X11Attempt(const std::string& display);
  /// What has come by `moment`; no answer also when the end of the program was asked for. To be
  /// called once.
  X11Answer answerBy(std::chrono::steady_clock::time_point moment);

 private:
  std::future<X11Answer> _answer;
};

}  // namespace vxrecord
