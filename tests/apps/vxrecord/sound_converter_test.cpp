#include "sound_converter.h"

#include <gtest/gtest.h>

#include <cstring>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
}

namespace vxrecord {
namespace {

/// A frame whose samples all have one value.
LibavPointer<AVFrame> flat(int rate, int channels, int length, std::int16_t value) {
  LibavPointer<AVFrame> frame = makeFrame();
  frame->format = AV_SAMPLE_FMT_S16;
  frame->sample_rate = rate;
  frame->nb_samples = length;
  av_channel_layout_default(&frame->ch_layout, channels);
  EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
  auto* samples = reinterpret_cast<std::int16_t*>(frame->data[0]);
  std::fill_n(samples, length * channels, value);
  return frame;
}

TEST(SoundConverter, SoundOfTheRightFormKeepsItsLengthAndTime) {
  SoundConverter converter;
  const SoundBlock block = converter.convert(*flat(44100, 2, 1000, 16384), 500);
  EXPECT_EQ(block.start, 500);
  EXPECT_EQ(block.length(), 1000u);
  EXPECT_FLOAT_EQ(block.channels[0][700], 0.5F);
}

TEST(SoundConverter, MonoIsHeardOnBothSides) {
  SoundConverter converter;
  const SoundBlock block = converter.convert(*flat(44100, 1, 100, 8192), 0);
  EXPECT_FLOAT_EQ(block.channels[0][50], block.channels[1][50]);
  EXPECT_GT(block.channels[0][50], 0.1F);
}

TEST(SoundConverter, OtherRatesGiveBlocksWithoutAGap) {
  SoundConverter converter;
  std::int64_t next = 0;
  for (int i = 0; i < 100; ++i) {
    const SoundBlock block = converter.convert(*flat(48000, 2, 480, 0), i * 441);
    if (i > 0) {
      EXPECT_EQ(block.start, next);
    }
    next = block.end();
  }
  EXPECT_NEAR(static_cast<double>(next), 44100, 441);
}

TEST(SoundConverter, RoundedTimesAreNoJump) {
  SoundConverter converter;
  const std::int64_t end = converter.convert(*flat(44100, 2, 1000, 0), 0).end();
  EXPECT_EQ(converter.convert(*flat(44100, 2, 1000, 0), end + 44).start, end);
  EXPECT_EQ(converter.convert(*flat(44100, 2, 1000, 0), std::nullopt).start, end + 1000);
}

TEST(SoundConverter, JumpIsFollowed) {
  SoundConverter converter;
  converter.convert(*flat(44100, 2, 1000, 0), 0);
  EXPECT_EQ(converter.convert(*flat(44100, 2, 1000, 0), 44100).start, 44100);
  EXPECT_EQ(converter.convert(*flat(44100, 2, 1000, 0), 0).start, 0);
}

TEST(SoundConverter, BehindAJumpWhatTheFilterHeldComesFirst) {
  SoundConverter converter;
  converter.convert(*flat(48000, 2, 4800, 0), 0);
  const std::int64_t start = converter.convert(*flat(48000, 2, 4800, 0), 441000).start;
  EXPECT_LT(start, 441000);
  EXPECT_GT(start, 441000 - 441);
}

TEST(SoundConverter, FormMayChangeOnTheWay) {
  SoundConverter converter;
  const std::int64_t end = converter.convert(*flat(44100, 2, 1000, 0), 0).end();
  const SoundBlock block = converter.convert(*flat(44100, 1, 1000, 8192), end);
  EXPECT_EQ(block.start, end);
  EXPECT_GT(block.channels[1][500], 0.1F);
}

}  // namespace
}  // namespace vxrecord
