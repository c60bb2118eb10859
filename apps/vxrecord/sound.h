// Sound between an input and its coding: stereo, 44100 Hz, as floating-point numbers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vxrecord {

inline constexpr int kSoundRate = 44100;
inline constexpr std::size_t kSoundChannels = 2;

struct SoundBlock {
  std::int64_t start = 0;  ///< in samples since the first picture
  std::array<std::vector<float>, kSoundChannels> channels;

  std::size_t length() const { return channels[0].size(); }
  std::int64_t end() const { return start + static_cast<std::int64_t>(length()); }
  /// The part between two moments; empty when there is none.
  SoundBlock part(std::int64_t from, std::int64_t until) const;
};

/// Exact for times that a recording has.
constexpr std::int64_t soundSamplesAt(std::int64_t timeMs) { return timeMs * kSoundRate / 1000; }

}  // namespace vxrecord
