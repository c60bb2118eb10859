#include "stream_decoder.h"

#include <new>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace vxrecord {

StreamDecoder::StreamDecoder(const AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  const std::string what = parameters.codec_type == AVMEDIA_TYPE_AUDIO ? "sound" : "video";
  const AVCodec* codec = avcodec_find_decoder(parameters.codec_id);
  if (!codec) {
    throw InputError("its " + what + " is coded as " + avcodec_get_name(parameters.codec_id) +
                     ", for which this FFmpeg has no decoder");
  }
  _context.reset(avcodec_alloc_context3(codec));
  if (!_context) {
    throw std::bad_alloc();
  }
  _context->thread_count = 0;  // as many as there are processors
  _context->pkt_timebase = stream.time_base;
  int result = avcodec_parameters_to_context(_context.get(), &parameters);
  if (result >= 0) {
    result = avcodec_open2(_context.get(), codec, nullptr);
  }
  if (result < 0) {
    throw InputError("its " + what + " cannot be decoded: " + libavErrorText(result));
  }
}

StreamDecoder::Result StreamDecoder::receive(AVFrame& frame) {
  while (true) {
    const int result = avcodec_receive_frame(_context.get(), &frame);
    if (result >= 0) {
      return Result::frame;
    }
    if (result == AVERROR(EAGAIN)) {
      return Result::needsPacket;
    }
    if (result == AVERROR_EOF) {
      return Result::end;
    }
    ++_damagedPackets;
    if (result != AVERROR_INVALIDDATA) {
      _lastError = result;
      return Result::broken;
    }
  }
}

void StreamDecoder::send(const AVPacket* packet) {
  // The end of the stream may bring damage of earlier packets to light.
  const int result = avcodec_send_packet(_context.get(), packet);
  if (result == AVERROR_INVALIDDATA || (result < 0 && packet != nullptr)) {
    ++_damagedPackets;
  }
}

}  // namespace vxrecord
