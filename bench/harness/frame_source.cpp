#include "bench/harness/frame_source.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>

namespace bench {
namespace {

constexpr std::size_t kMovingFrames = 16;
constexpr std::size_t kPage = 4096;

std::size_t planarBytes(std::uint32_t width, std::uint32_t height) {
  return std::size_t{width} * height + std::size_t{width / 2} * ((height + 1) / 2) * 2;
}

}  // namespace

std::string FrameSource::name() const {
  return kind() + (isPlanar() ? " y420 " : " BGRA ") + std::to_string(width()) + "x" +
         std::to_string(height());
}

void FrameSource::touch() const {
  volatile std::uint8_t sink = 0;
  for (std::size_t i = 0; i < storedFrames(); ++i) {
    const std::span<const std::uint8_t> bytes = frame(i);
    for (std::size_t at = 0; at < bytes.size(); at += kPage) {
      sink = bytes[at];
    }
  }
  static_cast<void>(sink);
}

MovingPicture::MovingPicture(std::uint32_t width, std::uint32_t height, vx::OSType format)
    : _width(width), _height(height), _format(format) {
  for (std::size_t i = 0; i < kMovingFrames; ++i) {
    _frames.push_back(isPlanar() ? planarFrame(i) : packedFrame(i));
  }
}

// Text-like blocks in rows that scroll by 4 pixels a frame, and a diagonal that moves.
std::uint8_t MovingPicture::luma(std::uint32_t x, std::uint32_t y, std::size_t i) const {
  const std::uint32_t scrolled = y + static_cast<std::uint32_t>(i) * 4;
  const std::uint32_t cell = (x / 6 * 2654435761u) ^ (scrolled / 12 * 40503u);
  const bool ink = scrolled % 12 < 8 && (cell >> 13) % 3 == 0 && (x % 6 + scrolled % 4) % 3 != 0;
  const bool diagonal = (x + y + i * 16) % 512 < 24;
  return diagonal ? 150 : ink ? 40 : 225;
}

std::vector<std::uint8_t> MovingPicture::planarFrame(std::size_t i) const {
  std::vector<std::uint8_t> bytes(planarBytes(_width, _height), 128);
  for (std::uint32_t y = 0; y < _height; ++y) {
    for (std::uint32_t x = 0; x < _width; ++x) {
      bytes[std::size_t{y} * _width + x] = luma(x, y, i);
    }
  }
  return bytes;
}

std::vector<std::uint8_t> MovingPicture::packedFrame(std::size_t i) const {
  std::vector<std::uint8_t> bytes(std::size_t{_width} * _height * 4, 255);
  for (std::uint32_t y = 0; y < _height; ++y) {
    for (std::uint32_t x = 0; x < _width; ++x) {
      std::uint8_t* pixel = &bytes[(std::size_t{y} * _width + x) * 4];
      pixel[0] = pixel[1] = pixel[2] = luma(x, y, i);
    }
  }
  return bytes;
}

DesktopClip::DesktopClip(const std::string& path, std::uint32_t width, std::uint32_t height)
    : _width(width), _height(height), _frameBytes(planarBytes(width, height)) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct ::stat status {};
  if (file < 0 || ::fstat(file, &status) != 0) {
    throw std::runtime_error("cannot read " + path + "; scripts/make-desktop-clip makes it");
  }
  _count = static_cast<std::size_t>(status.st_size) / _frameBytes;
  _mappedBytes = _count * _frameBytes;
  void* memory =
      _count == 0 ? MAP_FAILED : ::mmap(nullptr, _mappedBytes, PROT_READ, MAP_PRIVATE, file, 0);
  ::close(file);
  if (memory == MAP_FAILED) {
    throw std::runtime_error(path + " holds no frames");
  }
  _bytes = static_cast<const std::uint8_t*>(memory);
}

DesktopClip::~DesktopClip() { ::munmap(const_cast<std::uint8_t*>(_bytes), _mappedBytes); }

std::string DesktopClip::pathIn(const std::string& folder, std::uint32_t width,
                                std::uint32_t height) {
  return folder + "/desktop-" + std::to_string(width) + "x" + std::to_string(height) + ".y420";
}

std::span<const std::uint8_t> DesktopClip::frame(std::size_t i) const {
  const std::size_t period = _count > 1 ? 2 * _count - 2 : 1;
  const std::size_t place = i % period;
  return {_bytes + (place < _count ? place : period - place) * _frameBytes, _frameBytes};
}

}  // namespace bench
