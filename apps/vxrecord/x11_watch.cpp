#include "x11_watch.h"

#include <xcb/xinput.h>

#include <utility>

namespace vxrecord {

DisplayWatch::DisplayWatch(const X11Connection& connection, const Rect& screen)
    : _connection(connection), _screen(screen) {
  watchSize();
  watchPointer();
  watchDrawing();
  watchMoves();
  xcb_flush(_connection.get());
}

// The root window is as large as the screen, whatever has changed it.
void DisplayWatch::watchSize() const {
  const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
  xcb_change_window_attributes(_connection.get(), _connection.root(), XCB_CW_EVENT_MASK, &mask);
}

void DisplayWatch::watchPointer() {
  const xcb_query_extension_reply_t* fixes = _connection.extension(xcb_xfixes_id);
  if (!fixes) {
    return;
  }
  const XcbPointer<xcb_xfixes_query_version_reply_t> version(xcb_xfixes_query_version_reply(
      _connection.get(), xcb_xfixes_query_version(_connection.get(), 2, 0), nullptr));
  if (!version || version->major_version < 2) {
    return;
  }
  _hasPointer = true;
  _pointerEvent = static_cast<std::uint8_t>(fixes->first_event + XCB_XFIXES_CURSOR_NOTIFY);
  xcb_xfixes_select_cursor_input(_connection.get(), _connection.root(),
                                 XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
}

// One event tells that something was drawn; the next one comes only after the damage was taken, so
// a storm of drawing costs nothing here. Regions belong to XFixes.
void DisplayWatch::watchDrawing() {
  const xcb_query_extension_reply_t* damage = _connection.extension(xcb_damage_id);
  if (!damage || !_hasPointer) {
    return;
  }
  const XcbPointer<xcb_damage_query_version_reply_t> version(xcb_damage_query_version_reply(
      _connection.get(), xcb_damage_query_version(_connection.get(), 1, 1), nullptr));
  if (!version) {
    return;
  }
  _damageEvent = static_cast<std::uint8_t>(damage->first_event + XCB_DAMAGE_NOTIFY);
  _damage = xcb_generate_id(_connection.get());
  _region = xcb_generate_id(_connection.get());
  xcb_damage_create(_connection.get(), _damage, _connection.root(),
                    XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
  xcb_xfixes_create_region(_connection.get(), _region, 0, nullptr);
}

// Raw motion is told whatever window is below the pointer and whoever has grabbed it.
void DisplayWatch::watchMoves() {
  const xcb_query_extension_reply_t* input = _connection.extension(xcb_input_id);
  if (!input) {
    return;
  }
  const XcbPointer<xcb_input_xi_query_version_reply_t> version(xcb_input_xi_query_version_reply(
      _connection.get(), xcb_input_xi_query_version(_connection.get(), 2, 2), nullptr));
  if (!version || std::pair(version->major_version, version->minor_version) <
                      std::pair<std::uint16_t, std::uint16_t>(2, 1)) {
    return;
  }
  const struct {
    xcb_input_event_mask_t head;
    std::uint32_t mask;
  } wish = {{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_RAW_MOTION};
  xcb_input_xi_select_events(_connection.get(), _connection.root(), 1, &wish.head);
  _inputOpcode = input->major_opcode;
}

void DisplayWatch::listen() {
  while (const XcbPointer<xcb_generic_event_t> event{xcb_poll_for_event(_connection.get())}) {
    take(*event);
  }
}

void DisplayWatch::take(const xcb_generic_event_t& event) {
  const std::uint8_t type = event.response_type;  // 0: an error, which nobody waits for
  if (type == XCB_CONFIGURE_NOTIFY) {
    suspectScreen();
  } else if (tellsDamage() && type == _damageEvent) {
    _isDrawn = true;
  } else if (_hasPointer && type == _pointerEvent) {
    _isPointerNew = true;
  } else if (type == XCB_GE_GENERIC) {
    _hasPointerMoved = true;  // raw motion is the only one of these that was asked for
  }
}

void DisplayWatch::suspectScreen() {
  _isScreenNew = true;
  _isWholeDrawn = true;
}

bool DisplayWatch::hasNews() const {
  return _isDrawn || _isWholeDrawn || _isScreenNew || _hasPointerMoved || _isPointerNew ||
         !tellsDamage();
}

// All questions are asked before the first answer is waited for.
bool DisplayWatch::collect(DisplayNews& news) {
  xcb_connection_t* connection = _connection.get();
  const bool asksDamage = tellsDamage() && (_isDrawn || _isWholeDrawn);
  const bool asksImage = _hasPointer && _isPointerNew;
  xcb_xfixes_fetch_region_cookie_t region = {};
  xcb_xfixes_get_cursor_image_cookie_t image = {};
  if (asksDamage) {
    xcb_damage_subtract(connection, _damage, XCB_NONE, _region);
    region = xcb_xfixes_fetch_region(connection, _region);
  }
  if (asksImage) {
    image = xcb_xfixes_get_cursor_image(connection);
  }
  const xcb_query_pointer_cookie_t pointer = xcb_query_pointer(connection, _connection.root());
  if (_isScreenNew) {
    _screen = _connection.screen().value_or(_screen);
  }
  news = {};
  news.screen = _screen;
  if (asksDamage) {
    collectDamage(news, region);
  }
  if (_isWholeDrawn || !tellsDamage()) {
    news.damage = {_screen};
  }
  if (asksImage) {
    const XcbPointer<xcb_xfixes_get_cursor_image_reply_t> reply(
        xcb_xfixes_get_cursor_image_reply(connection, image, nullptr));
    news.image = reply ? imageOf(*reply) : PointerImage{};
  }
  const XcbPointer<xcb_query_pointer_reply_t> place(
      xcb_query_pointer_reply(connection, pointer, nullptr));
  if (place) {
    news.pointerX = place->root_x;
    news.pointerY = place->root_y;
  }
  _isDrawn = _isWholeDrawn = _isScreenNew = _hasPointerMoved = _isPointerNew = false;
  return place != nullptr;
}

void DisplayWatch::collectDamage(DisplayNews& news, xcb_xfixes_fetch_region_cookie_t cookie) {
  const XcbPointer<xcb_xfixes_fetch_region_reply_t> reply(
      xcb_xfixes_fetch_region_reply(_connection.get(), cookie, nullptr));
  if (!reply) {
    return;
  }
  const xcb_rectangle_t* rectangles = xcb_xfixes_fetch_region_rectangles(reply.get());
  for (int i = 0; i < xcb_xfixes_fetch_region_rectangles_length(reply.get()); ++i) {
    const xcb_rectangle_t& rectangle = rectangles[i];
    news.damage.push_back({rectangle.x, rectangle.y, rectangle.width, rectangle.height});
  }
}

PointerImage DisplayWatch::imageOf(const xcb_xfixes_get_cursor_image_reply_t& reply) {
  const std::uint32_t* pixels = xcb_xfixes_get_cursor_image_cursor_image(&reply);
  const auto count =
      static_cast<std::size_t>(xcb_xfixes_get_cursor_image_cursor_image_length(&reply));
  return {reply.width, reply.height, reply.xhot, reply.yhot, {pixels, pixels + count}};
}

}  // namespace vxrecord
