#include "bench/harness/file_reading.h"

#include "bench/harness/ssim.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>

namespace bench {
namespace {

struct Freer {
  void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
  void operator()(AVFrame* f) const { av_frame_free(&f); }
  void operator()(AVPacket* p) const { av_packet_free(&p); }
  void operator()(AVFormatContext* f) const { avformat_close_input(&f); }
};
template <typename T>
using Owned = std::unique_ptr<T, Freer>;

Owned<AVFormatContext> openFile(const std::string& path) {
  av_log_set_level(AV_LOG_ERROR);
  AVFormatContext* file = nullptr;
  if (avformat_open_input(&file, path.c_str(), nullptr, nullptr) < 0 ||
      avformat_find_stream_info(file, nullptr) < 0) {
    throw std::runtime_error("cannot read " + path);
  }
  return Owned<AVFormatContext>(file);
}

void forEachPacket(AVFormatContext& file, const std::function<void(AVPacket&)>& visit) {
  const Owned<AVPacket> packet(av_packet_alloc());
  while (av_read_frame(&file, packet.get()) == 0) {
    visit(*packet);
    av_packet_unref(packet.get());
  }
}

/// The mean over the pictures that come out of the decoder.
class SsimOfPictures {
 public:
  SsimOfPictures(const FrameSource& source, std::size_t step) : _source(source), _step(step) {}

  void add(const AVFrame& frame) {
    const std::size_t number = _seen++;
    if (number % _step == 0) {
      const LumaPlane decoded{frame.data[0], frame.linesize[0]};
      const LumaPlane original{_source.frame(number).data(), static_cast<int>(_source.width())};
      _sum += ssim(decoded, original, static_cast<int>(_source.width()),
                   static_cast<int>(_source.height()));
      ++_count;
    }
  }
  double mean() const { return _count == 0 ? 0 : _sum / static_cast<double>(_count); }

 private:
  const FrameSource& _source;
  std::size_t _step;
  std::size_t _seen = 0;
  std::size_t _count = 0;
  double _sum = 0;
};

void decode(AVCodecContext& decoder, const AVPacket* packet, AVFrame& frame,
            SsimOfPictures& pictures) {
  avcodec_send_packet(&decoder, packet);
  while (avcodec_receive_frame(&decoder, &frame) == 0) {
    pictures.add(frame);
  }
}

}  // namespace

FileFacts factsOf(const std::string& path) {
  FileFacts facts;
  facts.bytes = std::filesystem::file_size(path);
  const Owned<AVFormatContext> file = openFile(path);
  forEachPacket(*file, [&](AVPacket& packet) {
    facts.mediaBytes += static_cast<std::uint64_t>(packet.size);
    ++facts.frames;
  });
  facts.seconds = static_cast<double>(file->duration) / AV_TIME_BASE;
  return facts;
}

double meanSsim(const std::string& path, const FrameSource& source, std::size_t step) {
  const Owned<AVFormatContext> file = openFile(path);
  const AVCodecParameters* parameters = file->streams[0]->codecpar;
  const AVCodec* codec = avcodec_find_decoder(parameters->codec_id);
  const Owned<AVCodecContext> decoder(avcodec_alloc_context3(codec));
  avcodec_parameters_to_context(decoder.get(), parameters);
  decoder->thread_count = 0;  // as many as there are cores
  if (avcodec_open2(decoder.get(), codec, nullptr) != 0) {
    throw std::runtime_error("cannot decode " + path);
  }
  const Owned<AVFrame> frame(av_frame_alloc());
  SsimOfPictures pictures(source, step);
  forEachPacket(*file, [&](AVPacket& packet) { decode(*decoder, &packet, *frame, pictures); });
  decode(*decoder, nullptr, *frame, pictures);
  return pictures.mean();
}

}  // namespace bench
