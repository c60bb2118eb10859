// One stream of an input, decoded.
#pragma once

#include <cstdint>

#include "input.h"
#include "libav.h"

struct AVStream;

namespace vxrecord {

class StreamDecoder {
 public:
  /// Errors: throws InputError when there is no decoder.
  explicit StreamDecoder(const AVStream& stream);

  enum class Result : std::uint8_t { frame, needsPacket, end, broken };
  /// The next frame of the packets sent so far.
  Result receive(AVFrame& frame);
  /// Null for the end of the stream. A damaged packet is left out and counted.
  void send(const AVPacket* packet);

  std::int64_t damagedPackets() const { return _damagedPackets; }
  int lastError() const { return _lastError; }

 private:
  LibavPointer<AVCodecContext> _context;
  std::int64_t _damagedPackets = 0;
  int _lastError = 0;
};

}  // namespace vxrecord
