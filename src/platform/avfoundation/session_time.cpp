#include "platform/avfoundation/session_time.h"

namespace vx {
namespace {

// Sums of times that are nearer than this cannot overflow.
constexpr std::int64_t kFarthestSeconds = std::int64_t{1} << 31;

}  // namespace

std::optional<std::int64_t> ticksOf(CMTime time, CMTimeScale scale) {
  const CMTime converted = CMTimeConvertScale(time, scale);
  const std::int64_t farthest = kFarthestSeconds * scale;
  // One without a timescale of its own is marked as a number all the same, and is not converted.
  const bool isNumber = CMTIME_IS_NUMERIC(converted) && converted.timescale == scale;
  const bool isNear = converted.value >= -farthest && converted.value <= farthest;
  return isNumber && isNear ? std::optional(converted.value) : std::nullopt;
}

std::optional<std::int64_t> ticksSince(CMTime sessionStart, CMTime time, CMTimeScale scale) {
  const std::optional<std::int64_t> start = ticksOf(sessionStart, scale);
  const std::optional<std::int64_t> ticks = ticksOf(time, scale);
  return start && ticks ? std::optional(*ticks - *start) : std::nullopt;
}

}  // namespace vx
