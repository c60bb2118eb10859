// Where samples stand on their track's timeline: the rules, without state.
#pragma once

#include <cstdint>
#include <optional>

namespace vx::mp4 {

/// A duration from here on comes from a clock that stepped back in 32 bits, not from a still
/// screen.
inline constexpr std::int64_t kWrappedDuration = std::int64_t{1} << 31;

/// The time of a video sample: never before time 0 or before its predecessor, and never so far
/// behind it that the 32 bits of a stored duration could not tell.
std::int64_t placeVideoSample(std::optional<std::int64_t> previousTime, std::int64_t nominalTime);

/// The last audio sample so far.
struct PlacedAudio {
  std::int64_t time = 0;
  std::uint32_t duration = 0;
};

/// The time of an audio sample: its own, but not before the end of the audio so far. The first may
/// lie before time 0; what is earlier is stored and not heard.
std::int64_t placeAudioSample(std::optional<PlacedAudio> previous, std::int64_t nominalTime);

/// The duration to store while no later sample tells the real one.
std::uint32_t provisionalDuration(std::uint32_t ownDuration);

/// The last video sample of the file.
struct LastVideoSample {
  std::int64_t time = 0;  // where it stands
  std::int64_t nominalTime = 0;
  std::uint32_t ownDuration = 0;
};

/// The duration to store for it: up to the session's end when that lies after the sample, so that
/// the file ends exactly there; else its own.
std::uint32_t lastVideoDuration(const LastVideoSample& last,
                                std::optional<std::int64_t> sessionEnd);

/// `time` of one timescale in another, rounded to nearest, or up, without overflow on the way.
std::int64_t rescale(std::int64_t time, std::uint32_t from, std::uint32_t to);
std::int64_t rescaleUp(std::int64_t time, std::uint32_t from, std::uint32_t to);

}  // namespace vx::mp4
