#include "platform/corevideo/pixel_layout.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace vx {

namespace {

constexpr std::array<std::uint8_t, 2> kZero = {0, 0};
constexpr std::array<std::uint8_t, 2> kBlackLuma = {16, 16};
constexpr std::array<std::uint8_t, 2> kNoChroma = {128, 128};

constexpr PixelFormat packed(OSType code, std::size_t bytesPerPixel) {
  return {code, 1, 1, bytesPerPixel, {kZero}};
}

constexpr std::array kFormats = {
    PixelFormat{kCVPixelFormatType_420YpCbCr8Planar, 3, 1, 1, {kBlackLuma, kNoChroma, kNoChroma}},
    packed(kCVPixelFormatType_32BGRA, 4),
    packed(kCVPixelFormatType_32ARGB, 4),
    packed(kCVPixelFormatType_32RGBA, 4),
    packed(kCVPixelFormatType_32ABGR, 4),
    packed(kCVPixelFormatType_24RGB, 3),
    packed(kCVPixelFormatType_24BGR, 3),
    PixelFormat{kCVPixelFormatType_422YpCbCr8, 1, 2, 4, {{{128, 16}}}},
    PixelFormat{kCVPixelFormatType_422YpCbCr8_yuvs, 1, 2, 4, {{{16, 128}}}},
    packed(kCVPixelFormatType_OneComponent8, 1),
};

constexpr std::size_t dividedUp(std::size_t value, std::size_t by) { return (value + by - 1) / by; }

// A row is at most 65535 * 4 bytes long, so with an alignment of at most 2^30 nothing overflows.
constexpr std::size_t kMaxRowAlignment = std::size_t{1} << 30;

}  // namespace

const PixelFormat* findPixelFormat(OSType code) {
  const auto* found = std::find_if(kFormats.begin(), kFormats.end(),
                                   [&](const PixelFormat& format) { return format.code == code; });
  return found == kFormats.end() ? nullptr : found;
}

CVReturn makePixelLayout(std::size_t width, std::size_t height, OSType code,
                         std::size_t rowAlignment, PixelLayout& layout) {
  const PixelFormat* format = findPixelFormat(code);
  if (!format) {
    return kCVReturnInvalidPixelFormat;
  }
  if (width == 0 || height == 0 || width > kMaxPixelBufferSide || height > kMaxPixelBufferSide) {
    return kCVReturnInvalidSize;
  }
  layout = PixelLayout{*format, width, height, {}, 0};
  for (std::size_t i = 0; i < format->planeCount; ++i) {
    const std::size_t subsampling = i == 0 ? 1 : 2;
    PlaneLayout& plane = layout.planes[i];
    plane.width = dividedUp(width, subsampling);
    plane.height = dividedUp(height, subsampling);
    const std::size_t rowBytes =
        dividedUp(plane.width, format->pixelsPerBlock) * format->bytesPerBlock;
    plane.bytesPerRow = dividedUp(rowBytes, rowAlignment) * rowAlignment;
    plane.offset = layout.size;
    layout.size += plane.bytesPerRow * plane.height;
  }
  return kCVReturnSuccess;
}

std::optional<std::size_t> rowAlignmentOf(const NSDictionary* attributes) {
  const Object* object =
      attributes ? attributes->objectForKey(kCVPixelBufferBytesPerRowAlignmentKey) : nullptr;
  if (!object) {
    return 1;
  }
  const NSNumber* number = object->number();
  const std::int64_t alignment = number ? number->integerValue() : 0;
  const bool isUsable = alignment > 0 && alignment <= std::int64_t{kMaxRowAlignment} &&
                        std::has_single_bit(static_cast<std::uint64_t>(alignment));
  return isUsable ? std::optional(static_cast<std::size_t>(alignment)) : std::nullopt;
}

}  // namespace vx
