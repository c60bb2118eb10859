#include "sound_coder.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <new>
#include <stdexcept>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
}

namespace vxrecord {
namespace {

constexpr std::int64_t kBitRate = 160000;
constexpr std::size_t kSilence = 1024;

void require(int result) {
  if (result < 0) {
    throw std::runtime_error("the sound cannot be coded: " + libavErrorText(result));
  }
}

}  // namespace

SoundCoder::SoundCoder() : _frame(makeFrame()), _packet(makePacket()) {
  const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
  if (!codec) {
    throw std::runtime_error("this FFmpeg has no AAC coder; record without --audio");
  }
  _context.reset(avcodec_alloc_context3(codec));
  if (!_context) {
    throw std::bad_alloc();
  }
  _context->sample_rate = kSoundRate;
  _context->sample_fmt = AV_SAMPLE_FMT_FLTP;
  _context->bit_rate = kBitRate;
  _context->time_base = {1, kSoundRate};
  _context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  av_channel_layout_default(&_context->ch_layout, kSoundChannels);
  require(avcodec_open2(_context.get(), codec, nullptr));
  _config.assign(_context->extradata, _context->extradata + _context->extradata_size);
  _delay = _context->initial_padding;
  _frame->format = _context->sample_fmt;
  _frame->sample_rate = kSoundRate;
  _frame->nb_samples = _context->frame_size;
  require(av_channel_layout_copy(&_frame->ch_layout, &_context->ch_layout));
  require(av_frame_get_buffer(_frame.get(), 0));
}

void SoundCoder::add(const SoundBlock& block) {
  const std::int64_t from = std::max(_next.value_or(0), block.start);
  const SoundBlock fresh = block.part(from, std::numeric_limits<std::int64_t>::max());
  if (fresh.length() == 0) {
    return;
  }
  if (_next) {
    pushSilence(fresh.start - *_next);
  } else {
    _next = fresh.start;
  }
  push(fresh.channels[0].data(), fresh.channels[1].data(), fresh.length());
}

void SoundCoder::pushSilence(std::int64_t count) {
  static const std::vector<float> silence(kSilence, 0.0F);
  for (; count > 0; count -= static_cast<std::int64_t>(kSilence)) {
    push(silence.data(), silence.data(), std::min(static_cast<std::size_t>(count), kSilence));
  }
}

void SoundCoder::push(const float* left, const float* right, std::size_t count) {
  while (count > 0) {
    if (_filled == 0) {
      require(av_frame_make_writable(_frame.get()));
      _frame->pts = *_next;
    }
    const std::size_t taken =
        std::min(count, static_cast<std::size_t>(_context->frame_size - _filled));
    std::copy_n(left, taken, reinterpret_cast<float*>(_frame->extended_data[0]) + _filled);
    std::copy_n(right, taken, reinterpret_cast<float*>(_frame->extended_data[1]) + _filled);
    left += taken;
    right += taken;
    count -= taken;
    _filled += static_cast<int>(taken);
    *_next += static_cast<std::int64_t>(taken);
    if (_filled == _context->frame_size) {
      code();
    }
  }
}

void SoundCoder::code() {
  _filled = 0;
  require(avcodec_send_frame(_context.get(), _frame.get()));
  receive();
}

void SoundCoder::finish() {
  if (_isFinished || !_next) {
    return;
  }
  if (_filled > 0) {
    pushSilence(_context->frame_size - _filled);
  }
  _isFinished = true;
  require(avcodec_send_frame(_context.get(), nullptr));
  receive();
}

void SoundCoder::receive() {
  int result = avcodec_receive_packet(_context.get(), _packet.get());
  for (; result >= 0; result = avcodec_receive_packet(_context.get(), _packet.get())) {
    _units.push_back({{_packet->data, _packet->data + _packet->size}, _packet->pts});
    av_packet_unref(_packet.get());
  }
  if (result != AVERROR(EAGAIN) && result != AVERROR_EOF) {
    require(result);
  }
}

}  // namespace vxrecord
