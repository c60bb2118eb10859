#include "x11_picture.h"

namespace vxrecord {
namespace {
constexpr std::uint32_t kAllPlanes = ~std::uint32_t{0};
}

ScreenPicture::ScreenPicture(const X11Connection& connection, const Rect& area, const Rect& screen)
    : _connection(connection),
      _area(area),
      _visible(intersectionOf(area, screen)),
      _reader(connection.layout()),
      _pictureBytes(static_cast<std::size_t>(area.pixels()) * sizeof(std::uint32_t)),
      _sparePartBytes(connection.layout().bytesPerRow(area.width) *
                      static_cast<std::size_t>(area.height)),
      _memory(X11Memory::make(connection, _pictureBytes + _sparePartBytes)) {
  if (!_memory) {
    _ownMemory.resize(static_cast<std::size_t>(area.pixels()));
  }
  _view.pixels = _memory ? reinterpret_cast<std::uint32_t*>(_memory->bytes()) : _ownMemory.data();
  _view.width = area.width;
  _view.height = area.height;
}

bool ScreenPicture::readsRowsInPlace() const {
  return _memory && _connection.layout().isOurs() && _visible.width == _area.width;
}

bool ScreenPicture::update(const std::vector<Rect>& damage) {
  const ReadPlan plan = planReading(damage, _visible, readsRowsInPlace());
  return plan.rows.isEmpty() ? readParts(plan.parts) : readRows(plan.rows);
}

unsigned ScreenPicture::askFor(const Rect& part, std::size_t offset) const {
  const auto x = static_cast<std::int16_t>(part.x);
  const auto y = static_cast<std::int16_t>(part.y);
  const auto width = static_cast<std::uint16_t>(part.width);
  const auto height = static_cast<std::uint16_t>(part.height);
  if (!_memory) {
    return xcb_get_image(_connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, _connection.root(), x, y,
                         width, height, kAllPlanes)
        .sequence;
  }
  return xcb_shm_get_image(_connection.get(), _connection.root(), x, y, width, height, kAllPlanes,
                           XCB_IMAGE_FORMAT_Z_PIXMAP, _memory->segment(),
                           static_cast<std::uint32_t>(offset))
      .sequence;
}

// The server writes the rows where they belong; there is nothing to copy.
bool ScreenPicture::readRows(const Rect& rows) {
  const auto offset =
      static_cast<std::size_t>(rows.y - _area.y) * _connection.layout().bytesPerRow(_area.width);
  const xcb_shm_get_image_cookie_t cookie = {askFor(rows, offset)};
  return XcbPointer<xcb_shm_get_image_reply_t>(
             xcb_shm_get_image_reply(_connection.get(), cookie, nullptr)) != nullptr;
}

// All questions are asked before the first answer is waited for, as far as the memory reaches.
bool ScreenPicture::readParts(const std::vector<Rect>& parts) {
  std::vector<Request> requests;
  std::size_t used = 0;
  bool isWhole = true;
  for (const Rect& part : parts) {
    const std::size_t bytes =
        _connection.layout().bytesPerRow(part.width) * static_cast<std::size_t>(part.height);
    if (used + bytes > _sparePartBytes) {
      isWhole = takeAll(requests) && isWhole;
      used = 0;
    }
    const std::size_t offset = _pictureBytes + used;
    requests.push_back({part, askFor(part, offset), offset});
    used += bytes;
  }
  return takeAll(requests) && isWhole;
}

bool ScreenPicture::takeAll(std::vector<Request>& requests) {
  bool isWhole = true;
  for (const Request& request : requests) {
    isWhole = take(request) && isWhole;
  }
  requests.clear();
  return isWhole;
}

bool ScreenPicture::take(const Request& request) {
  xcb_connection_t* connection = _connection.get();
  if (_memory) {
    const XcbPointer<xcb_shm_get_image_reply_t> reply(
        xcb_shm_get_image_reply(connection, {request.sequence}, nullptr));
    if (reply) {
      copyIn(request.part, _memory->bytes() + request.offset);
    }
    return reply != nullptr;
  }
  const XcbPointer<xcb_get_image_reply_t> reply(
      xcb_get_image_reply(connection, {request.sequence}, nullptr));
  const std::size_t expected = _connection.layout().bytesPerRow(request.part.width) *
                               static_cast<std::size_t>(request.part.height);
  if (!reply || static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) < expected) {
    return false;
  }
  copyIn(request.part, xcb_get_image_data(reply.get()));
  return true;
}

void ScreenPicture::copyIn(const Rect& part, const std::uint8_t* bytes) {
  const std::size_t bytesPerRow = _connection.layout().bytesPerRow(part.width);
  for (int row = 0; row < part.height; ++row, bytes += bytesPerRow) {
    _reader.readRow(bytes, part.width, _view.at(part.x - _area.x, part.y - _area.y + row));
  }
}

}  // namespace vxrecord
