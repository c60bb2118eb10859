// A program that draws on an X display, moves its pointer and changes its size, as told.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct xcb_connection_t;

namespace vx::test {

/// Every call returns when the display has done it.
/// Errors: throws std::runtime_error when the display cannot do it.
class X11Stage {
 public:
  explicit X11Stage(const std::string& display);
  ~X11Stage();
  X11Stage(const X11Stage&) = delete;
  X11Stage& operator=(const X11Stage&) = delete;

  /// Fills a part of the screen with 0xRRGGBB, as the display shows it.
  void fill(int x, int y, int width, int height, std::uint32_t color);
  /// Moves the pointer as a person would, with an event.
  void movePointer(int x, int y);
  /// Moves it as a program would, which nobody is told of.
  void warpPointer(int x, int y);
  /// Gives the pointer a look: alpha, red, green, blue, the colours multiplied by alpha.
  void setPointer(int width, int height, int hotX, int hotY,
                  const std::vector<std::uint32_t>& pixels);
  void resizeScreen(int width, int height);
  /// Tells a window something in the name of another one, which need not exist.
  void sendMessage(std::uint32_t window, const std::string& type, std::uint32_t sender);

 private:
  void require(unsigned sequence, const char* what) const;
  std::uint32_t pictureFormat() const;

  xcb_connection_t* _connection;
  std::uint32_t _root = 0;
  std::uint32_t _context = 0;
};

}  // namespace vx::test
