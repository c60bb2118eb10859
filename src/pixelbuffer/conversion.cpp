// Host frames become pixel buffers; black frames fill pauses.
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "pixelbuffer/row_alignment.h"

#include <algorithm>
#include <array>
#include <cstring>

using namespace vx;

namespace {

constexpr std::size_t kPlaneCount = 3;                                     // Y, Cb, Cr
constexpr std::array<int, kPlaneCount> kBlackPlanes = {0x10, 0x80, 0x80};  // video range

// Toward zero. Sides come from unsigned 32-bit numbers.
std::size_t truncated(double side) { return static_cast<std::size_t>(side); }

// A buffer of another format answers for fewer planes: those that are missing have no bytes.
void fill(void* bytes, int value, std::size_t count) {
  if (count > 0) {
    std::memset(bytes, value, count);
  }
}

void fillPlanesBlack(CVPixelBufferRef buffer) {
  for (std::size_t plane = 0; plane < kPlaneCount; ++plane) {
    fill(CVPixelBufferGetBaseAddressOfPlane(buffer, plane), kBlackPlanes[plane],
         CVPixelBufferGetHeightOfPlane(buffer, plane) *
             CVPixelBufferGetBytesPerRowOfPlane(buffer, plane));
  }
}

}  // namespace

CVPixelBufferRef VXVideoRecorder::convertPixelBufferFromFrameBuffer(const void* frameBuffer,
                                                                    CGSize size,
                                                                    std::uint32_t bytesPerRow,
                                                                    std::uint32_t pixelFormatType) {
  CVPixelBufferRef buffer = nullptr;
  const CVPixelBufferPoolRef pool = getBufferPoolWithSize(size, pixelFormatType);
  const CVReturn status =
      pool ? CVPixelBufferPoolCreatePixelBuffer(kCFAllocatorDefault, pool, &buffer)
           : CVPixelBufferCreate(kCFAllocatorDefault, truncated(size.width), truncated(size.height),
                                 pixelFormatType, nullptr, &buffer);
  if (status != kCVReturnSuccess) {
    log("Pixel buffer create failed");
    return nullptr;
  }
  CVPixelBufferLockBaseAddress(buffer, 0);
  if (pixelFormatType == kCVPixelFormatType_420YpCbCr8Planar) {
    frameBuffer ? copyPlanes(frameBuffer, size, buffer) : fillPlanesBlack(buffer);
  } else {
    void* base = CVPixelBufferGetBaseAddress(buffer);
    const std::size_t height = CVPixelBufferGetHeight(buffer);
    const std::size_t bufferBytesPerRow = CVPixelBufferGetBytesPerRow(buffer);
    frameBuffer ? copyBuffer(frameBuffer, bytesPerRow, base, bufferBytesPerRow, height)
                : fill(base, 0, height * bufferBytesPerRow);
  }
  CVPixelBufferUnlockBaseAddress(buffer, 0);
  return buffer;
}

void VXVideoRecorder::copyPlanes(const void* frameBuffer, CGSize size, CVPixelBufferRef toBuffer) {
  const std::size_t lumaPitch = truncated(size.width);
  const std::size_t chromaPitch = truncated(size.width * 0.5);
  const auto* cursor = static_cast<const std::uint8_t*>(frameBuffer);
  for (std::size_t plane = 0; plane < kPlaneCount; ++plane) {
    const std::size_t pitch = plane == 0 ? lumaPitch : chromaPitch;
    const std::size_t bytesPerRow = CVPixelBufferGetBytesPerRowOfPlane(toBuffer, plane);
    const std::size_t height = CVPixelBufferGetHeightOfPlane(toBuffer, plane);
    copyBuffer(cursor, pitch, CVPixelBufferGetBaseAddressOfPlane(toBuffer, plane), bytesPerRow,
               height);
    cursor += std::min(bytesPerRow, pitch) * height;
  }
}

void VXVideoRecorder::copyBuffer(const void* source, std::uint64_t sourceBytesPerRow,
                                 void* toBuffer, std::uint64_t bytesPerRow,
                                 std::uint64_t withHeight) {
  const auto* from = static_cast<const std::uint8_t*>(source);
  auto* to = static_cast<std::uint8_t*>(toBuffer);
  const std::uint64_t rowBytes = std::min(sourceBytesPerRow, bytesPerRow);
  for (std::uint64_t row = 0; row < withHeight; ++row) {
    std::memcpy(to, from, rowBytes);
    from += sourceBytesPerRow;
    to += bytesPerRow;
  }
}

// The held frame is replaced without a release: the frame from before the pause is dropped, neither
// written nor given back to its pool.
void VXVideoRecorder::createBlackBufferWithFormat(std::uint32_t format, CGSize withSize) {
  if (CVPixelBufferRef black = convertPixelBufferFromFrameBuffer(nullptr, withSize, 0, format)) {
    _buffer = black;
  }
}

std::size_t VXVideoRecorder::frameBufferLength(std::uint32_t pixelFormatType, std::uint32_t width,
                                               std::uint32_t height, std::uint32_t bytesPerRow) {
  constexpr std::uint64_t kMaxSide = 65535;  // no buffer is larger, so nothing more is ever read
  const std::uint64_t columns = std::min<std::uint64_t>(width, kMaxSide);
  const std::uint64_t rows = std::min<std::uint64_t>(height, kMaxSide);
  if (columns == 0 || rows == 0) {
    return 0;
  }
  if (pixelFormatType == kCVPixelFormatType_420YpCbCr8Planar) {
    return columns * rows + 2 * (columns / 2) * ((rows + 1) / 2);
  }
  // The last row is read as far as the widest buffer of the size may reach: the first format of a
  // size decides which it is.
  constexpr std::uint64_t kMaxBytesPerPixel = 4;
  constexpr std::uint64_t kAlignment = pixelbuffer::kRowAlignment;
  const std::uint64_t widestRow =
      (columns * kMaxBytesPerPixel + kAlignment - 1) / kAlignment * kAlignment;
  return bytesPerRow * (rows - 1) + std::min<std::uint64_t>(bytesPerRow, widestRow);
}
