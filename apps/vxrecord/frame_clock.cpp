#include "frame_clock.h"

#include <algorithm>

namespace vxrecord {
namespace {
constexpr std::int64_t kMillisecondsPerSecond = 1000;
}

std::int64_t toMilliseconds(std::int64_t ticks, TimeBase timeBase) {
  __extension__ using Wide = __int128;  // ticks of a nanosecond clock exceed 64 bits on the way
  const Wide scaled = Wide{ticks} * timeBase.numerator * kMillisecondsPerSecond;
  const Wide half = timeBase.denominator / 2;
  return static_cast<std::int64_t>((scaled < 0 ? scaled - half : scaled + half) /
                                   timeBase.denominator);
}

FrameClock::FrameClock(TimeBase timeBase, std::int64_t usualTicks)
    : _timeBase(timeBase), _usualTicks(std::max<std::int64_t>(usualTicks, 1)) {}

std::int64_t FrameClock::millisecondsAt(std::optional<std::int64_t> ticks) {
  if (!_lastTicks) {
    _lastTicks = ticks.value_or(0);
    return 0;
  }
  const std::int64_t now = ticks.value_or(*_lastTicks + _usualTicks);
  const std::int64_t interval = now - *_lastTicks;
  _lastElapsed += interval < 0 ? _usualTicks : interval;
  _lastTicks = now;
  return toMilliseconds(_lastElapsed, _timeBase);
}

}  // namespace vxrecord
