// A part of a screen as a picture that is kept up to date.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "x11_connection.h"
#include "x11_memory.h"
#include "x11_pixels.h"
#include "x11_region.h"

namespace vxrecord {

/// What of `area` lies outside the screen is black.
class ScreenPicture {
 public:
  ScreenPicture(const X11Connection& connection, const Rect& area, const Rect& screen);

  /// Reads what lies in `damage`, which is in the screen's coordinates.
  /// Errors: false when the server gave less, because the screen has another size by now or the
  /// server has gone.
  bool update(const std::vector<Rect>& damage);
  const PictureView& view() const { return _view; }
  const Rect& area() const { return _area; }
  /// Whether the server writes into our memory instead of sending.
  bool isShared() const { return _memory != nullptr; }

 private:
  struct Request {
    Rect part;
    unsigned sequence = 0;
    std::size_t offset = 0;  // in the shared memory
  };
  unsigned askFor(const Rect& part, std::size_t offset) const;
  bool take(const Request& request);
  bool takeAll(std::vector<Request>& requests);
  void copyIn(const Rect& part, const std::uint8_t* bytes);
  bool readRows(const Rect& rows);
  bool readParts(const std::vector<Rect>& parts);
  bool readsRowsInPlace() const;

  const X11Connection& _connection;
  Rect _area;
  Rect _visible;
  PixelReader _reader;
  std::size_t _pictureBytes;
  std::size_t _sparePartBytes;            // behind the picture in the shared memory
  std::unique_ptr<X11Memory> _memory;     // the picture, then parts on their way into it
  std::vector<std::uint32_t> _ownMemory;  // the picture, when memory cannot be shared
  PictureView _view;
};

}  // namespace vxrecord
