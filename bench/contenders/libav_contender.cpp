#include "bench/contenders/contender.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <cstring>
#include <memory>
#include <stdexcept>

namespace bench {
namespace {

struct Freer {
  void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
  void operator()(AVFrame* f) const { av_frame_free(&f); }
  void operator()(AVPacket* p) const { av_packet_free(&p); }
  void operator()(SwsContext* s) const { sws_freeContext(s); }
  void operator()(AVFormatContext* f) const {
    if (f->pb) {
      avio_closep(&f->pb);
    }
    avformat_free_context(f);
  }
};
template <typename T>
using Owned = std::unique_ptr<T, Freer>;

void require(bool good, const char* step) {
  if (!good) {
    throw std::runtime_error(std::string("libav: ") + step + " failed");
  }
}

class LibavContender final : public Contender {
 public:
  const char* name() const override { return "libav"; }
  void prepare() override { av_log_set_level(AV_LOG_ERROR); }
  void open(const FrameSource& source, const RecordingSettings& settings) override;
  bool append(std::size_t i, std::uint32_t timeMs) override;
  void stop() override;

 private:
  void openEncoder(const RecordingSettings& settings);
  void openMuxer(const std::string& path);
  void fill(AVFrame& frame, const std::uint8_t* source);
  void drain();

  const FrameSource* _source = nullptr;
  Owned<AVCodecContext> _encoder;
  Owned<AVFormatContext> _muxer;
  Owned<AVPacket> _packet{av_packet_alloc()};
  Owned<SwsContext> _converter;
};

void LibavContender::open(const FrameSource& source, const RecordingSettings& settings) {
  _source = &source;
  openEncoder(settings);
  openMuxer(settings.path);
  if (!source.isPlanar()) {
    const int width = _encoder->width;
    const int height = _encoder->height;
    _converter.reset(sws_getContext(width, height, AV_PIX_FMT_BGRA, width, height,
                                    AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr));
    require(_converter != nullptr, "the colour converter");
  }
}

void LibavContender::openEncoder(const RecordingSettings& settings) {
  const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
  require(codec != nullptr, "finding libx264");
  _encoder.reset(avcodec_alloc_context3(codec));
  _encoder->width = static_cast<int>(_source->width());
  _encoder->height = static_cast<int>(_source->height());
  _encoder->pix_fmt = AV_PIX_FMT_YUV420P;
  _encoder->time_base = {1, 1000};
  _encoder->framerate = {settings.framesPerSecond, 1};
  _encoder->bit_rate = settings.bitRate;
  _encoder->gop_size = kKeyFrameInterval;
  _encoder->max_b_frames = 0;
  _encoder->qmin = kLowestQuantizer;
  _encoder->thread_count = encoderThreads(*_source);
  _encoder->thread_type = FF_THREAD_SLICE;
  _encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  av_opt_set(_encoder->priv_data, "preset", settings.speed.preset.c_str(), 0);
  av_opt_set(_encoder->priv_data, "tune", "zerolatency", 0);
  av_opt_set(_encoder->priv_data, "profile", "high", 0);
  av_opt_set(_encoder->priv_data, "x264-params", settings.speed.options.c_str(), 0);
  require(avcodec_open2(_encoder.get(), codec, nullptr) == 0, "opening the encoder");
}

void LibavContender::openMuxer(const std::string& path) {
  AVFormatContext* muxer = nullptr;
  require(avformat_alloc_output_context2(&muxer, nullptr, "mp4", path.c_str()) >= 0, "the muxer");
  _muxer.reset(muxer);
  AVStream* stream = avformat_new_stream(muxer, nullptr);
  avcodec_parameters_from_context(stream->codecpar, _encoder.get());
  stream->time_base = _encoder->time_base;
  AVDictionary* options = nullptr;
  av_dict_set(&options, "movflags", "empty_moov+default_base_moof", 0);
  av_dict_set_int(&options, "frag_duration", kFragmentMilliseconds * 1000, 0);
  const bool opened = avio_open(&muxer->pb, path.c_str(), AVIO_FLAG_WRITE) == 0 &&
                      avformat_write_header(muxer, &options) == 0;
  av_dict_free(&options);
  require(opened, "opening the file");
}

void LibavContender::fill(AVFrame& frame, const std::uint8_t* source) {
  if (_converter) {
    const int pitch = static_cast<int>(_source->bytesPerRow());
    sws_scale(_converter.get(), &source, &pitch, 0, frame.height, frame.data, frame.linesize);
    return;
  }
  for (int plane = 0; plane < 3; ++plane) {
    const int width = plane == 0 ? frame.width : frame.width / 2;
    const int height = plane == 0 ? frame.height : frame.height / 2;
    for (int y = 0; y < height; ++y, source += width) {
      std::memcpy(frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane],
                  source, static_cast<std::size_t>(width));
    }
  }
}

bool LibavContender::append(std::size_t i, std::uint32_t timeMs) {
  Owned<AVFrame> frame(av_frame_alloc());
  frame->format = _encoder->pix_fmt;
  frame->width = _encoder->width;
  frame->height = _encoder->height;
  frame->pts = timeMs;
  require(av_frame_get_buffer(frame.get(), 0) >= 0, "memory for a frame");
  fill(*frame, _source->frame(i).data());
  require(avcodec_send_frame(_encoder.get(), frame.get()) >= 0, "coding");
  drain();
  return true;
}

void LibavContender::drain() {
  while (avcodec_receive_packet(_encoder.get(), _packet.get()) == 0) {
    _packet->duration = 1000 / _encoder->framerate.num;
    av_packet_rescale_ts(_packet.get(), _encoder->time_base, _muxer->streams[0]->time_base);
    require(av_interleaved_write_frame(_muxer.get(), _packet.get()) >= 0, "writing");
  }
}

void LibavContender::stop() {
  avcodec_send_frame(_encoder.get(), nullptr);
  drain();
  require(av_write_trailer(_muxer.get()) >= 0, "completing the file");
  _muxer.reset();
}

}  // namespace

std::unique_ptr<Contender> makeLibav() { return std::make_unique<LibavContender>(); }

}  // namespace bench
