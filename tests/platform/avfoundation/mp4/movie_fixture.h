// What the tests of this folder share: tracks to describe and samples to append.
#pragma once

#include "platform/avfoundation/mp4/recording_file.h"
#include "support/box_reader.h"
#include "support/h264_source.h"
#include "support/movie_reader.h"
#include "support/temporary_folder.h"

namespace vx::mp4::test {

using vx::test::BoxNode;
using vx::test::Bytes;
using vx::test::H264Source;
using vx::test::ReadMovie;

/// AAC LC, 48 kHz, stereo.
inline AudioTrackDescription audioTrack() {
  AudioTrackDescription audio;
  audio.sampleRate = 48000;
  audio.channels = 2;
  audio.audioSpecificConfig = {0x11, 0x90};
  return audio;
}

/// An AAC access unit of silence in stereo.
inline const Bytes kSilentAac = {0x21, 0x10, 0x04, 0x60, 0x8C, 0x1C};

inline VideoTrackDescription videoTrack(const H264Source& source, std::uint32_t width,
                                        std::uint32_t height) {
  VideoTrackDescription video;
  video.width = width;
  video.height = height;
  video.parameterSets = {source.sps, source.pps};
  return video;
}

inline CodedSample picture(const H264Source& source, std::size_t number, std::int64_t time,
                           std::uint32_t duration = 1) {
  const H264Source::Picture& coded = source.pictures[number % source.pictures.size()];
  return {coded.bytes, time, duration, coded.isKeyFrame};
}

inline CodedSample sound(std::int64_t time, std::uint32_t duration = 1024) {
  return {kSilentAac, time, duration, true};
}

/// 64 x 48 pictures, coded once for all tests of a program.
inline const H264Source& smallSource() {
  static const H264Source source = vx::test::makeH264(64, 48, 60, 10);
  return source;
}

}  // namespace vx::mp4::test
