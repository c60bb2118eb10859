// A connection to an X server, and what that server can do.
#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "x11_attempt.h"
#include "x11_pixels.h"
#include "x11_region.h"

namespace vxrecord {

struct XcbDeleter {
  void operator()(void* memory) const { std::free(memory); }
};
/// A reply or event of the server.
template <typename T>
using XcbPointer = std::unique_ptr<T, XcbDeleter>;

/// Thread: one at a time.
class X11Connection {
 public:
  /// Errors: throws InputError when there is no such display, when its server does not answer, and
  /// when its pixels cannot be read.
  explicit X11Connection(const std::string& display,
                         std::chrono::milliseconds patience = kX11Patience);

  xcb_connection_t* get() const { return _connection.get(); }
  xcb_window_t root() const { return _root; }
  const PixelLayout& layout() const { return _layout; }
  /// False once the server has gone.
  bool isAlive() const { return xcb_connection_has_error(get()) == 0; }
  /// What the server says about one of its extensions; null when it has none of that name. A
  /// request of an extension that is missing would end the connection.
  const xcb_query_extension_reply_t* extension(xcb_extension_t& extension) const;
  /// The screen as large as it is now; none when the server has gone.
  std::optional<Rect> screen() const;

 private:
  X11Handle _connection;
  xcb_window_t _root = 0;
  PixelLayout _layout;
};

}  // namespace vxrecord
