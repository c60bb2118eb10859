// Sound for tests: coded and decoded by FFmpeg's libraries, and read out of files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/media_reader.h"

namespace vx::test {

using SoundBytes = std::vector<std::uint8_t>;

/// Access units of AAC, as an encoder makes them.
struct CodedSound {
  int sampleRate = 44100;
  int channels = 2;
  SoundBytes config;  ///< AudioSpecificConfig
  std::vector<SoundBytes> units;
  int delay = 0;  ///< samples that the encoder puts before the first one
};

inline constexpr int kUnitSamples = 1024;

/// The same `samples` in every channel, at 128 kbit/s.
CodedSound encodeAac(const std::vector<float>& samples, int sampleRate = 44100, int channels = 2);
/// All samples of the units, the channels interleaved, nothing left out.
std::vector<float> decodeAac(const CodedSound& sound);

/// A tone of 1 kHz with half the amplitude.
std::vector<float> tone(std::size_t samples, int sampleRate = 44100);

/// The sound track of a file.
struct SoundTrack {
  int sampleRate = 0;
  int channels = 0;
  SoundBytes config;
  std::vector<SoundBytes> units;
  std::vector<std::int64_t> unitTimes;  ///< in samples, trimmed units included
  /// What a player hears, interleaved, with the position of each decoded piece.
  struct Piece {
    std::int64_t time = 0;  ///< in samples
    std::vector<float> samples;
  };
  std::vector<Piece> pieces;

  std::vector<float> samples() const;
  /// Position in milliseconds of the first sample at or above `level` from `fromMs` on; negative
  /// when there is none.
  double onsetMs(float level, double fromMs) const;
};

/// Which part of a track is decoded.
struct SoundRange {
  double fromMs = 0;
  double untilMs = 1e18;
};

/// Without a sound track: no units.
/// Errors: throws ReadError.
SoundTrack readSound(const std::string& path, SoundRange decoded = {});

/// The pieces that GStreamer plays, where it plays them: first channel only, without units.
/// Errors: throws ReadError.
SoundTrack playSoundWithGStreamer(const std::string& path, int sampleRate = 44100);

}  // namespace vx::test
