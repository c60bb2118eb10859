// Pixel buffers and the pools that recycle them.
//
// | code                            | layout of one picture                                  |
// |---------------------------------|--------------------------------------------------------|
// | y420 420YpCbCr8Planar           | planes Y, Cb, Cr; chroma half as wide and high, rounded up |
// | BGRA, ARGB, RGBA, ABGR (32 bit) | one plane, 4 bytes a pixel in the order of the letters  |
// | RGB, BGR (24 bit)               | one plane, 3 bytes a pixel                              |
// | 2vuy, yuvs (4:2:2)              | one plane, 2 pixels in 4 bytes: Cb Y Cr Y, and Y Cb Y Cr |
// | gray (8 bit)                    | one plane, 1 byte a pixel                               |
//
// Y'CbCr is video range (black 16, white 235) by the matrix of ITU-R BT.601; R'G'B' and gray are
// full range with the transfer curve of sRGB.
//
// A new buffer is black in its format, every byte of it defined. A pool hands a buffer out again as
// it was left, and drops buffers that lay unused for more than a second.
//
// Thread: any for all calls, pools included. Pixels may be read by several threads at once, and
// written by one while nobody reads them.
#pragma once

#include "VXVideoRecorder/platform/CoreFoundation.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

#pragma GCC visibility push(default)

