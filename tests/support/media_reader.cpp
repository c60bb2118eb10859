#include "support/media_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <memory>
#include <mutex>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libswscale/swscale.h>
}

namespace vx::test {
namespace {

constexpr AVRational kMilliseconds = {1, 1000};
constexpr int kOne = 1 << 16;

struct Deleter {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};
template <typename T>
using Owned = std::unique_ptr<T, Deleter>;

/// Collects FFmpeg's warnings and errors of one reading: damage that a decoder conceals shows only
/// there.
class MessageCatcher {
 public:
  MessageCatcher() : _lock(mutex()) {
    current() = this;
    av_log_set_callback(&MessageCatcher::take);
  }
  ~MessageCatcher() {
    av_log_set_callback(av_log_default_callback);
    current() = nullptr;
  }
  MessageCatcher(const MessageCatcher&) = delete;
  MessageCatcher& operator=(const MessageCatcher&) = delete;

  std::vector<std::string> messages() const {
    std::lock_guard lock(_messagesMutex);
    return _messages;
  }

 private:
  static std::mutex& mutex() {
    static std::mutex shared;
    return shared;
  }
  static MessageCatcher*& current() {
    static MessageCatcher* shared = nullptr;
    return shared;
  }
  static void take(void* context, int level, const char* format, va_list arguments) {
    if (level > AV_LOG_ERROR || current() == nullptr) {
      return;
    }
    char line[512];
    int printPrefix = 1;
    av_log_format_line2(context, level, format, arguments, line, sizeof line, &printPrefix);
    std::lock_guard lock(current()->_messagesMutex);
    current()->_messages.emplace_back(line);
  }

  std::lock_guard<std::mutex> _lock;
  mutable std::mutex _messagesMutex;
  std::vector<std::string> _messages;
};

[[noreturn]] void fail(const std::string& path, const std::string& what, int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  throw ReadError(path + ": " + what + ": " + text);
}

Owned<AVFormatContext> open(const std::string& path) {
  AVFormatContext* context = nullptr;
  AVDictionary* options = nullptr;
  // FFmpeg takes durations above 2^32 - 480000 for negative ones unless told otherwise.
  av_dict_set(&options, "max_stts_delta", "4294967295", 0);
  const std::string url = "file:" + path;
  const int result = avformat_open_input(&context, url.c_str(), nullptr, &options);
  av_dict_free(&options);
  if (result < 0) {
    fail(path, "cannot be opened", result);
  }
  Owned<AVFormatContext> owned(context);
  const int found = avformat_find_stream_info(context, nullptr);
  if (found < 0) {
    fail(path, "has no readable streams", found);
  }
  return owned;
}

std::int64_t milliseconds(std::int64_t ticks, AVRational timeBase) {
  return ticks == AV_NOPTS_VALUE ? 0 : av_rescale_q(ticks, timeBase, kMilliseconds);
}

void readMatrix(const AVStream& stream, Track& track) {
  const std::uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
  if (data == nullptr) {
    return;
  }
  const auto* fields = reinterpret_cast<const std::int32_t*>(data);
  std::copy(fields, fields + 9, track.displayMatrix.emplace().begin());
  track.rotationDegrees = -av_display_rotation_get(fields);
}

Track describe(const AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  Track track;
  track.kind = parameters.codec_type == AVMEDIA_TYPE_VIDEO   ? TrackKind::video
               : parameters.codec_type == AVMEDIA_TYPE_AUDIO ? TrackKind::audio
                                                             : TrackKind::other;
  track.codec = avcodec_get_name(parameters.codec_id);
  track.width = parameters.width;
  track.height = parameters.height;
  track.sampleRate = parameters.sample_rate;
  track.channels = parameters.ch_layout.nb_channels;
  track.ticksPerSecond = stream.time_base.den / stream.time_base.num;
  track.durationMs = milliseconds(stream.duration, stream.time_base);
  track.startMs = milliseconds(stream.start_time, stream.time_base);
  track.colorMatrix = parameters.color_space;
  track.colorRange = parameters.color_range;
  track.colorPrimaries = parameters.color_primaries;
  track.colorTransfer = parameters.color_trc;
  readMatrix(stream, track);
  return track;
}

Packet describe(const AVPacket& packet, AVRational timeBase) {
  Packet result;
  result.track = static_cast<std::size_t>(packet.stream_index);
  result.ptsMs = milliseconds(packet.pts, timeBase);
  result.dtsMs = milliseconds(packet.dts, timeBase);
  result.durationMs = milliseconds(packet.duration, timeBase);
  result.isKey = (packet.flags & AV_PKT_FLAG_KEY) != 0;
  result.sizeBytes = static_cast<std::size_t>(packet.size);
  return result;
}

/// Decodes with every check switched on and one thread, so that each message belongs to its frame.
class StrictDecoder {
 public:
  StrictDecoder(const std::string& path, const AVStream& stream) {
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    _context.reset(avcodec_alloc_context3(codec));
    avcodec_parameters_to_context(_context.get(), stream.codecpar);
    _context->thread_count = 1;
    _context->pkt_timebase = stream.time_base;
    _context->err_recognition = AV_EF_CRCCHECK | AV_EF_BITSTREAM | AV_EF_BUFFER | AV_EF_EXPLODE;
    const int result = avcodec_open2(_context.get(), codec, nullptr);
    if (result < 0) {
      fail(path, "has no decoder", result);
    }
  }

