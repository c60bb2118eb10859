#include "bench/libav_recorder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cstring>
#include <memory>
#include <thread>

namespace bench {
namespace {

struct Freer {
  void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
  void operator()(AVFrame* f) const { av_frame_free(&f); }
  void operator()(AVPacket* p) const { av_packet_free(&p); }
  void operator()(AVFormatContext* f) const {
    if (f->pb) {
      avio_closep(&f->pb);
    }
    avformat_free_context(f);
  }
};
template <typename T>
using Owned = std::unique_ptr<T, Freer>;

// The recorder's choices, said in the encoder's own words.
const char* preset(const MovingPicture& picture) {
  const std::uint64_t pixels = std::uint64_t{picture.width()} * picture.height();
  return pixels <= 1280 * 720 ? "veryfast" : pixels <= 1920 * 1088 ? "superfast" : "ultrafast";
}

Owned<AVCodecContext> openEncoder(const MovingPicture& picture) {
  const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
  if (!codec) {
    return nullptr;
  }
  Owned<AVCodecContext> encoder(avcodec_alloc_context3(codec));
  encoder->width = static_cast<int>(picture.width());
  encoder->height = static_cast<int>(picture.height());
  encoder->pix_fmt = AV_PIX_FMT_YUV420P;
  encoder->time_base = {1, 1000};
  encoder->framerate = {30, 1};
  encoder->bit_rate = 10485760;
  encoder->gop_size = 30;
  encoder->max_b_frames = 0;
  encoder->qmin = 10;
  const int rows = (encoder->height + 15) / 16;
  encoder->thread_count =
      std::clamp(rows / 16, 1, static_cast<int>(std::max(1u, std::thread::hardware_concurrency())));
  encoder->thread_type = FF_THREAD_SLICE;
  encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  av_opt_set(encoder->priv_data, "preset", preset(picture), 0);
  av_opt_set(encoder->priv_data, "tune", "zerolatency", 0);
  av_opt_set(encoder->priv_data, "profile", "high", 0);
  av_opt_set(encoder->priv_data, "x264-params", "cabac=1:8x8dct=1:force-cfr=0", 0);
  return avcodec_open2(encoder.get(), codec, nullptr) == 0 ? std::move(encoder) : nullptr;
}

Owned<AVFormatContext> openMuxer(const AVCodecContext& encoder, const std::string& path) {
  AVFormatContext* raw = nullptr;
  if (avformat_alloc_output_context2(&raw, nullptr, "mp4", path.c_str()) < 0) {
    return nullptr;
  }
  Owned<AVFormatContext> muxer(raw);
  AVStream* stream = avformat_new_stream(raw, nullptr);
  avcodec_parameters_from_context(stream->codecpar, &encoder);
  stream->time_base = encoder.time_base;
  AVDictionary* options = nullptr;
  av_dict_set(&options, "movflags", "empty_moov+default_base_moof", 0);
  av_dict_set(&options, "frag_duration", "500000", 0);
  const bool opened = avio_open(&raw->pb, path.c_str(), AVIO_FLAG_WRITE) == 0 &&
                      avformat_write_header(raw, &options) == 0;
  av_dict_free(&options);
  return opened ? std::move(muxer) : nullptr;
}

void copyInto(AVFrame& frame, const std::uint8_t* source) {
  for (int plane = 0; plane < 3; ++plane) {
    const int width = plane == 0 ? frame.width : frame.width / 2;
    const int height = plane == 0 ? frame.height : frame.height / 2;
    for (int y = 0; y < height; ++y, source += width) {
      std::memcpy(frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane],
                  source, static_cast<std::size_t>(width));
    }
  }
}

bool drain(AVCodecContext& encoder, AVFormatContext& muxer, AVPacket& packet) {
  while (avcodec_receive_packet(&encoder, &packet) == 0) {
    packet.duration = 33;
    av_packet_rescale_ts(&packet, encoder.time_base, muxer.streams[0]->time_base);
    if (av_interleaved_write_frame(&muxer, &packet) < 0) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool recordWithLibav(const MovingPicture& picture, std::size_t frames, const std::string& path) {
  av_log_set_level(AV_LOG_ERROR);
  Owned<AVCodecContext> encoder = openEncoder(picture);
  if (!encoder || !picture.isPlanar()) {
    return false;
  }
  Owned<AVFormatContext> muxer = openMuxer(*encoder, path);
  Owned<AVPacket> packet(av_packet_alloc());
  if (!muxer) {
    return false;
  }
  for (std::size_t i = 0; i < frames; ++i) {
    Owned<AVFrame> frame(av_frame_alloc());
    frame->format = encoder->pix_fmt;
    frame->width = encoder->width;
    frame->height = encoder->height;
    frame->pts = static_cast<std::int64_t>(i) * 33;
    if (av_frame_get_buffer(frame.get(), 0) < 0) {
      return false;
    }
    copyInto(*frame, picture.frame(i).data());
    if (avcodec_send_frame(encoder.get(), frame.get()) < 0 || !drain(*encoder, *muxer, *packet)) {
      return false;
    }
  }
  avcodec_send_frame(encoder.get(), nullptr);
  return drain(*encoder, *muxer, *packet) && av_write_trailer(muxer.get()) == 0;
}

}  // namespace bench