namespace vx {

using CVReturn = std::int32_t;
inline constexpr CVReturn kCVReturnSuccess = 0;
inline constexpr CVReturn kCVReturnInvalidArgument = -6661;
inline constexpr CVReturn kCVReturnAllocationFailed = -6662;
inline constexpr CVReturn kCVReturnInvalidPixelFormat = -6680;
inline constexpr CVReturn kCVReturnInvalidSize = -6681;
inline constexpr CVReturn kCVReturnInvalidPixelBufferAttributes = -6682;

using OSType = std::uint32_t;
inline constexpr OSType kCVPixelFormatType_420YpCbCr8Planar = 0x79343230;  // 'y420'
inline constexpr OSType kCVPixelFormatType_32BGRA = 0x42475241;            // 'BGRA'
inline constexpr OSType kCVPixelFormatType_32ARGB = 0x00000020;
inline constexpr OSType kCVPixelFormatType_32RGBA = 0x52474241;  // 'RGBA'
inline constexpr OSType kCVPixelFormatType_32ABGR = 0x41424752;  // 'ABGR'
inline constexpr OSType kCVPixelFormatType_24RGB = 0x00000018;
inline constexpr OSType kCVPixelFormatType_24BGR = 0x32344247;            // '24BG'
inline constexpr OSType kCVPixelFormatType_422YpCbCr8 = 0x32767579;       // '2vuy'
inline constexpr OSType kCVPixelFormatType_422YpCbCr8_yuvs = 0x79757673;  // 'yuvs'
inline constexpr OSType kCVPixelFormatType_OneComponent8 = 0x4C303038;    // 'L008'

inline constexpr std::string_view kCVPixelBufferWidthKey = "Width";
inline constexpr std::string_view kCVPixelBufferHeightKey = "Height";
inline constexpr std::string_view kCVPixelBufferPixelFormatTypeKey = "PixelFormatType";
inline constexpr std::string_view kCVPixelBufferBytesPerRowAlignmentKey = "BytesPerRowAlignment";

struct CVPixelBuffer;
using CVPixelBufferRef = CVPixelBuffer*;
struct CVPixelBufferPool;
using CVPixelBufferPoolRef = CVPixelBufferPool*;

// ---- Pixel buffers -------------------------------------------------------------------------

/// A buffer of `width` x `height` pixels. Of the attributes (may be null) the bytes-per-row
/// alignment is read, a power of two; without it rows are as long as their pixels.
/// Errors: `kCVReturnInvalidPixelFormat` for a code outside the table, `kCVReturnInvalidSize` for
/// a width or height of 0 or beyond 65535, `kCVReturnAllocationFailed`.
CVReturn CVPixelBufferCreate(CFAllocatorRef allocator, std::size_t width, std::size_t height,
                             OSType pixelFormatType, const NSDictionary* pixelBufferAttributes,
                             CVPixelBufferRef* pixelBufferOut);
CVPixelBufferRef CVPixelBufferRetain(CVPixelBufferRef pixelBuffer);  ///< null is allowed
void CVPixelBufferRelease(CVPixelBufferRef pixelBuffer);             ///< null is allowed

using CVPixelBufferLockFlags = std::uint64_t;
/// Between these two calls the addresses below are valid for reading and writing.
CVReturn CVPixelBufferLockBaseAddress(CVPixelBufferRef pixelBuffer, CVPixelBufferLockFlags flags);
CVReturn CVPixelBufferUnlockBaseAddress(CVPixelBufferRef pixelBuffer, CVPixelBufferLockFlags flags);

std::size_t CVPixelBufferGetWidth(CVPixelBufferRef pixelBuffer);
std::size_t CVPixelBufferGetHeight(CVPixelBufferRef pixelBuffer);
OSType CVPixelBufferGetPixelFormatType(CVPixelBufferRef pixelBuffer);
/// First byte and row pitch of a packed buffer; of plane 0 for a planar one.
void* CVPixelBufferGetBaseAddress(CVPixelBufferRef pixelBuffer);
std::size_t CVPixelBufferGetBytesPerRow(CVPixelBufferRef pixelBuffer);
/// Bytes from the base address to the end of the last row of the last plane.
std::size_t CVPixelBufferGetDataSize(CVPixelBufferRef pixelBuffer);

bool CVPixelBufferIsPlanar(CVPixelBufferRef pixelBuffer);
/// 0 for a packed buffer. The plane getters below answer null and 0 for a plane that is not there;
/// a packed buffer answers them for plane 0 with its only plane.
std::size_t CVPixelBufferGetPlaneCount(CVPixelBufferRef pixelBuffer);
void* CVPixelBufferGetBaseAddressOfPlane(CVPixelBufferRef pixelBuffer, std::size_t planeIndex);
std::size_t CVPixelBufferGetBytesPerRowOfPlane(CVPixelBufferRef pixelBuffer,
                                               std::size_t planeIndex);
std::size_t CVPixelBufferGetWidthOfPlane(CVPixelBufferRef pixelBuffer, std::size_t planeIndex);
std::size_t CVPixelBufferGetHeightOfPlane(CVPixelBufferRef pixelBuffer, std::size_t planeIndex);

// ---- Pools ---------------------------------------------------------------------------------

/// A pool of buffers with these attributes: width, height (a fraction is dropped), pixel format and
/// bytes-per-row alignment. `poolAttributes` may be null.
/// Errors: as for `CVPixelBufferCreate`; nothing is allocated yet, so a size that memory cannot
/// hold shows only when a buffer is asked for.
CVReturn CVPixelBufferPoolCreate(CFAllocatorRef allocator, const NSDictionary* poolAttributes,
                                 const NSDictionary* pixelBufferAttributes,
                                 CVPixelBufferPoolRef* poolOut);
CVPixelBufferPoolRef CVPixelBufferPoolRetain(CVPixelBufferPoolRef pool);  ///< null is allowed
void CVPixelBufferPoolRelease(CVPixelBufferPoolRef pool);                 ///< null is allowed
/// The attributes given at creation, or null for no pool. Valid while the pool lives.
const NSDictionary* CVPixelBufferPoolGetPixelBufferAttributes(CVPixelBufferPoolRef pool);
/// A buffer nobody uses, or a new one. Its last release gives it back to the pool, on any thread
/// and also after the pool's own last release.
CVReturn CVPixelBufferPoolCreatePixelBuffer(CFAllocatorRef allocator, CVPixelBufferPoolRef pool,
                                            CVPixelBufferRef* pixelBufferOut);

}  // namespace vx

#pragma GCC visibility pop
