// The pixel formats that a recorder takes.
#pragma once

#include "VXVideoRecorder/platform/CoreVideo.h"

#include <string>

inline constexpr vx::OSType kAllPixelFormats[] = {vx::kCVPixelFormatType_420YpCbCr8Planar,
                                                  vx::kCVPixelFormatType_32BGRA,
                                                  vx::kCVPixelFormatType_32ARGB,
                                                  vx::kCVPixelFormatType_32RGBA,
                                                  vx::kCVPixelFormatType_32ABGR,
                                                  vx::kCVPixelFormatType_24RGB,
                                                  vx::kCVPixelFormatType_24BGR,
                                                  vx::kCVPixelFormatType_422YpCbCr8,
                                                  vx::kCVPixelFormatType_422YpCbCr8_yuvs,
                                                  vx::kCVPixelFormatType_OneComponent8};

inline constexpr vx::OSType kRGBPixelFormats[] = {
    vx::kCVPixelFormatType_32BGRA, vx::kCVPixelFormatType_32ARGB, vx::kCVPixelFormatType_32RGBA,
    vx::kCVPixelFormatType_32ABGR, vx::kCVPixelFormatType_24RGB,  vx::kCVPixelFormatType_24BGR};

/// The format's code as a test can be named by it.
inline std::string nameOfPixelFormat(vx::OSType code) {
  if (code < 0x100) {
    return code == vx::kCVPixelFormatType_32ARGB ? "ARGB" : "RGB24";
  }
  std::string name;
  for (int shift = 24; shift >= 0; shift -= 8) {
    name += static_cast<char>(code >> shift);
  }
  return name;
}