  /// Null ends the stream.
  template <typename Take>
  void feed(const AVPacket* packet, Decoding& decoding, Take take) {
    if (avcodec_send_packet(_context.get(), packet) < 0) {
      ++decoding.errors;
    }
    while (true) {
      const int result = avcodec_receive_frame(_context.get(), _frame.get());
      if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) {
        return;
      }
      if (result < 0) {
        ++decoding.errors;
        return;
      }
      ++decoding.frames;
      decoding.namedFrameRate = av_q2d(_context->framerate);
      decoding.errors += _frame->decode_error_flags != 0 ? 1 : 0;
      take(*_frame);
    }
  }

 private:
  Owned<AVCodecContext> _context;
  Owned<AVFrame> _frame{av_frame_alloc()};
};

/// Keeps one scaler for pictures of one kind.
class Converter {
 public:
  Picture convert(const AVFrame& frame, AVRational timeBase) {
    Picture picture;
    picture.timeMs = milliseconds(frame.pts, timeBase);
    picture.width = frame.width;
    picture.height = frame.height;
    picture.pixels.resize(picture.bytesPerRow() * static_cast<std::size_t>(frame.height));
    constexpr int kFlags = SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;
    _scaler.reset(sws_getCachedContext(
        _scaler.release(), frame.width, frame.height, static_cast<AVPixelFormat>(frame.format),
        frame.width, frame.height, AV_PIX_FMT_BGRA, kFlags, nullptr, nullptr, nullptr));
    const int matrix = frame.colorspace == AVCOL_SPC_BT709 ? SWS_CS_ITU709 : SWS_CS_ITU601;
    const int isFullRange = frame.color_range == AVCOL_RANGE_JPEG ? 1 : 0;
    sws_setColorspaceDetails(_scaler.get(), sws_getCoefficients(matrix), isFullRange,
                             sws_getCoefficients(matrix), 1, 0, kOne, kOne);
    // swscale may write beyond a row whose end is not aligned.
    const int alignedBytes = (frame.width * 4 + 63) & ~63;
    _rows.resize(static_cast<std::size_t>(alignedBytes) * static_cast<std::size_t>(frame.height) +
                 64);
    std::uint8_t* const planes[4] = {_rows.data(), nullptr, nullptr, nullptr};
    const int pitches[4] = {alignedBytes, 0, 0, 0};
    sws_scale(_scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, pitches);
    for (int y = 0; y < frame.height; ++y) {
      std::copy_n(_rows.data() + static_cast<std::ptrdiff_t>(y) * alignedBytes,
                  picture.bytesPerRow(),
                  picture.pixels.data() + static_cast<std::size_t>(y) * picture.bytesPerRow());
    }
    return picture;
  }

 private:
  Owned<SwsContext> _scaler;
  std::vector<std::uint8_t> _rows;
};

}  // namespace

