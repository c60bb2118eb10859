// Holds the average bit rate of pictures that come at any times.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vx {

/// Chooses how coarsely the next picture is coded, from what the pictures before it took and from
/// how long they were shown. An encoder's own control of the average needs to know when the next
/// picture comes, and would hold each one back for it; this one learns a picture's time afterwards.
///
/// The result is a constant rate factor as x264 defines it: 6 more halve the bits, about.
class BitRateControl {
 public:
  /// A picture has `macroblocks` blocks of 16 x 16 pixels.
  BitRateControl(int bitsPerSecond, int macroblocks);

  /// Before the first picture, how much there is in it to be described (`detailOf`): one with much
  /// that is coded too finely takes the bits of the seconds behind it.
  void expectFirst(double detail);
  /// For the next picture.
  double rateFactor() const;
  /// The picture coded with `rateFactor` has this many bits and is shown for this long. A still
  /// picture saves up at most a second of bits for those after it.
  void pictureWasCoded(std::size_t bits, std::int64_t durationMs, bool isKeyFrame);

 private:
  /// Bits, and the same times the quantizer's scale that they were coded with.
  struct Spent {
    double bits = 0;
    double complexity = 0;
  };

  double clampedScale() const;
  Spent spread(const Spent& spent, double seconds, bool isKeyFrame);

  const double _bitsPerSecond;
  // Both grow with each picture and fade with time: the bits times the quantizer's scale that they
  // were coded with, and the bits that there were for them.
  double _complexity;
  double _budget;
  Spent _ofKeyFrames;   // what was not counted yet
  double _excess = 0;   // bits spent beyond the average so far, with bounds
  double _seconds = 0;  // of pictures coded
};

}  // namespace vx
