#include "platform/avfoundation/encoder/planar_conversion.h"

#include "platform/avfoundation/encoder/chroma_row.h"

#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>
#include <algorithm>
#include <cstring>

namespace vx {

namespace {

constexpr int kBytesPerPixel = 4;  // of BGRA
constexpr std::uint8_t kNoChroma = 128;

// libyuv names the channels of a word from its highest byte: its "ARGB" is B, G, R, A in memory.
using ToBGRA = int (*)(const std::uint8_t* source, int sourceBytesPerRow, std::uint8_t* target,
                       int targetBytesPerRow, int width, int height);

ToBGRA converterToBGRA(OSType format) {
  switch (format) {
    case kCVPixelFormatType_32ARGB:
      return libyuv::BGRAToARGB;
    case kCVPixelFormatType_32RGBA:
      return libyuv::ABGRToARGB;
    case kCVPixelFormatType_32ABGR:
      return libyuv::RGBAToARGB;
    case kCVPixelFormatType_24RGB:
      return libyuv::RAWToARGB;
    case kCVPixelFormatType_24BGR:
      return libyuv::RGB24ToARGB;
    default:
      return nullptr;
  }
}

// Two rows of BGRA (one, at an odd end), `rowDistance` bytes apart, become rows of the target.
void writeRowPair(const std::uint8_t* upper, int rowDistance, int width, int rows, int y,
                  const PlanarTarget& target) {
  std::uint8_t* luma = target.planes[0] + std::ptrdiff_t{y} * target.bytesPerRow[0];
  libyuv::ARGBToI400(upper, rowDistance, luma, target.bytesPerRow[0], width, rows);
  const std::uint8_t* lower = rows > 1 ? upper + rowDistance : upper;
  chromaRowFromBGRA(upper, lower, width,
                    target.planes[1] + std::ptrdiff_t{y / 2} * target.bytesPerRow[1],
                    target.planes[2] + std::ptrdiff_t{y / 2} * target.bytesPerRow[2]);
}

// Two rows at a time stay in the cache between the steps.
void convertRGB(const PackedPicture& picture, const PlanarTarget& target,
                std::vector<std::uint8_t>& rowMemory) {
  const ToBGRA toBGRA = converterToBGRA(picture.format);
  const int scratchBytesPerRow = picture.width * kBytesPerPixel;
  if (toBGRA) {
    rowMemory.resize(std::size_t{2} * static_cast<std::size_t>(scratchBytesPerRow));
  }
  for (int y = 0; y < picture.height; y += 2) {
    const std::uint8_t* source = picture.base + std::ptrdiff_t{y} * picture.bytesPerRow;
    const int rows = std::min(2, picture.height - y);
    if (toBGRA) {
      toBGRA(source, picture.bytesPerRow, rowMemory.data(), scratchBytesPerRow, picture.width,
             rows);
      writeRowPair(rowMemory.data(), scratchBytesPerRow, picture.width, rows, y, target);
    } else {
      writeRowPair(source, picture.bytesPerRow, picture.width, rows, y, target);
    }
  }
}

// 0...255 becomes 16...235, rounded; the division by 255 is exact for all 8-bit values. Everything
// fits into 16 bits, which lets compilers take eight values at once.
constexpr std::uint8_t videoRange(std::uint8_t gray) {
  const auto scaled = static_cast<std::uint16_t>(gray * 219 + 127);
  const auto quotient = static_cast<std::uint16_t>(scaled + 1 + (scaled >> 8));
  return static_cast<std::uint8_t>(16 + (quotient >> 8));
}

void videoRangeRow(const std::uint8_t* __restrict gray, int width, std::uint8_t* __restrict luma) {
  constexpr int kStep = 32;  // a constant count is what compilers make vectors of
  int x = 0;
  for (; x + kStep <= width; x += kStep) {
    for (int i = 0; i < kStep; ++i) {
      luma[x + i] = videoRange(gray[x + i]);
    }
  }
  for (; x < width; ++x) {
    luma[x] = videoRange(gray[x]);
  }
}

void convertGray(const PackedPicture& picture, const PlanarTarget& target) {
  for (int y = 0; y < picture.height; ++y) {
    videoRangeRow(picture.base + std::ptrdiff_t{y} * picture.bytesPerRow, picture.width,
                  target.planes[0] + std::ptrdiff_t{y} * target.bytesPerRow[0]);
  }
  const auto chromaWidth = static_cast<std::size_t>((picture.width + 1) / 2);
  for (std::size_t plane = 1; plane < target.planes.size(); ++plane) {
    for (int y = 0; y < (picture.height + 1) / 2; ++y) {
      std::memset(target.planes[plane] + std::ptrdiff_t{y} * target.bytesPerRow[plane], kNoChroma,
                  chromaWidth);
    }
  }
}

}  // namespace

bool convertToPlanar(const PackedPicture& picture, const PlanarTarget& target,
                     std::vector<std::uint8_t>& rowMemory) {
  const auto convertYCbCr = [&](auto convert) {
    return convert(picture.base, picture.bytesPerRow, target.planes[0], target.bytesPerRow[0],
                   target.planes[1], target.bytesPerRow[1], target.planes[2], target.bytesPerRow[2],
                   picture.width, picture.height) == 0;
  };
  switch (picture.format) {
    case kCVPixelFormatType_32BGRA:
    case kCVPixelFormatType_32ARGB:
    case kCVPixelFormatType_32RGBA:
    case kCVPixelFormatType_32ABGR:
    case kCVPixelFormatType_24RGB:
    case kCVPixelFormatType_24BGR:
      convertRGB(picture, target, rowMemory);
      return true;
    case kCVPixelFormatType_422YpCbCr8:
      return convertYCbCr(libyuv::UYVYToI420);
    case kCVPixelFormatType_422YpCbCr8_yuvs:
      return convertYCbCr(libyuv::YUY2ToI420);
    case kCVPixelFormatType_OneComponent8:
      convertGray(picture, target);
      return true;
    default:
      return false;
  }
}

}  // namespace vx
