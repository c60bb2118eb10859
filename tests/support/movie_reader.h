// A file as libavformat and libavcodec see it.
#pragma once

#include "support/box_reader.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vx::test {

struct ReadPacket {
  std::int64_t time = 0;  // presentation time in the stream's time base
  std::size_t sizeBytes = 0;
  bool isKeyFrame = false;
  Bytes bytes;
};

struct ReadStream {
  bool isVideo = false;
  int timescale = 0;
  int width = 0, height = 0;
  int sampleRate = 0, channels = 0;
  std::int64_t duration = 0;  // in the stream's time base
  Bytes extradata;
  std::vector<ReadPacket> packets;
  std::size_t decodedFrames = 0;
};

struct ReadMovie {
  bool isOpen = false;  // a reader can make something of it
  std::int64_t durationMs = 0;
  std::vector<ReadStream> streams;
  std::vector<std::string> complaints;  // all that would stand on standard error at level "error"

  const ReadStream* video() const;
  const ReadStream* audio() const;
};

enum class Decode { no, strictly };

/// Reads every packet. Errors while reading are among the complaints.
ReadMovie readMovie(ByteView file, Decode decode = Decode::no);

}  // namespace vx::test
