#include "frame_packer.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace vxrecord {
namespace {

// Exact where speed allows it: rounding right, and colour taken from every pixel.
constexpr int kScalerFlags =
    SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;
constexpr int kOne = 1 << 16;  // contrast and saturation are 16.16 fixed point

/// How the samples of a source are to be read.
struct SourceColors {
  int avPixelFormat = AV_PIX_FMT_NONE;
  int matrix = SWS_CS_ITU601;
  bool isFullRange = false;
};

// FFmpeg keeps the range of JPEG pictures in the format's name; the plain format plus the range
// says the same.
int withoutRange(int format) {
  switch (format) {
    case AV_PIX_FMT_YUVJ420P:
      return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
      return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P:
      return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P:
      return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ411P:
      return AV_PIX_FMT_YUV411P;
    default:
      return format;
  }
}

int matrixOf(AVColorSpace space) {
  switch (space) {
    case AVCOL_SPC_BT709:
      return SWS_CS_ITU709;
    case AVCOL_SPC_FCC:
      return SWS_CS_FCC;
    case AVCOL_SPC_SMPTE240M:
      return SWS_CS_SMPTE240M;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
      return SWS_CS_BT2020;
    default:
      return SWS_CS_ITU601;
  }
}

bool isRgb(int format) {
  const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
  return description && (description->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
}

bool isGray(int format) {
  const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
  return description && !isRgb(format) && description->nb_components <= 2;
}

SourceColors colorsOf(const AVFrame& source) {
  SourceColors colors;
  colors.avPixelFormat = withoutRange(source.format);
  colors.matrix = matrixOf(source.colorspace);
  const bool isMarkedVideoRange = source.color_range == AVCOL_RANGE_MPEG;
  colors.isFullRange = isRgb(source.format) || colors.avPixelFormat != source.format ||
                       source.color_range == AVCOL_RANGE_JPEG ||
                       (isGray(source.format) && !isMarkedVideoRange);
  return colors;
}

// Black and white of video range become those of full range.
void stretchToFullRange(AVFrame& gray) {
  constexpr int kBlack = 16;
  constexpr int kWhite = 235;
  std::array<std::uint8_t, 256> stretched{};
  for (int level = 0; level < 256; ++level) {
    const int above = std::clamp(level, kBlack, kWhite) - kBlack;
    stretched[level] =
        static_cast<std::uint8_t>((above * 255 + (kWhite - kBlack) / 2) / (kWhite - kBlack));
  }
  for (int y = 0; y < gray.height; ++y) {
    std::uint8_t* row = gray.data[0] + std::ptrdiff_t{y} * gray.linesize[0];
    std::transform(row, row + gray.width, row,
                   [&](std::uint8_t level) { return stretched[level]; });
  }
}

// Whether the source's bytes are what the recorder wants already; a fourth byte that is not used
// may hold anything.
bool isAlready(const PixelFormat& wanted, const SourceColors& source) {
  if (source.avPixelFormat == AV_PIX_FMT_BGR0 && wanted.avPixelFormat == AV_PIX_FMT_BGRA) {
    return true;
  }
  const bool isColorRight =
      isRgb(source.avPixelFormat) || isGray(source.avPixelFormat) || source.matrix == SWS_CS_ITU601;
  return source.avPixelFormat == wanted.avPixelFormat && isColorRight &&
         source.isFullRange == wanted.isFullRange;
}

}  // namespace

PackedFrame FramePacker::pack(const AVFrame& source) {
  if (source.linesize[0] > 0 && isAlready(_format, colorsOf(source))) {
    return packed(source);
  }
  convert(source);
  return packed(*_target);
}

void FramePacker::prepareTarget(const AVFrame& source) {
  if (_target && _target->width == source.width && _target->height == source.height) {
    return;
  }
  _target.reset();
  LibavPointer<AVFrame> target = makeFrame();
  target->format = _format.avPixelFormat;
  target->width = source.width;
  target->height = source.height;
  if (av_frame_get_buffer(target.get(), 0) < 0) {
    throw std::bad_alloc();
  }
  _target = std::move(target);
}

// The ranges have to be known before the scaler is initialised: it then chooses between copying
// planes and converting them.
void FramePacker::prepareScaler(const ScalerKey& key) {
  if (_scaler && _scalerKey == key) {
    return;
  }
  LibavPointer<SwsContext> scaler(sws_alloc_context());
  if (!scaler) {
    throw std::bad_alloc();
  }
  _scaler.reset();  // one that cannot be completed must not be taken for the one before
  const auto set = [&scaler](const char* name, int value) {
    av_opt_set_int(scaler.get(), name, value, 0);
  };
  set("srcw", key.width);
  set("srch", key.height);
  set("src_format", key.avPixelFormat);
  set("src_range", key.isFullRange ? 1 : 0);
  set("dstw", key.width);
  set("dsth", key.height);
  set("dst_format", _format.avPixelFormat);
  set("dst_range", _format.isFullRange ? 1 : 0);
  set("sws_flags", kScalerFlags);
  const int result = sws_init_context(scaler.get(), nullptr, nullptr);
  if (result < 0) {
    throw std::runtime_error("the input's pictures cannot be converted: " + libavErrorText(result));
  }
  sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(key.matrix), key.isFullRange ? 1 : 0,
                           sws_getCoefficients(SWS_CS_ITU601), _format.isFullRange ? 1 : 0, 0, kOne,
                           kOne);
  _scaler = std::move(scaler);
  _scalerKey = key;
}

