// H.264 through libx264: every picture is coded at once, nothing waits inside.
#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/encoder/bit_rate_control.h"
#include "platform/avfoundation/encoder/picture_detail.h"
#include "platform/avfoundation/encoder/sps_timing.h"
#include "platform/avfoundation/encoder/video_encoder.h"

#include <x264.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <thread>

namespace vx {
namespace {

constexpr std::size_t kLengthPrefix = 4;  // bytes before a NAL unit
constexpr int kMinimumRowsPerSlice =
    16;  // macroblock rows below which a slice costs more than it gains
constexpr int kMacroblock = 16;

struct EncoderCloser {
  void operator()(x264_t* encoder) const { x264_encoder_close(encoder); }
};

/// What one speed asks of the encoder: what may change between two pictures. The entropy coding,
/// the transforms and the reference are the same at all of them, so the parameter sets stay true.
struct Speed {
  int subpelRefinement;
  int motionSearch;
  unsigned partitions;  // tried in predicted pictures
  double relativeCost;  // measured on a moving desktop, 1920x1080
};

// Compared with x264's presets: the second is "superfast", the fourth a little better than
// "veryfast" and a little faster.
constexpr unsigned kNoPartitions = 0;
constexpr unsigned kIntraPartitions = X264_ANALYSE_I4x4 | X264_ANALYSE_I8x8;
constexpr unsigned kAllPartitions = kIntraPartitions | X264_ANALYSE_PSUB16x16;
constexpr std::array kSpeeds = {
    Speed{1, X264_ME_DIA, kNoPartitions, 1.0}, Speed{1, X264_ME_DIA, kIntraPartitions, 1.05},
    Speed{2, X264_ME_HEX, kIntraPartitions, 1.15}, Speed{2, X264_ME_HEX, kAllPartitions, 1.35},
    Speed{4, X264_ME_HEX, kAllPartitions, 1.85}};

int cores() { return static_cast<int>(std::max(1u, std::thread::hardware_concurrency())); }

/// The pixels of a picture of every open encoder: they share the cores.
class PixelsInAll {
 public:
  PixelsInAll() = default;
  ~PixelsInAll() { s_sum -= _own; }
  PixelsInAll(const PixelsInAll&) = delete;
  PixelsInAll& operator=(const PixelsInAll&) = delete;

  void add(std::int64_t pixels) {
    _own += pixels;
    s_sum += pixels;
  }
  static std::int64_t sum() { return s_sum; }

 private:
  static inline std::atomic<std::int64_t> s_sum = 0;
  std::int64_t _own = 0;
};

// What two common cores code live at 30 pictures a second, with time to spare.
int levelFor(std::int64_t pixelsInAll) {
  const std::int64_t pixels = pixelsInAll * 2 / cores();
  if (pixels <= 1280 * 720) {
    return 3;
  }
  return pixels <= 1920 * 1088 ? 1 : 0;
}

int sliceThreads(int height) {
  const int rows = (height + kMacroblock - 1) / kMacroblock;
  return std::clamp(rows / kMinimumRowsPerSlice, 1, cores());
}

bool isLarge(const VideoEncoderSettings& settings) {
  return std::int64_t{settings.width} * settings.height > 1920 * 1088;
}

class X264Encoder final : public VideoEncoder {
 public:
  Status open(const VideoEncoderSettings& settings) override;
  const ParameterSets& parameterSets() const override { return _parameterSets; }
  Status encode(const PlanarPicture& picture, const PictureRequest& request,
                AccessUnit& accessUnit) override;
  EncoderSpeeds speeds() const override;
  int firstSpeed() const override { return levelFor(PixelsInAll::sum()); }
  void setSpeed(int level) override { _speed = level; }

 private:
  x264_param_t parameters(const VideoEncoderSettings& settings);
  Status readParameterSets(const VideoEncoderSettings& settings);
  void adjust();
  NSError failure(std::int64_t code, const std::string& what) const;
  static void rememberMessage(void* self, int level, const char* format, va_list arguments);

