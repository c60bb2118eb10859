#include "platform/avfoundation/encoder/speed_policy.h"

#include <algorithm>
#include <utility>

namespace vx {
namespace {

// Shares of the time between two pictures. The gap between them keeps the level from swinging.
constexpr double kTooMuch = 0.8;
constexpr double kAmple = 0.5;
// Shares of the queue.
constexpr double kGrowing = 0.25;
constexpr double kFilling = 0.5;
constexpr double kNearlyEmpty = 0.17;    // one picture waits behind the one being coded, or two
constexpr double kCalmBeforeRising = 2;  // seconds
// Of the newest picture in the means: key frames, which take longer, come one in thirty.
constexpr double kWeight = 0.15;
constexpr double kWeightOfHaste = 0.3;  // of pictures that come faster than before
constexpr double kLongestShown = 0.1;   // seconds; slower than this no host is in a hurry

double smoothed(double mean, double value, double weight = kWeight) {
  return mean == 0 ? value : mean + weight * (value - mean);
}

}  // namespace

SpeedPolicy::SpeedPolicy(std::vector<double> relativeCosts, int firstLevel)
    : _relativeCosts(std::move(relativeCosts)) {
  setFirstLevel(firstLevel);
  _level = _firstLevel;
}

void SpeedPolicy::setFirstLevel(int level) {
  _firstLevel = std::clamp(level, 0, static_cast<int>(_relativeCosts.size()) - 1);
}

double SpeedPolicy::loadAt(int level) const {
  return _shownSeconds > 0
             ? _unitSeconds * _relativeCosts[static_cast<std::size_t>(level)] / _shownSeconds
             : 1;
}

int SpeedPolicy::highestLevelWithin(double load) const {
  int level = _level;
  while (level > 0 && loadAt(level) > load) {
    --level;
  }
  return level;
}

void SpeedPolicy::lowerTo(int level) {
  if (level < _level) {
    _level = level;
    _calmSeconds = 0;
  }
}

void SpeedPolicy::pictureWasCoded(const CodingLoad& load) {
  if (load.hostWaits) {
    _level = _firstLevel;
    _calmSeconds = 0;
    return;
  }
  const double cost = _relativeCosts[static_cast<std::size_t>(_level)];
  const double shown = std::clamp(load.shownSeconds, 0.0, kLongestShown);
  _unitSeconds = smoothed(_unitSeconds, load.codingSeconds / cost);
  _shownSeconds = smoothed(_shownSeconds, shown, shown < _shownSeconds ? kWeightOfHaste : kWeight);
  _calmSeconds += shown;
  if (load.queueFill >= kFilling) {
    lowerTo(0);
  } else if (load.queueFill >= kGrowing) {
    lowerTo(std::max(_level - 1, 0));
  }
  lowerTo(highestLevelWithin(kTooMuch));
  const int finer = _level + 1;
  if (finer == static_cast<int>(_relativeCosts.size())) {
    return;
  }
  if (load.queueFill > kNearlyEmpty || loadAt(finer) > kAmple) {
    _calmSeconds = 0;
  } else if (_calmSeconds >= kCalmBeforeRising) {
    _level = finer;
    _calmSeconds = 0;
  }
}

}  // namespace vx
