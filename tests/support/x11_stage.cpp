#include "support/x11_stage.h"

#include <xcb/randr.h>
#include <xcb/render.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <cstdlib>
#include <stdexcept>

namespace vx::test {
namespace {

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using Owned = std::unique_ptr<T, Free>;

constexpr std::uint8_t kArgbDepth = 32;
constexpr std::uint16_t kMillimetres = 200;  // screens have a size that nobody reads

}  // namespace

X11Stage::X11Stage(const std::string& display)
    : _connection(xcb_connect(display.c_str(), nullptr)) {
  if (xcb_connection_has_error(_connection) != 0) {
    xcb_disconnect(_connection);
    throw std::runtime_error("the stage cannot open " + display);
  }
  _root = xcb_setup_roots_iterator(xcb_get_setup(_connection)).data->root;
  _context = xcb_generate_id(_connection);
  const std::uint32_t mode = XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS;
  require(
      xcb_create_gc_checked(_connection, _context, _root, XCB_GC_SUBWINDOW_MODE, &mode).sequence,
      "a context");
}

X11Stage::~X11Stage() { xcb_disconnect(_connection); }

void X11Stage::require(unsigned sequence, const char* what) const {
  const Owned<xcb_generic_error_t> error(xcb_request_check(_connection, {sequence}));
  if (error || xcb_connection_has_error(_connection) != 0) {
    throw std::runtime_error(std::string("the display refuses ") + what);
  }
}

void X11Stage::fill(int x, int y, int width, int height, std::uint32_t color) {
  const xcb_rectangle_t rectangle = {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                                     static_cast<std::uint16_t>(width),
                                     static_cast<std::uint16_t>(height)};
  xcb_change_gc(_connection, _context, XCB_GC_FOREGROUND, &color);
  require(xcb_poly_fill_rectangle_checked(_connection, _root, _context, 1, &rectangle).sequence,
          "drawing");
}

void X11Stage::movePointer(int x, int y) {
  require(xcb_test_fake_input_checked(_connection, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, _root,
                                      static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), 0)
              .sequence,
          "moving the pointer");
}

void X11Stage::warpPointer(int x, int y) {
  require(xcb_warp_pointer_checked(_connection, XCB_NONE, _root, 0, 0, 0, 0,
                                   static_cast<std::int16_t>(x), static_cast<std::int16_t>(y))
              .sequence,
          "warping the pointer");
}

// 32 bits with the colours in the usual order.
std::uint32_t X11Stage::pictureFormat() const {
  const Owned<xcb_render_query_pict_formats_reply_t> reply(xcb_render_query_pict_formats_reply(
      _connection, xcb_render_query_pict_formats(_connection), nullptr));
  for (auto formats = xcb_render_query_pict_formats_formats_iterator(reply.get()); formats.rem > 0;
       xcb_render_pictforminfo_next(&formats)) {
    const xcb_render_directformat_t& direct = formats.data->direct;
    if (formats.data->depth == kArgbDepth && direct.alpha_shift == 24 && direct.red_shift == 16 &&
        direct.blue_shift == 0) {
      return formats.data->id;
    }
  }
  throw std::runtime_error("the display has no pictures with alpha");
}

void X11Stage::setPointer(int width, int height, int hotX, int hotY,
                          const std::vector<std::uint32_t>& pixels) {
  const auto w = static_cast<std::uint16_t>(width);
  const auto h = static_cast<std::uint16_t>(height);
  const xcb_pixmap_t pixmap = xcb_generate_id(_connection);
  const xcb_gcontext_t context = xcb_generate_id(_connection);
  const xcb_render_picture_t picture = xcb_generate_id(_connection);
  const xcb_cursor_t cursor = xcb_generate_id(_connection);
  xcb_create_pixmap(_connection, kArgbDepth, pixmap, _root, w, h);
  xcb_create_gc(_connection, context, pixmap, 0, nullptr);
  xcb_put_image(_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, context, w, h, 0, 0, 0, kArgbDepth,
                static_cast<std::uint32_t>(pixels.size() * sizeof pixels[0]),
                reinterpret_cast<const std::uint8_t*>(pixels.data()));
  xcb_render_create_picture(_connection, picture, pixmap, pictureFormat(), 0, nullptr);
  xcb_render_create_cursor(_connection, cursor, picture, static_cast<std::uint16_t>(hotX),
                           static_cast<std::uint16_t>(hotY));
  require(xcb_change_window_attributes_checked(_connection, _root, XCB_CW_CURSOR, &cursor).sequence,
          "another pointer");
}

// What shows the screen has to be switched off while the screen is smaller than it.
void X11Stage::resizeScreen(int width, int height) {
  const Owned<xcb_randr_get_screen_resources_reply_t> resources(
      xcb_randr_get_screen_resources_reply(
          _connection, xcb_randr_get_screen_resources(_connection, _root), nullptr));
  if (!resources) {
    throw std::runtime_error("the display has no RandR");
  }
  const xcb_randr_crtc_t* crtcs = xcb_randr_get_screen_resources_crtcs(resources.get());
  for (int i = 0; i < xcb_randr_get_screen_resources_crtcs_length(resources.get()); ++i) {
    const Owned<xcb_randr_set_crtc_config_reply_t> off(xcb_randr_set_crtc_config_reply(
        _connection,
        xcb_randr_set_crtc_config(_connection, crtcs[i], XCB_CURRENT_TIME,
                                  resources->config_timestamp, 0, 0, XCB_NONE,
                                  XCB_RANDR_ROTATION_ROTATE_0, 0, nullptr),
        nullptr));
  }
  require(xcb_randr_set_screen_size_checked(_connection, _root, static_cast<std::uint16_t>(width),
                                            static_cast<std::uint16_t>(height), kMillimetres,
                                            kMillimetres)
              .sequence,
          "another size");
}

void X11Stage::sendMessage(std::uint32_t window, const std::string& type, std::uint32_t sender) {
  const Owned<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(
      _connection,
      xcb_intern_atom(_connection, 0, static_cast<std::uint16_t>(type.size()), type.c_str()),
      nullptr));
  xcb_client_message_event_t message = {};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = window;
  message.type = atom ? atom->atom : XCB_NONE;
  message.data.data32[0] = sender;
  require(xcb_send_event_checked(_connection, 0, window, XCB_EVENT_MASK_NO_EVENT,
                                 reinterpret_cast<const char*>(&message))
              .sequence,
          "a message");
}

}  // namespace vx::test
