// How the pixels of each format lie in memory.
#pragma once

#include "VXVideoRecorder/platform/CoreVideo.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace vx {

inline constexpr std::size_t kMaxPlaneCount = 3;
inline constexpr std::size_t kMaxPixelBufferSide = 65535;  // pixels

/// One entry of the table of formats.
struct PixelFormat {
  OSType code = 0;
  std::size_t planeCount = 1;      // 3: Y, Cb, Cr with halved chroma
  std::size_t pixelsPerBlock = 1;  // of plane 0
  std::size_t bytesPerBlock = 1;
  /// The two bytes that repeat through each plane of a black picture.
  std::array<std::array<std::uint8_t, 2>, kMaxPlaneCount> black{};
};

/// Null for a code outside the table.
const PixelFormat* findPixelFormat(OSType code);

struct PlaneLayout {
  std::size_t offset = 0;  // bytes from the base address
  std::size_t bytesPerRow = 0;
  std::size_t width = 0;  // samples; pixels of a packed plane
  std::size_t height = 0;
};

/// Where the planes of one picture lie, one behind the other.
struct PixelLayout {
  PixelFormat format;
  std::size_t width = 0;
  std::size_t height = 0;
  std::array<PlaneLayout, kMaxPlaneCount> planes{};
  std::size_t size = 0;  // bytes
};

/// The layout with rows that are a multiple of `rowAlignment`, a power of two, bytes long.
CVReturn makePixelLayout(std::size_t width, std::size_t height, OSType code,
                         std::size_t rowAlignment, PixelLayout& layout);

/// The bytes-per-row alignment that `attributes` (may be null) ask for, 1 without one; nothing when
/// it is no power of two.
std::optional<std::size_t> rowAlignmentOf(const NSDictionary* attributes);

}  // namespace vx
