// What happens on a display.
#pragma once

#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "x11_connection.h"
#include "x11_pointer.h"
#include "x11_region.h"

namespace vxrecord {

/// What is different since the last look.
struct DisplayNews {
  Rect screen;                        ///< as large as it is now
  std::vector<Rect> damage;           ///< drawn anew
  std::optional<PointerImage> image;  ///< the pointer's new look
  int pointerX = 0;
  int pointerY = 0;
};

/// Lets the server tell what changes. Where it lacks an extension everything counts as changed.
class DisplayWatch {
 public:
  /// `screen` is what the connection tells now.
  DisplayWatch(const X11Connection& connection, const Rect& screen);

  /// Takes in what the server has told so far; does not wait.
  void listen();
  /// Whether anything may be different.
  bool hasNews() const;
  /// Asks what is different. The answer is the state of one moment between the call and its
  /// return; what is drawn after that is news again.
  /// Errors: false when the server has gone.
  bool collect(DisplayNews& news);
  /// Lets the next look ask for the pointer, which a program can move without a word.
  void suspectPointer() { _hasPointerMoved = true; }
  /// Lets the next look ask for the screen's size and take all of it as drawn anew.
  void suspectScreen();
  /// Whether drawing is told by the server; otherwise the screen has to be read at a fixed rate.
  bool tellsDamage() const { return _damage != 0; }
  /// Whether moves of the pointer are told.
  bool tellsMoves() const { return _inputOpcode != 0; }

 private:
  void watchSize() const;
  void watchDrawing();
  void watchPointer();
  void watchMoves();
  void take(const xcb_generic_event_t& event);
  void collectDamage(DisplayNews& news, xcb_xfixes_fetch_region_cookie_t cookie);
  static PointerImage imageOf(const xcb_xfixes_get_cursor_image_reply_t& reply);

  const X11Connection& _connection;
  Rect _screen;
  xcb_damage_damage_t _damage = 0;  // 0: not told
  xcb_xfixes_region_t _region = 0;  // what the server answers into
  std::uint8_t _damageEvent = 0;
  std::uint8_t _pointerEvent = 0;
  std::uint8_t _inputOpcode = 0;  // 0: moves are not told
  bool _hasPointer = false;       // whether its look can be asked for
  bool _isDrawn = false;
  bool _isWholeDrawn = true;
  bool _hasPointerMoved = true;
  bool _isPointerNew = true;
  bool _isScreenNew = true;
};

}  // namespace vxrecord
