#include "platform/avfoundation/encoder/libavcodec_encoder.h"

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/encoder/annex_b.h"
#include "platform/avfoundation/encoder/sps_timing.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/hwcontext.h>
#include <libavutil/opt.h>
}

#include <libyuv/convert.h>
#include <libyuv/convert_from.h>
#include <algorithm>
#include <mutex>
#include <string_view>
#include <thread>

namespace vx {
namespace {

constexpr int kMillisecondsPerSecond = 1000;
constexpr int kUnheard = 64;  // moves an encoder's lines below every level that is printed
constexpr int kPoolSize = 4;  // pictures on the device

struct Freer {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVBufferRef* reference) const { av_buffer_unref(&reference); }
};
template <typename T>
using Owned = std::unique_ptr<T, Freer>;

/// A device that is not there is no news: nothing is printed while one is tried. FFmpeg has one
/// level for the process: of those that try at the same time the first lowers it and the last
/// restores it.
class Silence {
 public:
  Silence() {
    const std::lock_guard lock(s_mutex);
    if (s_count++ == 0) {
      s_before = av_log_get_level();
      av_log_set_level(AV_LOG_QUIET);
    }
  }
  ~Silence() {
    const std::lock_guard lock(s_mutex);
    if (--s_count == 0) {
      av_log_set_level(s_before);
    }
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  static inline std::mutex s_mutex;
  static inline int s_count = 0;   // guarded by s_mutex
  static inline int s_before = 0;  // guarded by s_mutex
};

struct Option {
  const char* encoder;
  const char* name;
  const char* value;
};

// What makes each encoder give every picture at once, and an IDR picture when it is asked for one.
constexpr Option kOptions[] = {
    {"libx264", "preset", "superfast"},  {"libx264", "tune", "zerolatency"},
    {"libx264", "forced-idr", "1"},      {"libopenh264", "allow_skip_frames", "0"},
    {"h264_nvenc", "preset", "p4"},      {"h264_nvenc", "tune", "ull"},
    {"h264_nvenc", "zerolatency", "1"},  {"h264_nvenc", "delay", "0"},
    {"h264_nvenc", "forced-idr", "1"},   {"h264_nvenc", "rc", "vbr"},
    {"h264_qsv", "async_depth", "1"},    {"h264_qsv", "forced_idr", "1"},
    {"h264_qsv", "look_ahead", "0"},     {"h264_vaapi", "async_depth", "1"},
    {"h264_vaapi", "idr_interval", "0"},
};

bool offers(const AVCodec& codec, AVPixelFormat format) {
  for (const AVPixelFormat* at = codec.pix_fmts; at && *at != AV_PIX_FMT_NONE; ++at) {
    if (*at == format) {
      return true;
    }
  }
  return false;
}

// The first that is easiest to fill.
AVPixelFormat inputFormat(const AVCodec& codec) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12, AV_PIX_FMT_VAAPI}) {
    if (offers(codec, format)) {
      return format;
    }
  }
  return AV_PIX_FMT_NONE;
}

NSError failure(std::int64_t code, const std::string& name, const std::string& what) {
  return NSError(AVFoundationErrorDomain, code,
                 "The video encoder " + name + " " + what +
                     "; choose another one, or \"auto\" to use what works.");
}

class LibavcodecEncoder final : public VideoEncoder {
 public:
  explicit LibavcodecEncoder(std::string name) : _name(std::move(name)) {}

  Status open(const VideoEncoderSettings& settings) override;
  const ParameterSets& parameterSets() const override { return _parameterSets; }
  Status encode(const PlanarPicture& picture, const PictureRequest& request,
                AccessUnit& accessUnit) override;

 private:
  void configure(const AVCodec& codec, const VideoEncoderSettings& settings);
  bool openDevice();
  bool makeFrames();
  bool fill(const PlanarPicture& picture);
  Status send(const PictureRequest& request);
  Status receive(AccessUnit& accessUnit);

  const std::string _name;
  bool _usesDevice = false;
  Owned<AVBufferRef> _device;
  Owned<AVCodecContext> _context;
  Owned<AVFrame> _frame;        // in memory
  Owned<AVFrame> _deviceFrame;  // on the device, where the encoder wants it there
  Owned<AVPacket> _packet;
  AnnexBReader _reader;
  ParameterSets _parameterSets;
  std::int64_t _lastTick = -1;
};

