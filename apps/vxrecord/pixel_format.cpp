#include "pixel_format.h"

#include <algorithm>
#include <array>
#include <cctype>

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace vxrecord {
namespace {

constexpr std::string_view kConstantPrefix = "kCVPixelFormatType_";

constexpr std::array<PixelFormat, 10> kFormats = {{
    {"y420", "420YpCbCr8Planar", vx::kCVPixelFormatType_420YpCbCr8Planar, AV_PIX_FMT_YUV420P,
     false},
    {"BGRA", "32BGRA", vx::kCVPixelFormatType_32BGRA, AV_PIX_FMT_BGRA, true},
    {"ARGB", "32ARGB", vx::kCVPixelFormatType_32ARGB, AV_PIX_FMT_ARGB, true},
    {"RGBA", "32RGBA", vx::kCVPixelFormatType_32RGBA, AV_PIX_FMT_RGBA, true},
    {"ABGR", "32ABGR", vx::kCVPixelFormatType_32ABGR, AV_PIX_FMT_ABGR, true},
    {"RGB", "24RGB", vx::kCVPixelFormatType_24RGB, AV_PIX_FMT_RGB24, true},
    {"BGR", "24BGR", vx::kCVPixelFormatType_24BGR, AV_PIX_FMT_BGR24, true},
    {"2vuy", "422YpCbCr8", vx::kCVPixelFormatType_422YpCbCr8, AV_PIX_FMT_UYVY422, false},
    {"yuvs", "422YpCbCr8_yuvs", vx::kCVPixelFormatType_422YpCbCr8_yuvs, AV_PIX_FMT_YUYV422, false},
    {"gray", "OneComponent8", vx::kCVPixelFormatType_OneComponent8, AV_PIX_FMT_GRAY8, true},
}};

bool isSame(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
    return std::tolower(x) == std::tolower(y);
  });
}

std::string fourCharacters(vx::OSType code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += static_cast<char>((code >> shift) & 0xFF);
  }
  return text;
}

}  // namespace

PixelFormat defaultPixelFormat() { return kFormats.front(); }

std::optional<PixelFormat> pixelFormatNamed(std::string_view name) {
  if (name.starts_with(kConstantPrefix)) {
    name.remove_prefix(kConstantPrefix.size());
  }
  const auto found = std::find_if(kFormats.begin(), kFormats.end(), [name](const auto& format) {
    return isSame(name, format.name) || isSame(name, format.constantName) ||
           isSame(name, fourCharacters(format.code));
  });
  if (found == kFormats.end()) {
    return std::nullopt;
  }
  return *found;
}

std::string pixelFormatNames() {
  std::string names;
  for (const PixelFormat& format : kFormats) {
    names += names.empty() ? "" : ", ";
    names += format.name;
  }
  return names;
}

}  // namespace vxrecord
