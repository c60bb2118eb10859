// From the ticks of an input to the milliseconds of a recording.
#pragma once

#include <cstdint>
#include <optional>

namespace vxrecord {

/// One tick of an input lasts `numerator / denominator` seconds.
struct TimeBase {
  std::int64_t numerator = 1;
  std::int64_t denominator = 1000;
};

/// Times of frames since the first one, each rounded on its own to the nearest millisecond, so
/// that errors never add up.
///
/// Inputs that were cut together can jump back. Such a frame follows its predecessor after the
/// usual interval, and the frames behind it keep their distances from it. A jump forward is taken
/// as it is: a picture may well stand still for an hour.
class FrameClock {
 public:
  /// `usualTicks` is the interval that is assumed where the input does not tell one.
  FrameClock(TimeBase timeBase, std::int64_t usualTicks);

  /// The time of the next frame; without `ticks` it follows its predecessor after the usual
  /// interval.
  std::int64_t millisecondsAt(std::optional<std::int64_t> ticks);

 private:
  TimeBase _timeBase;
  std::int64_t _usualTicks;
  std::optional<std::int64_t> _lastTicks;  // of the previous frame, as the input told it
  std::int64_t _lastElapsed = 0;           // ticks between the first frame and the previous one
};

/// `ticks` in milliseconds, rounded to the nearest one, halves away from zero.
std::int64_t toMilliseconds(std::int64_t ticks, TimeBase timeBase);

}  // namespace vxrecord