Status LibavcodecEncoder::open(const VideoEncoderSettings& settings) {
  const Silence silence;
  const AVCodec* codec = avcodec_find_encoder_by_name(_name.c_str());
  if (!codec || inputFormat(*codec) == AV_PIX_FMT_NONE) {
    return failure(AVErrorEncoderNotFound, _name, "is not part of this system's FFmpeg");
  }
  _context.reset(avcodec_alloc_context3(codec));
  _packet.reset(av_packet_alloc());
  if (!_context || !_packet) {
    return failure(AVErrorOutOfMemory, _name, "got no memory");
  }
  configure(*codec, settings);
  if ((_usesDevice && !openDevice()) || avcodec_open2(_context.get(), codec, nullptr) < 0 ||
      !makeFrames()) {
    return failure(AVErrorEncoderNotFound, _name, "cannot be opened on this machine");
  }
  if (_context->extradata_size > 0) {
    _reader.read({_context->extradata, static_cast<std::size_t>(_context->extradata_size)});
  }
  _parameterSets = _reader.parameterSets();
  if (_parameterSets.sps.empty() || _parameterSets.pps.empty()) {
    return failure(AVErrorEncoderNotFound, _name, "gives no parameter sets in advance");
  }
  _parameterSets.sps = withUsualFrameRate(
      _parameterSets.sps, static_cast<std::uint32_t>(settings.expectedSourceFrameRate));
  return Status::success();
}

void LibavcodecEncoder::configure(const AVCodec& codec, const VideoEncoderSettings& settings) {
  AVCodecContext& c = *_context;
  c.log_level_offset = kUnheard;
  c.width = settings.width;
  c.height = settings.height;
  c.pix_fmt = inputFormat(codec);
  c.time_base = {1, kMillisecondsPerSecond};
  c.framerate = {settings.expectedSourceFrameRate, 1};
  c.sample_aspect_ratio = {1, 1};
  c.bit_rate = settings.averageBitRate;
  c.gop_size = settings.maxKeyFrameInterval;
  c.max_b_frames = 0;
  c.qmin = kLowestQuantizer;
  c.profile = FF_PROFILE_H264_HIGH;
  c.flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_LOW_DELAY;
  c.thread_type = FF_THREAD_SLICE;  // threads that work on pictures of their own keep them inside
  c.thread_count = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  c.color_primaries = static_cast<AVColorPrimaries>(settings.colour.primaries);
  c.color_trc = static_cast<AVColorTransferCharacteristic>(settings.colour.transfer);
  c.colorspace = static_cast<AVColorSpace>(settings.colour.matrix);
  c.color_range = settings.colour.fullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  for (const Option& option : kOptions) {
    if (_name == option.encoder) {
      av_opt_set(c.priv_data, option.name, option.value, 0);  // older versions lack some
    }
  }
  _usesDevice = c.pix_fmt == AV_PIX_FMT_VAAPI;
}

bool LibavcodecEncoder::openDevice() {
  AVBufferRef* device = nullptr;
  if (av_hwdevice_ctx_create(&device, AV_HWDEVICE_TYPE_VAAPI, nullptr, nullptr, 0) < 0) {
    return false;
  }
  _device.reset(device);
  Owned<AVBufferRef> pictures(av_hwframe_ctx_alloc(device));
  if (!pictures) {
    return false;
  }
  auto& description = *reinterpret_cast<AVHWFramesContext*>(pictures->data);
  description.format = AV_PIX_FMT_VAAPI;
  description.sw_format = AV_PIX_FMT_NV12;
  description.width = _context->width;
  description.height = _context->height;
  description.initial_pool_size = kPoolSize;
  if (av_hwframe_ctx_init(pictures.get()) < 0) {
    return false;
  }
  _context->hw_frames_ctx = pictures.release();
  return true;
}

bool LibavcodecEncoder::makeFrames() {
  _frame.reset(av_frame_alloc());
  _deviceFrame.reset(av_frame_alloc());
  if (!_frame || !_deviceFrame) {
    return false;
  }
  _frame->format = _usesDevice ? AV_PIX_FMT_NV12 : _context->pix_fmt;
  _frame->width = _context->width;
  _frame->height = _context->height;
  return av_frame_get_buffer(_frame.get(), 0) >= 0;
}