  std::unique_ptr<x264_t, EncoderCloser> _encoder;
  x264_param_t _parameters{};
  std::optional<BitRateControl> _bitRate;
  PixelsInAll _pixelsInAll;
  int _speed = 0;
  ParameterSets _parameterSets;
  std::int64_t _lastTick = -1;
  std::array<char, 256> _lastMessage{};  // text of x264, cut where it is too long
};

void X264Encoder::rememberMessage(void* self, int level, const char* format, va_list arguments) {
  if (level > X264_LOG_ERROR) {
    return;
  }
  // No memory is taken: x264 has this to say when there is none, and nothing may be raised through
  // it.
  auto& message = static_cast<X264Encoder*>(self)->_lastMessage;
  std::vsnprintf(message.data(), message.size(), format, arguments);
  if (char* end = std::strchr(message.data(), '\n')) {
    *end = '\0';
  }
}

NSError X264Encoder::failure(std::int64_t code, const std::string& what) const {
  const std::string message = _lastMessage.data();
  return NSError(AVFoundationErrorDomain, code,
                 what + (message.empty() ? "" : " (" + message + ")"));
}

x264_param_t X264Encoder::parameters(const VideoEncoderSettings& settings) {
  x264_param_t p;
  x264_param_default_preset(&p, "superfast", "zerolatency");
  p.pf_log = rememberMessage;
  p.p_log_private = this;
  p.i_csp = X264_CSP_I420;
  p.i_width = settings.width;
  p.i_height = settings.height;
  p.i_threads = sliceThreads(settings.height);
  p.b_sliced_threads = p.i_threads > 1;
  // Not told that frames come irregularly: x264 would then hold each picture back until it knows
  // how long it lasts. Ticks are only carried along; the frame rate guides the level.
  p.b_vfr_input = 0;
  p.i_fps_num = static_cast<std::uint32_t>(settings.expectedSourceFrameRate);
  p.i_fps_den = 1;
  p.rc.i_rc_method = X264_RC_CRF;
  p.rc.f_rf_constant = static_cast<float>(_bitRate->rateFactor());
  p.b_stitchable = 1;  // or the first picture's quantizer would go into the parameter sets
  p.rc.i_qp_min = kLowestQuantizer;
  p.i_keyint_max = settings.maxKeyFrameInterval;
  p.i_bframe = 0;
  // Fades are rare on a desktop, and looking for them takes its time in large pictures.
  p.analyse.i_weighted_pred = isLarge(settings) ? X264_WEIGHTP_NONE : X264_WEIGHTP_SIMPLE;
  // High profile at every speed, so that the speed can change without new parameter sets.
  p.b_cabac = 1;
  p.analyse.b_transform_8x8 = 1;
  p.b_annexb = 0;
  p.b_repeat_headers = 0;
  p.vui.i_sar_width = 1;
  p.vui.i_sar_height = 1;
  p.vui.b_fullrange = settings.colour.fullRange;
  p.vui.i_colorprim = settings.colour.primaries;
  p.vui.i_transfer = settings.colour.transfer;
  p.vui.i_colmatrix = settings.colour.matrix;
  x264_param_apply_profile(&p, "high");
  return p;
}

Status X264Encoder::open(const VideoEncoderSettings& settings) {
  const int macroblocks = ((settings.width + kMacroblock - 1) / kMacroblock) *
                          ((settings.height + kMacroblock - 1) / kMacroblock);
  _bitRate.emplace(settings.averageBitRate, macroblocks);
  _pixelsInAll.add(std::int64_t{settings.width} * settings.height);
  _speed = firstSpeed();
  _parameters = parameters(settings);
  _encoder.reset(x264_encoder_open(&_parameters));
  if (!_encoder) {
    return failure(AVErrorEncoderNotFound,
                   "The H.264 encoder could not be opened; a smaller picture or more free memory "
                   "may help");
  }
  x264_encoder_parameters(_encoder.get(), &_parameters);  // as the encoder completed them
  return readParameterSets(settings);
}

EncoderSpeeds X264Encoder::speeds() const {
  EncoderSpeeds speeds;
  for (const Speed& speed : kSpeeds) {
    speeds.relativeCosts.push_back(speed.relativeCost);
  }
  speeds.firstLevel = firstSpeed();
  return speeds;
}

// Takes effect with the next picture. Should x264 refuse, the picture is coded as the one before.
void X264Encoder::adjust() {
  const Speed& speed = kSpeeds[static_cast<std::size_t>(_speed)];
  _parameters.analyse.i_subpel_refine = speed.subpelRefinement;
  _parameters.analyse.i_me_method = speed.motionSearch;
  _parameters.analyse.inter = speed.partitions;
  _parameters.rc.f_rf_constant = static_cast<float>(_bitRate->rateFactor());
  x264_encoder_reconfig(_encoder.get(), &_parameters);
}

Status X264Encoder::readParameterSets(const VideoEncoderSettings& settings) {
  x264_nal_t* units = nullptr;
  int count = 0;
  if (x264_encoder_headers(_encoder.get(), &units, &count) < 0) {
    return failure(AVErrorEncodeFailed, "The H.264 encoder gave no parameter sets");
  }
  for (int i = 0; i < count; ++i) {
    const x264_nal_t& unit = units[i];
    std::vector<std::uint8_t>* set = unit.i_type == NAL_SPS   ? &_parameterSets.sps
                                     : unit.i_type == NAL_PPS ? &_parameterSets.pps
                                                              : nullptr;
    if (set) {
      set->assign(unit.p_payload + kLengthPrefix, unit.p_payload + unit.i_payload);
    }
  }
  _parameterSets.sps = withUsualFrameRate(
      _parameterSets.sps, static_cast<std::uint32_t>(settings.expectedSourceFrameRate));
  return Status::success();
}

Status X264Encoder::encode(const PlanarPicture& picture, const PictureRequest& request,
                           AccessUnit& accessUnit) {
  if (_lastTick < 0) {
    _bitRate->expectFirst(detailOf(picture));
  }
  adjust();
  x264_picture_t in;
  x264_picture_init(&in);
  in.i_type = request.forceKeyFrame ? X264_TYPE_IDR : X264_TYPE_AUTO;
  // The encoder wants rising ticks; the file keeps the real times.
  in.i_pts = _lastTick = std::max(_lastTick + 1, request.timeMs);
  in.img.i_csp = X264_CSP_I420;
  in.img.i_plane = 3;
  for (int plane = 0; plane < 3; ++plane) {
    in.img.plane[plane] = const_cast<std::uint8_t*>(picture.planes[plane]);
    in.img.i_stride[plane] = picture.bytesPerRow[plane];
  }
  x264_nal_t* units = nullptr;
  int count = 0;
  x264_picture_t out;
  const int size = x264_encoder_encode(_encoder.get(), &units, &count, &in, &out);
  if (size <= 0) {
    return failure(AVErrorEncodeFailed, "The H.264 encoder could not code a picture");
  }
  accessUnit.bytes = {units[0].p_payload, static_cast<std::size_t>(size)};
  accessUnit.isKeyFrame = out.b_keyframe != 0;
  _bitRate->pictureWasCoded(accessUnit.bytes.size() * 8, request.durationMs, accessUnit.isKeyFrame);
  return Status::success();
}

}  // namespace

std::unique_ptr<VideoEncoder> makeX264Encoder() { return std::make_unique<X264Encoder>(); }

}  // namespace vx
