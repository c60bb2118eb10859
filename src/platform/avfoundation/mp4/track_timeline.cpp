#include "platform/avfoundation/mp4/track_timeline.h"

#include <algorithm>
#include <limits>

namespace vx::mp4 {

namespace {

constexpr std::int64_t kMaxStoredDuration = std::numeric_limits<std::uint32_t>::max();

std::uint32_t storable(std::int64_t duration) {
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(duration, 0, kMaxStoredDuration));
}

// Times are not negative here.
std::int64_t rescaleRounding(std::int64_t time, std::uint32_t from, std::uint32_t to,
                             std::uint64_t rounding) {
  const auto whole = static_cast<std::uint64_t>(time) / from;
  const auto rest = static_cast<std::uint64_t>(time) % from;
  return static_cast<std::int64_t>(whole * to + (rest * to + rounding) / from);
}

}  // namespace

std::int64_t placeVideoSample(std::optional<std::int64_t> previousTime, std::int64_t nominalTime) {
  if (!previousTime) return std::max<std::int64_t>(nominalTime, 0);
  return std::clamp(nominalTime, *previousTime, *previousTime + kMaxStoredDuration);
}

std::int64_t placeAudioSample(std::optional<PlacedAudio> previous, std::int64_t nominalTime) {
  if (!previous) return nominalTime;
  return std::clamp(nominalTime, previous->time + previous->duration,
                    previous->time + kMaxStoredDuration);
}

std::uint32_t provisionalDuration(std::uint32_t ownDuration) {
  return ownDuration >= kWrappedDuration ? 0 : ownDuration;
}

std::uint32_t lastVideoDuration(const LastVideoSample& last,
                                std::optional<std::int64_t> sessionEnd) {
  if (sessionEnd && *sessionEnd > last.time) return storable(*sessionEnd - last.time);
  // A clock that stepped back put the sample beyond the session's end: it keeps its real length.
  if (sessionEnd && *sessionEnd > last.nominalTime) return storable(*sessionEnd - last.nominalTime);
  return provisionalDuration(last.ownDuration);
}

std::int64_t rescale(std::int64_t time, std::uint32_t from, std::uint32_t to) {
  return rescaleRounding(time, from, to, from / 2);
}

std::int64_t rescaleUp(std::int64_t time, std::uint32_t from, std::uint32_t to) {
  return rescaleRounding(time, from, to, from - 1);
}

}  // namespace vx::mp4
