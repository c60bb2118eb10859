// Sound as AAC.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "libav.h"
#include "sound.h"

namespace vxrecord {

/// One access unit.
struct SoundUnit {
  std::vector<std::uint8_t> bytes;
  std::int64_t time = 0;  ///< in samples of the file; the coder's delay makes the first one early
};

/// Codes one unbroken stretch of sound: gaps become silence, and what overlaps the sound so far is
/// left out.
class SoundCoder {
 public:
  /// Errors: throws std::runtime_error when there is no coder.
  SoundCoder();

  /// `block` in the file's time. What lies before time 0 is left out.
  void add(const SoundBlock& block);
  /// The rest. Nothing can be added any more.
  void finish();

  std::deque<SoundUnit>& units() { return _units; }
  const std::vector<std::uint8_t>& config() const { return _config; }
  /// Samples that the coder puts before the first one.
  int delay() const { return _delay; }

 private:
  void push(const float* left, const float* right, std::size_t count);
  void pushSilence(std::int64_t count);
  void code();
  void receive();

  LibavPointer<AVCodecContext> _context;
  LibavPointer<AVFrame> _frame;
  LibavPointer<AVPacket> _packet;
  std::vector<std::uint8_t> _config;
  int _delay = 0;
  int _filled = 0;                    // samples in _frame
  std::optional<std::int64_t> _next;  // where the sound so far ends
  bool _isFinished = false;
  std::deque<SoundUnit> _units;
};

}  // namespace vxrecord
