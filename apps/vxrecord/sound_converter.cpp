#include "sound_converter.h"

#include <cstdlib>
#include <stdexcept>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
}

namespace vxrecord {
namespace {

// Times of sound are rounded in many containers; only more than this is a jump.
constexpr std::int64_t kJump = kSoundRate / 20;

}  // namespace

void SoundConverter::open(const AVFrame& frame) {
  if (_context && frame.sample_rate == _sourceRate && frame.format == _sourceFormat &&
      frame.ch_layout.nb_channels == _sourceChannels) {
    return;
  }
  AVChannelLayout source = frame.ch_layout;
  if (source.order == AV_CHANNEL_ORDER_UNSPEC) {
    av_channel_layout_default(&source, frame.ch_layout.nb_channels);
  }
  AVChannelLayout stereo;
  av_channel_layout_default(&stereo, kSoundChannels);
  SwrContext* context = nullptr;
  int result =
      swr_alloc_set_opts2(&context, &stereo, AV_SAMPLE_FMT_FLTP, kSoundRate, &source,
                          static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
  _context.reset(context);
  if (result >= 0) {
    result = swr_init(context);
  }
  if (result < 0) {
    throw std::runtime_error("the sound cannot be converted: " + libavErrorText(result));
  }
  _sourceRate = frame.sample_rate;
  _sourceFormat = frame.format;
  _sourceChannels = frame.ch_layout.nb_channels;
}

SoundBlock SoundConverter::convert(const AVFrame& frame, std::optional<std::int64_t> time) {
  open(frame);
  // What the filter still holds comes before this frame's samples.
  const std::int64_t held = swr_get_delay(_context.get(), kSoundRate);
  const int most = swr_get_out_samples(_context.get(), frame.nb_samples);
  SoundBlock block;
  for (auto& channel : block.channels) {
    channel.resize(static_cast<std::size_t>(most));
  }
  std::uint8_t* planes[kSoundChannels] = {
      reinterpret_cast<std::uint8_t*>(block.channels[0].data()),
      reinterpret_cast<std::uint8_t*>(block.channels[1].data())};
  const int made =
      swr_convert(_context.get(), planes, most,
                  const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples);
  if (made < 0) {
    throw std::runtime_error("the sound cannot be converted: " + libavErrorText(made));
  }
  for (auto& channel : block.channels) {
    channel.resize(static_cast<std::size_t>(made));
  }
  const bool isFollowing = _next && (!time || std::abs(*time - held - *_next) <= kJump);
  block.start = isFollowing ? *_next : time.value_or(0) - held;
  _next = block.end();
  return block;
}

}  // namespace vxrecord
