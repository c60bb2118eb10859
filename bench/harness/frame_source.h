// The frames that benchmarks record.
#pragma once

#include "VXVideoRecorder/platform/CoreVideo.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace bench {

/// Frames that lie in memory before the clock runs. Frames may be asked for without end.
class FrameSource {
 public:
  virtual ~FrameSource() = default;
  /// "desktop y420 1920x1080"
  std::string name() const;
  virtual std::string kind() const = 0;
  virtual std::uint32_t width() const = 0;
  virtual std::uint32_t height() const = 0;
  virtual vx::OSType format() const = 0;
  virtual std::span<const std::uint8_t> frame(std::size_t i) const = 0;
  /// How many of the frames differ in where they lie.
  virtual std::size_t storedFrames() const = 0;

  bool isPlanar() const { return format() == vx::kCVPixelFormatType_420YpCbCr8Planar; }
  std::uint32_t bytesPerRow() const { return isPlanar() ? width() : width() * 4; }
  std::size_t frameBytes() const { return frame(0).size(); }
  /// Reads a byte of every page, so that no page is missing when the clock runs.
  void touch() const;
};

/// A desktop-like picture (flat areas, edges, some noise) that scrolls; made ahead. Width and
/// height are even.
class MovingPicture final : public FrameSource {
 public:
  MovingPicture(std::uint32_t width, std::uint32_t height,
                vx::OSType format = vx::kCVPixelFormatType_420YpCbCr8Planar);
  std::string kind() const override { return "moving"; }
  std::uint32_t width() const override { return _width; }
  std::uint32_t height() const override { return _height; }
  vx::OSType format() const override { return _format; }
  std::span<const std::uint8_t> frame(std::size_t i) const override {
    return _frames[i % _frames.size()];
  }
  std::size_t storedFrames() const override { return _frames.size(); }

 private:
  std::uint8_t luma(std::uint32_t x, std::uint32_t y, std::size_t i) const;
  std::vector<std::uint8_t> planarFrame(std::size_t i) const;
  std::vector<std::uint8_t> packedFrame(std::size_t i) const;

  std::uint32_t _width;
  std::uint32_t _height;
  vx::OSType _format;
  std::vector<std::vector<std::uint8_t>> _frames;
};

/// A real desktop's frames from a file of y420 frames back to back (scripts/make-desktop-clip),
/// shown to and fro so that nothing jumps.
class DesktopClip final : public FrameSource {
 public:
  /// Throws when the file cannot be read or holds no whole frame.
  DesktopClip(const std::string& path, std::uint32_t width, std::uint32_t height);
  ~DesktopClip() override;
  DesktopClip(const DesktopClip&) = delete;
  DesktopClip& operator=(const DesktopClip&) = delete;

  /// The file's name in a folder of clips.
  static std::string pathIn(const std::string& folder, std::uint32_t width, std::uint32_t height);

  std::string kind() const override { return "desktop"; }
  std::uint32_t width() const override { return _width; }
  std::uint32_t height() const override { return _height; }
  vx::OSType format() const override { return vx::kCVPixelFormatType_420YpCbCr8Planar; }
  std::span<const std::uint8_t> frame(std::size_t i) const override;
  std::size_t storedFrames() const override { return _count; }

 private:
  std::uint32_t _width;
  std::uint32_t _height;
  std::size_t _frameBytes;
  std::size_t _count = 0;
  std::size_t _mappedBytes = 0;
  const std::uint8_t* _bytes = nullptr;
};

}  // namespace bench
