// Pixel buffers with known contents, for tests.
#pragma once

#include "VXVideoRecorder/platform/CoreVideo.h"
#include "platform/cf_ref.h"
#include "support/pixel_formats.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

using PixelBuffer = vx::CFRef<vx::CVPixelBufferRef>;

struct RGB {
  int red = 0, green = 0, blue = 0;
  friend bool operator==(const RGB&, const RGB&) = default;
};

/// Bytes of one pixel of an RGB format, and where in it the channels stand.
struct RGBLayout {
  int bytesPerPixel = 0;
  int red = 0, green = 0, blue = 0;
};

inline RGBLayout layoutOf(vx::OSType format) {
  switch (format) {
    case vx::kCVPixelFormatType_32BGRA:
      return {4, 2, 1, 0};
    case vx::kCVPixelFormatType_32ARGB:
      return {4, 1, 2, 3};
    case vx::kCVPixelFormatType_32RGBA:
      return {4, 0, 1, 2};
    case vx::kCVPixelFormatType_32ABGR:
      return {4, 3, 2, 1};
    case vx::kCVPixelFormatType_24RGB:
      return {3, 0, 1, 2};
    default:
      return {3, 2, 1, 0};
  }
}

inline PixelBuffer makePixelBuffer(std::size_t width, std::size_t height, vx::OSType format) {
  PixelBuffer buffer;
  EXPECT_EQ(vx::CVPixelBufferCreate(nullptr, width, height, format, nullptr, buffer.out()),
            vx::kCVReturnSuccess);
  return buffer;
}

inline std::uint8_t* rowOf(const PixelBuffer& buffer, std::size_t y, std::size_t plane = 0) {
  return static_cast<std::uint8_t*>(vx::CVPixelBufferGetBaseAddressOfPlane(buffer.get(), plane)) +
         y * vx::CVPixelBufferGetBytesPerRowOfPlane(buffer.get(), plane);
}

/// Sets a pixel of an RGB format. A fourth channel keeps what it holds.
inline void setPixel(const PixelBuffer& buffer, std::size_t x, std::size_t y, RGB colour) {
  const RGBLayout layout = layoutOf(vx::CVPixelBufferGetPixelFormatType(buffer.get()));
  std::uint8_t* pixel = rowOf(buffer, y) + x * static_cast<std::size_t>(layout.bytesPerPixel);
  pixel[layout.red] = static_cast<std::uint8_t>(colour.red);
  pixel[layout.green] = static_cast<std::uint8_t>(colour.green);
  pixel[layout.blue] = static_cast<std::uint8_t>(colour.blue);
}

/// What a player shows for one sample of video range by the matrix of ITU-R BT.601.
inline RGB decoded(int luma, int cb, int cr) {
  const double y = (luma - 16) * 255.0 / 219.0;
  const double b = (cb - 128) * 255.0 / 224.0;
  const double r = (cr - 128) * 255.0 / 224.0;
  const auto byte = [](double value) {
    return std::clamp(static_cast<int>(std::lround(value)), 0, 255);
  };
  return {byte(y + 1.402 * r), byte(y - 0.344136 * b - 0.714136 * r), byte(y + 1.772 * b)};
}

inline int distance(RGB a, RGB b) {
  return std::max(
      {std::abs(a.red - b.red), std::abs(a.green - b.green), std::abs(a.blue - b.blue)});
}
