#include "support/movie_reader.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

namespace vx::test {

namespace {

constexpr int kIoBufferBytes = 1 << 15;

thread_local std::vector<std::string>* complaintsOfThisRead = nullptr;

void collectComplaint(void*, int level, const char* format, std::va_list arguments) {
  if (level > AV_LOG_ERROR || complaintsOfThisRead == nullptr) return;
  char line[512];
  std::vsnprintf(line, sizeof line, format, arguments);
  complaintsOfThisRead->emplace_back(line);
}

/// Collects what libav has to say while this lives.
class ComplaintCollector {
 public:
  explicit ComplaintCollector(std::vector<std::string>& complaints) {
    complaintsOfThisRead = &complaints;
    av_log_set_callback(collectComplaint);
  }
  ~ComplaintCollector() {
    av_log_set_callback(av_log_default_callback);
    complaintsOfThisRead = nullptr;
  }
};

/// Bytes in memory as an input of libavformat.
class MemoryInput {
 public:
  explicit MemoryInput(ByteView bytes) : _bytes(bytes) {
    auto* buffer = static_cast<unsigned char*>(av_malloc(kIoBufferBytes));
    _io = avio_alloc_context(buffer, kIoBufferBytes, 0, this, read, nullptr, seek);
  }
  ~MemoryInput() {
    av_freep(&_io->buffer);
    avio_context_free(&_io);
  }
  MemoryInput(const MemoryInput&) = delete;
  MemoryInput& operator=(const MemoryInput&) = delete;
  AVIOContext* io() { return _io; }

 private:
  static int read(void* self, std::uint8_t* out, int wanted) {
    auto& input = *static_cast<MemoryInput*>(self);
    const std::size_t left = input._bytes.size() - input._position;
    const std::size_t count = std::min(left, static_cast<std::size_t>(wanted));
    if (count == 0) return AVERROR_EOF;
    std::memcpy(out, input._bytes.data() + input._position, count);
    input._position += count;
    return static_cast<int>(count);
  }
  static std::int64_t seek(void* self, std::int64_t offset, int whence) {
    auto& input = *static_cast<MemoryInput*>(self);
    if (whence == AVSEEK_SIZE) return static_cast<std::int64_t>(input._bytes.size());
    if (whence == SEEK_CUR) offset += static_cast<std::int64_t>(input._position);
    if (whence == SEEK_END) offset += static_cast<std::int64_t>(input._bytes.size());
    if (offset < 0) return AVERROR(EINVAL);
    input._position = std::min(static_cast<std::size_t>(offset), input._bytes.size());
    return offset;
  }

  ByteView _bytes;
  std::size_t _position = 0;
  AVIOContext* _io = nullptr;
};

struct CloseInput {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct FreeCodec {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FreePacket {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FreeFrame {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using Format = std::unique_ptr<AVFormatContext, CloseInput>;
using Codec = std::unique_ptr<AVCodecContext, FreeCodec>;

Format openFormat(MemoryInput& input) {
  AVFormatContext* context = avformat_alloc_context();
  context->pb = input.io();
  context->error_recognition = AV_EF_EXPLODE;
  AVDictionary* options = nullptr;
  av_dict_set(&options, "max_stts_delta", "4294967295", 0);
  const int result = avformat_open_input(&context, "", nullptr, &options);
  av_dict_free(&options);
  return Format(result < 0 ? nullptr : context);
}

ReadStream describe(const AVStream& stream) {
  const AVCodecParameters& codec = *stream.codecpar;
  ReadStream result;
  result.isVideo = codec.codec_type == AVMEDIA_TYPE_VIDEO;
  result.timescale = stream.time_base.den;
  result.width = codec.width;
  result.height = codec.height;
  result.sampleRate = codec.sample_rate;
  result.channels = codec.ch_layout.nb_channels;
  result.duration = stream.duration;
  if (codec.extradata_size > 0)
    result.extradata.assign(codec.extradata, codec.extradata + codec.extradata_size);
  return result;
}

Codec openCodec(const AVStream& stream) {
  const AVCodec* decoder = avcodec_find_decoder(stream.codecpar->codec_id);
  Codec codec(avcodec_alloc_context3(decoder));
  avcodec_parameters_to_context(codec.get(), stream.codecpar);
  codec->err_recognition = AV_EF_EXPLODE | AV_EF_CRCCHECK | AV_EF_BITSTREAM | AV_EF_BUFFER;
  codec->thread_count = 1;
  avcodec_open2(codec.get(), decoder, nullptr);
  return codec;
}

// With null the frames that are left come out.
void decode(AVCodecContext& codec, const AVPacket* packet, ReadStream& stream,
            std::vector<std::string>& complaints) {
  if (avcodec_send_packet(&codec, packet) < 0) complaints.emplace_back("a packet was refused");
  std::unique_ptr<AVFrame, FreeFrame> frame(av_frame_alloc());
  int result = 0;
  while ((result = avcodec_receive_frame(&codec, frame.get())) >= 0) ++stream.decodedFrames;
  if (result != AVERROR(EAGAIN) && result != AVERROR_EOF)
    complaints.emplace_back("a frame could not be decoded");
}

void readPackets(AVFormatContext& format, Decode mode, ReadMovie& movie) {
  std::vector<Codec> codecs;
  if (mode == Decode::strictly)
    for (unsigned i = 0; i < format.nb_streams; ++i)
      codecs.push_back(openCodec(*format.streams[i]));
  std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
  int result = 0;
  while ((result = av_read_frame(&format, packet.get())) >= 0) {
    const auto n = static_cast<std::size_t>(packet->stream_index);
    ReadStream& stream = movie.streams[n];
    stream.packets.push_back({packet->pts, static_cast<std::size_t>(packet->size),
                              (packet->flags & AV_PKT_FLAG_KEY) != 0,
                              Bytes(packet->data, packet->data + packet->size)});
    if (!codecs.empty()) decode(*codecs[n], packet.get(), stream, movie.complaints);
    av_packet_unref(packet.get());
  }
  if (result != AVERROR_EOF) movie.complaints.emplace_back("reading ended with an error");
  for (std::size_t n = 0; n < codecs.size(); ++n)
    decode(*codecs[n], nullptr, movie.streams[n], movie.complaints);
}

const ReadStream* firstOf(const ReadMovie& movie, bool isVideo) {
  for (const ReadStream& stream : movie.streams)
    if (stream.isVideo == isVideo) return &stream;
  return nullptr;
}

}  // namespace

const ReadStream* ReadMovie::video() const { return firstOf(*this, true); }
const ReadStream* ReadMovie::audio() const { return firstOf(*this, false); }

ReadMovie readMovie(ByteView file, Decode decode) {
  ReadMovie movie;
  ComplaintCollector collector(movie.complaints);
  MemoryInput input(file);
  Format format = openFormat(input);
  if (!format) return movie;
  movie.isOpen = format->nb_streams > 0;
  movie.durationMs = format->duration == AV_NOPTS_VALUE ? 0 : format->duration / 1000;
  for (unsigned i = 0; i < format->nb_streams; ++i)
    movie.streams.push_back(describe(*format->streams[i]));
  readPackets(*format, decode, movie);
  return movie;
}

}  // namespace vx::test
