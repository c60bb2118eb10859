// How much care an encoder may take, so that it keeps up with a live host.
#pragma once

#include <cstdint>
#include <vector>

namespace vx {

/// What is known when a picture has been coded.
struct CodingLoad {
  double codingSeconds = 0;  // what converting and coding it took
  double shownSeconds = 0;   // until the picture after it
  /// 0 to 1: how much of the queue of pictures was taken when this one was drawn from it.
  double queueFill = 0;
  /// The host waits for room instead of dropping pictures: its queue is always full.
  bool hostWaits = false;
};

/// Chooses an encoder's level, 0 the fastest. It goes down at once, when pictures pile up or when
/// they take nearly as long as they are apart, and up a step at a time when the finer level would
/// have left ample room for a while. Measures nothing itself.
class SpeedPolicy {
 public:
  /// `relativeCosts`: what each level costs, ascending, in any unit.
  SpeedPolicy(std::vector<double> relativeCosts, int firstLevel);

  int level() const { return _level; }
  /// Where the recording of a host that waits is kept from now on.
  void setFirstLevel(int level);
  void pictureWasCoded(const CodingLoad& load);

 private:
  double loadAt(int level) const;
  int highestLevelWithin(double load) const;
  void lowerTo(int level);

  const std::vector<double> _relativeCosts;
  int _firstLevel = 0;
  int _level = 0;
  double _unitSeconds = 0;   // smoothed: a picture's coding at cost 1
  double _shownSeconds = 0;  // smoothed
  double _calmSeconds = 0;   // since the level last went down, or a finer one did not fit
};

}  // namespace vx