const Track& MediaFile::video() const {
  for (const Track& track : tracks) {
    if (track.kind == TrackKind::video) {
      return track;
    }
  }
  throw ReadError("the file has no video track");
}

std::vector<Packet> MediaFile::packetsOf(TrackKind kind) const {
  std::vector<Packet> result;
  std::copy_if(packets.begin(), packets.end(), std::back_inserter(result),
               [&](const Packet& packet) { return tracks[packet.track].kind == kind; });
  return result;
}

std::vector<std::int64_t> MediaFile::videoTimesMs() const {
  std::vector<std::int64_t> times;
  for (const Packet& packet : packetsOf(TrackKind::video)) {
    times.push_back(packet.ptsMs);
  }
  return times;
}

MediaFile readFile(const std::string& path) {
  MessageCatcher catcher;
  const Owned<AVFormatContext> context = open(path);
  MediaFile file;
  file.durationMs = milliseconds(context->duration, {1, AV_TIME_BASE});
  for (unsigned i = 0; i < context->nb_streams; ++i) {
    file.tracks.push_back(describe(*context->streams[i]));
  }
  const Owned<AVPacket> packet(av_packet_alloc());
  int result = 0;
  while ((result = av_read_frame(context.get(), packet.get())) >= 0) {
    file.packets.push_back(describe(*packet, context->streams[packet->stream_index]->time_base));
    av_packet_unref(packet.get());
  }
  if (result != AVERROR_EOF) {
    fail(path, "cannot be read to its end", result);
  }
  return file;
}

int distance(const Rgb& a, const Rgb& b) {
  return std::max(
      {std::abs(a.red - b.red), std::abs(a.green - b.green), std::abs(a.blue - b.blue)});
}

Rgb Picture::at(int x, int y) const {
  const std::size_t offset =
      static_cast<std::size_t>(y) * bytesPerRow() + static_cast<std::size_t>(x) * 4;
  return {pixels.at(offset + 2), pixels.at(offset + 1), pixels.at(offset)};
}

Rgb Picture::meanAround(int x, int y, int radius) const {
  Rgb sum;
  int count = 0;
  for (int j = std::max(y - radius, 0); j <= std::min(y + radius, height - 1); ++j) {
    for (int i = std::max(x - radius, 0); i <= std::min(x + radius, width - 1); ++i) {
      const Rgb color = at(i, j);
      sum = {sum.red + color.red, sum.green + color.green, sum.blue + color.blue};
      ++count;
    }
  }
  const auto mean = [count](int total) { return (total + count / 2) / count; };
  return {mean(sum.red), mean(sum.green), mean(sum.blue)};
}

Decoding decodeStrictly(const std::string& path, const std::function<void(const Picture&)>& take) {
  MessageCatcher catcher;
  const Owned<AVFormatContext> context = open(path);
  const int index = av_find_best_stream(context.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (index < 0) {
    fail(path, "has no video", index);
  }
  const AVStream& stream = *context->streams[index];
  StrictDecoder decoder(path, stream);
  Converter converter;
  Decoding decoding;
  const auto takeFrame = [&](const AVFrame& frame) {
    if (take) {
      take(converter.convert(frame, stream.time_base));
    }
  };
  const Owned<AVPacket> packet(av_packet_alloc());
  while (av_read_frame(context.get(), packet.get()) >= 0) {
    if (packet->stream_index == index) {
      decoder.feed(packet.get(), decoding, takeFrame);
    }
    av_packet_unref(packet.get());
  }
  decoder.feed(nullptr, decoding, takeFrame);
  decoding.messages = catcher.messages();
  decoding.errors += static_cast<std::int64_t>(decoding.messages.size());
  return decoding;
}

std::vector<Picture> decodePictures(const std::string& path) {
  std::vector<Picture> pictures;
  const Decoding decoding =
      decodeStrictly(path, [&](const Picture& picture) { pictures.push_back(picture); });
  if (decoding.errors != 0) {
    throw ReadError(path + " is damaged" +
                    (decoding.messages.empty() ? "" : ": " + decoding.messages.front()));
  }
  return pictures;
}

}  // namespace vx::test
