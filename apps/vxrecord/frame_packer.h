// Decoded pictures, turned into the bytes that the recorder takes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "libav.h"
#include "pixel_format.h"

namespace vxrecord {

/// A picture as the recorder reads it. Valid until the next `pack` and while its source lives.
struct PackedFrame {
  const std::uint8_t* bytes = nullptr;
  std::size_t sizeBytes = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t bytesPerRow = 0;
};

/// Converts to one format, Y'CbCr by the matrix of BT.601 in video range. The source's own matrix
/// and range are honoured; an unmarked source counts as BT.601 in video range and passes unchanged,
/// as FFmpeg reads it. Sources may change their size and format from picture to picture.
class FramePacker {
 public:
  explicit FramePacker(const PixelFormat& format) : _format(format) {}

  /// Errors: throws std::runtime_error for a picture that cannot be converted.
  PackedFrame pack(const AVFrame& source);

 private:
  /// What a scaler was made for.
  struct ScalerKey {
    int width = 0;
    int height = 0;
    int avPixelFormat = -1;
    int matrix = 0;
    bool isFullRange = false;
    friend bool operator==(const ScalerKey&, const ScalerKey&) = default;
  };
  void convert(const AVFrame& source);
  void prepareScaler(const ScalerKey& key);
  void prepareTarget(const AVFrame& source);
  PackedFrame packed(const AVFrame& picture);
  PackedFrame packedPlanes(const AVFrame& picture);

  PixelFormat _format;
  LibavPointer<AVFrame> _target;
  LibavPointer<SwsContext> _scaler;
  ScalerKey _scalerKey;
  std::vector<std::uint8_t> _planes;
};

}  // namespace vxrecord
