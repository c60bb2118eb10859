#include "stream.h"

#include <cstring>
#include <exception>
#include <utility>

#include "interruption.h"

namespace viewer {
namespace {

vxrecord::PixelFormat shownFormat() { return *vxrecord::pixelFormatNamed("BGRA"); }

void copyRows(const vxrecord::PackedFrame& frame, Picture& picture) {
  picture.width = static_cast<int>(frame.width);
  picture.height = static_cast<int>(frame.height);
  const auto bytesPerRow = static_cast<std::size_t>(picture.bytesPerRow());
  picture.pixels.resize(bytesPerRow * frame.height);
  for (std::size_t row = 0; row < frame.height; ++row) {
    std::memcpy(picture.pixels.data() + row * bytesPerRow, frame.bytes + row * frame.bytesPerRow,
                bytesPerRow);
  }
}

}  // namespace

Stream::Stream(const std::string& address, std::function<void()> tell)
    : _input(vxrecord::openInput(address, false)),
      _tell(std::move(tell)),
      _packer(shownFormat()),
      _thread([this] { run(); }) {}

// The wish to end wakes a read that blocks.
Stream::~Stream() {
  vxrecord::requestEnd();
  _thread.join();
}

void Stream::run() {
  try {
    readPictures();
  } catch (const std::exception& problem) {
    finish(problem.what());
  }
}

void Stream::readPictures() {
  vxrecord::MediaFrame frame;
  while (true) {
    switch (_input->read(frame)) {
      case vxrecord::ReadResult::frame:
        if (!pass(frame)) {
          return;
        }
        break;
      case vxrecord::ReadResult::idle:
        break;
      case vxrecord::ReadResult::end:
        return finish("the stream is over");
      case vxrecord::ReadResult::broken:
        return finish(_input->trouble());
      case vxrecord::ReadResult::interrupted:
        return;
    }
  }
}

/// A live stream sets the pace; a file is played by the clock. False when the end was asked for.
bool Stream::pass(const vxrecord::MediaFrame& frame) {
  if (!_input->isLive() && !_pacer.waitFor(frame.timeMs)) {
    return false;
  }
  copyRows(_packer.pack(*frame.picture), _next);
  {
    std::lock_guard lock(_mutex);
    std::swap(_newest, _next);
    _isNew = true;
  }
  _tell();
  return true;
}

void Stream::finish(const std::string& why) {
  {
    std::lock_guard lock(_mutex);
    _end = why;
  }
  _tell();
}

bool Stream::take(Picture& picture) {
  std::lock_guard lock(_mutex);
  if (!std::exchange(_isNew, false)) {
    return false;
  }
  std::swap(picture, _newest);
  return true;
}

std::string Stream::end() const {
  std::lock_guard lock(_mutex);
  return _end;
}

}  // namespace viewer
