#include "x11_connection.h"

#include <bit>
#include <utility>

#include "input.h"

namespace vxrecord {
namespace {

std::string reasonOf(int connectionError) {
  switch (connectionError) {
    case XCB_CONN_CLOSED_PARSE_ERR:
      return "that is not a display's name; one looks like :0 or host:10.1";
    case XCB_CONN_CLOSED_INVALID_SCREEN:
      return "the server there has no screen of that number";
    default:
      return "is an X server running there, and may this user use it (xhost, XAUTHORITY)?";
  }
}

const xcb_visualtype_t* visualOf(const xcb_screen_t& screen) {
  for (auto depths = xcb_screen_allowed_depths_iterator(&screen); depths.rem > 0;
       xcb_depth_next(&depths)) {
    for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem > 0;
         xcb_visualtype_next(&visuals)) {
      if (visuals.data->visual_id == screen.root_visual) {
        return visuals.data;
      }
    }
  }
  return nullptr;
}

unsigned bitsPerPixel(const xcb_setup_t& setup, std::uint8_t depth) {
  for (auto formats = xcb_setup_pixmap_formats_iterator(&setup); formats.rem > 0;
       xcb_format_next(&formats)) {
    if (formats.data->depth == depth) {
      return formats.data->bits_per_pixel;
    }
  }
  return 0;
}

PixelLayout layoutOf(const xcb_setup_t& setup, const xcb_screen_t& screen,
                     const std::string& display) {
  const xcb_visualtype_t* visual = visualOf(screen);
  const unsigned bits = bitsPerPixel(setup, screen.root_depth);
  const bool isTrueColor = visual && (visual->_class == XCB_VISUAL_CLASS_TRUE_COLOR ||
                                      visual->_class == XCB_VISUAL_CLASS_DIRECT_COLOR);
  if (!isTrueColor || bits < 16 || bits % 8 != 0) {
    throw InputError("the display " + display + " shows colours of a palette (depth " +
                     std::to_string(screen.root_depth) +
                     "), which cannot be recorded; run its server with a depth of 24");
  }
  const bool isServerLittle = setup.image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
  return {bits / 8, visual->red_mask, visual->green_mask, visual->blue_mask,
          isServerLittle != (std::endian::native == std::endian::little)};
}

}  // namespace

X11Connection::X11Connection(const std::string& display, std::chrono::milliseconds patience) {
  X11Answer answer = X11Attempt(display).answerBy(std::chrono::steady_clock::now() + patience);
  if (!answer.connection) {
    throw InputError("cannot open the display " + display + ": its server does not answer");
  }
  if (const int error = xcb_connection_has_error(answer.connection.get())) {
    throw InputError("cannot open the display " + display + ": " + reasonOf(error));
  }
  const xcb_screen_t& screen = answer.screen();
  _root = screen.root;
  _layout = layoutOf(*xcb_get_setup(answer.connection.get()), screen, display);
  _connection = std::move(answer.connection);
}

const xcb_query_extension_reply_t* X11Connection::extension(xcb_extension_t& extension) const {
  const xcb_query_extension_reply_t* reply = xcb_get_extension_data(get(), &extension);
  return reply && reply->present ? reply : nullptr;
}

std::optional<Rect> X11Connection::screen() const {
  const XcbPointer<xcb_get_geometry_reply_t> reply(
      xcb_get_geometry_reply(get(), xcb_get_geometry(get(), _root), nullptr));
  if (!reply) {
    return std::nullopt;
  }
  return Rect{0, 0, reply->width, reply->height};
}

}  // namespace vxrecord