bool LibavcodecEncoder::fill(const PlanarPicture& picture) {
  if (av_frame_make_writable(_frame.get()) < 0) {
    return false;
  }
  AVFrame& f = *_frame;
  const auto& [y, cb, cr] = picture.planes;
  const auto& [yRow, cbRow, crRow] = picture.bytesPerRow;
  if (f.format == AV_PIX_FMT_NV12) {
    libyuv::I420ToNV12(y, yRow, cb, cbRow, cr, crRow, f.data[0], f.linesize[0], f.data[1],
                       f.linesize[1], picture.width, picture.height);
  } else {
    libyuv::I420Copy(y, yRow, cb, cbRow, cr, crRow, f.data[0], f.linesize[0], f.data[1],
                     f.linesize[1], f.data[2], f.linesize[2], picture.width, picture.height);
  }
  if (!_usesDevice) {
    return true;
  }
  av_frame_unref(_deviceFrame.get());
  return av_hwframe_get_buffer(_context->hw_frames_ctx, _deviceFrame.get(), 0) >= 0 &&
         av_hwframe_transfer_data(_deviceFrame.get(), _frame.get(), 0) >= 0;
}

Status LibavcodecEncoder::send(const PictureRequest& request) {
  AVFrame& frame = _usesDevice ? *_deviceFrame : *_frame;
  frame.pts = _lastTick = std::max(_lastTick + 1, request.timeMs);
  frame.pict_type = request.forceKeyFrame ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
  if (avcodec_send_frame(_context.get(), &frame) < 0) {
    return failure(AVErrorEncodeFailed, _name, "could not code a picture");
  }
  return Status::success();
}

Status LibavcodecEncoder::receive(AccessUnit& accessUnit) {
  av_packet_unref(_packet.get());
  const int result = avcodec_receive_packet(_context.get(), _packet.get());
  if (result == AVERROR(EAGAIN)) {
    return failure(AVErrorEncodeFailed, _name,
                   "keeps pictures inside, where a crash would lose them");
  }
  if (result < 0) {
    return failure(AVErrorEncodeFailed, _name, "could not code a picture");
  }
  _reader.read({_packet->data, static_cast<std::size_t>(_packet->size)});
  if (_reader.sample().empty()) {
    return failure(AVErrorEncodeFailed, _name, "gave a picture in an unknown form");
  }
  accessUnit.bytes = _reader.sample();
  accessUnit.isKeyFrame = _reader.hasKeyFrame();
  return Status::success();
}

Status LibavcodecEncoder::encode(const PlanarPicture& picture, const PictureRequest& request,
                                 AccessUnit& accessUnit) {
  if (!fill(picture)) {
    return failure(AVErrorEncodeFailed, _name, "could not take a picture");
  }
  if (Status status = send(request); !status) {
    return status;
  }
  return receive(accessUnit);
}

constexpr std::string_view kHardware[] = {"h264_nvenc", "h264_qsv", "h264_vaapi"};

EncoderOffer offerOf(const AVCodec& codec, bool isHardware) {
  EncoderOffer offer;
  offer.description.name = codec.name;
  offer.description.description =
      (codec.long_name ? std::string(codec.long_name) : offer.description.name) +
      ", through libavcodec";
  offer.description.isHardware = isHardware;
  offer.description.licenceNote = std::string("libavcodec: ") + avcodec_license() +
                                  (isHardware ? "; the device's driver has its own" : "");
  offer.make = [name = offer.description.name] { return makeLibavcodecEncoder(name); };
  return offer;
}

}  // namespace

std::vector<EncoderOffer> libavcodecOffers() {
  std::vector<EncoderOffer> found;
  for (const std::string_view name : kHardware) {
    if (const AVCodec* codec = avcodec_find_encoder_by_name(std::string(name).c_str())) {
      found.push_back(offerOf(*codec, true));
    }
  }
  void* state = nullptr;
  while (const AVCodec* codec = av_codec_iterate(&state)) {
    // Beside those above, what begins like them is for devices of other systems.
    const bool isSoftware = !std::string_view(codec->name).starts_with("h264_");
    if (av_codec_is_encoder(codec) && codec->id == AV_CODEC_ID_H264 && isSoftware &&
        inputFormat(*codec) != AV_PIX_FMT_NONE) {
      found.push_back(offerOf(*codec, false));
    }
  }
  return found;
}

std::unique_ptr<VideoEncoder> makeLibavcodecEncoder(const std::string& name) {
  return std::make_unique<LibavcodecEncoder>(name);
}

}  // namespace vx
