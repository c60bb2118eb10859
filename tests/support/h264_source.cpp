#include "support/h264_source.h"

#include <memory>
#include <stdexcept>

extern "C" {
#include <x264.h>
}

namespace vx::test {

namespace {

constexpr int kLengthBytes = 4;

struct CloseEncoder {
  void operator()(x264_t* encoder) const { x264_encoder_close(encoder); }
};
using Encoder = std::unique_ptr<x264_t, CloseEncoder>;

Encoder openEncoder(int width, int height, int keyFrameInterval) {
  x264_param_t param;
  x264_param_default_preset(&param, "ultrafast", "zerolatency");
  param.i_width = width;
  param.i_height = height;
  param.i_csp = X264_CSP_I420;
  param.i_keyint_max = keyFrameInterval;
  param.i_threads = 1;
  param.b_annexb = 0;
  param.b_repeat_headers = 0;
  param.i_log_level = X264_LOG_NONE;
  param.analyse.b_transform_8x8 = 1;
  param.vui.i_colorprim = 1;
  param.vui.i_transfer = 13;
  param.vui.i_colmatrix = 6;
  x264_param_apply_profile(&param, "high");
  Encoder encoder(x264_encoder_open(&param));
  if (!encoder) throw std::runtime_error("no encoder");
  return encoder;
}

void readParameterSets(x264_t* encoder, H264Source& source) {
  x264_nal_t* nals = nullptr;
  int count = 0;
  x264_encoder_headers(encoder, &nals, &count);
  for (int i = 0; i < count; ++i) {
    const std::vector<std::uint8_t> set(nals[i].p_payload + kLengthBytes,
                                        nals[i].p_payload + nals[i].i_payload);
    if (nals[i].i_type == NAL_SPS) source.sps = set;
    if (nals[i].i_type == NAL_PPS) source.pps = set;
  }
}

void paint(x264_picture_t& picture, int width, int height, int number) {
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      picture.img.plane[0][y * picture.img.i_stride[0] + x] =
          static_cast<std::uint8_t>(16 + (x * 3 + y * 5 + number * 7) % 220);
  for (int plane = 1; plane < 3; ++plane)
    for (int y = 0; y < height / 2; ++y)
      for (int x = 0; x < width / 2; ++x)
        picture.img.plane[plane][y * picture.img.i_stride[plane] + x] =
            static_cast<std::uint8_t>(64 + (x + y * plane + number) % 128);
}

}  // namespace

H264Source makeH264(int width, int height, int count, int keyFrameInterval) {
  H264Source source;
  Encoder encoder = openEncoder(width, height, keyFrameInterval);
  readParameterSets(encoder.get(), source);
  x264_picture_t input;
  x264_picture_alloc(&input, X264_CSP_I420, width, height);
  for (int i = 0; i < count; ++i) {
    paint(input, width, height, i);
    input.i_pts = i;
    x264_picture_t output;
    x264_nal_t* nals = nullptr;
    int nalCount = 0;
    const int size = x264_encoder_encode(encoder.get(), &nals, &nalCount, &input, &output);
    if (size <= 0) throw std::runtime_error("nothing coded");
    source.pictures.push_back(
        {{nals[0].p_payload, nals[0].p_payload + size}, output.b_keyframe != 0});
  }
  x264_picture_clean(&input);
  return source;
}

}  // namespace vx::test