void FramePacker::convert(const AVFrame& source) {
  prepareTarget(source);
  SourceColors colors = colorsOf(source);
  // The scaler copies gray to gray whatever the ranges are, so it is told nothing about them.
  const bool isStretchedHere =
      isGray(source.format) && isGray(_format.avPixelFormat) && !colors.isFullRange;
  if (isStretchedHere) {
    colors.isFullRange = true;
  }
  prepareScaler(
      {source.width, source.height, colors.avPixelFormat, colors.matrix, colors.isFullRange});
  const int rows = sws_scale(_scaler.get(), source.data, source.linesize, 0, source.height,
                             _target->data, _target->linesize);
  if (rows != source.height) {
    throw std::runtime_error("a picture of the input cannot be converted: " + libavErrorText(rows));
  }
  if (isStretchedHere) {
    stretchToFullRange(*_target);
  }
}

PackedFrame FramePacker::packed(const AVFrame& picture) {
  if (_format.code == vx::kCVPixelFormatType_420YpCbCr8Planar) {
    return packedPlanes(picture);
  }
  PackedFrame frame;
  frame.bytes = picture.data[0];
  frame.width = static_cast<std::uint32_t>(picture.width);
  frame.height = static_cast<std::uint32_t>(picture.height);
  frame.bytesPerRow = static_cast<std::uint32_t>(picture.linesize[0]);
  frame.sizeBytes = std::size_t{frame.bytesPerRow} * frame.height;
  return frame;
}

// The recorder takes the three planes back to back without padding, the colour planes half as wide
// rounded down and half as high rounded up.
PackedFrame FramePacker::packedPlanes(const AVFrame& picture) {
  const auto width = static_cast<std::size_t>(picture.width);
  const auto height = static_cast<std::size_t>(picture.height);
  const std::size_t widths[] = {width, width / 2, width / 2};
  const std::size_t heights[] = {height, (height + 1) / 2, (height + 1) / 2};
  _planes.resize(widths[0] * heights[0] + 2 * widths[1] * heights[1]);
  std::uint8_t* target = _planes.data();
  for (int plane = 0; plane < 3; ++plane) {
    const std::uint8_t* row = picture.data[plane];
    for (std::size_t y = 0; y < heights[plane]; ++y) {
      std::memcpy(target, row, widths[plane]);
      target += widths[plane];
      row += picture.linesize[plane];
    }
  }
  PackedFrame frame;
  frame.bytes = _planes.data();
  frame.sizeBytes = _planes.size();
  frame.width = static_cast<std::uint32_t>(width);
  frame.height = static_cast<std::uint32_t>(height);
  frame.bytesPerRow = static_cast<std::uint32_t>(width);
  return frame;
}

}  // namespace vxrecord
