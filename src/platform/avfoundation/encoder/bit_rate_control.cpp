#include "platform/avfoundation/encoder/bit_rate_control.h"

#include <algorithm>
#include <cmath>

namespace vx {
namespace {

constexpr double kFinest = 8;     // rate factor; below it bits are stored that nobody sees
constexpr double kCoarsest = 51;  // the scale's end
constexpr double kFadingSeconds = 10;
constexpr double kLongestSeconds = 1;  // of one picture that count
// What may be spent beyond the average, or was left over, is evened out in the course of this; more
// slowly once the recording is longer.
constexpr double kToleranceSeconds = 2;
constexpr double kSlowestEvening = 60;  // seconds of recording
constexpr double kMostCarriedSeconds = 10;
constexpr double kUsualFrameRate = 30;
// A key frame takes ten times the bits of the pictures around it, and they are the better for it.
// So its bits count little by little: otherwise all pictures behind it would be coarser.
constexpr double kKeyFrameSeconds = 0.5;

// How quantizers step: 6 are a factor of 2.
double scaleOf(double quantizer) { return 0.85 * std::exp2((quantizer - 12) / 6); }
double quantizerOf(double scale) { return 12 + 6 * std::log2(scale / 0.85); }

// x264's guess at the first picture, and how it defines rate factors for a size of picture.
double firstScale(double bitsPerPicture, double macroblocks) {
  constexpr double kUsualComplexity = 7.0e5;
  constexpr double kCompression = 0.6;
  const double guess = 0.01 * std::pow(kUsualComplexity, kCompression) * std::sqrt(macroblocks);
  return std::pow(80 * macroblocks, 1 - kCompression) * guess / bitsPerPicture;
}

}  // namespace

BitRateControl::BitRateControl(int bitsPerSecond, int macroblocks)
    : _bitsPerSecond(bitsPerSecond), _budget(bitsPerSecond / kUsualFrameRate) {
  const double scale =
      std::clamp(firstScale(_budget, macroblocks), scaleOf(kFinest), scaleOf(kCoarsest));
  _complexity = _budget * scale;
}

void BitRateControl::expectFirst(double detail) {
  constexpr double kUsualDetail = 350;
  constexpr double kMost = 4;
  _complexity *= std::clamp(detail / kUsualDetail, 1.0, kMost);
}

double BitRateControl::clampedScale() const {
  const double tolerance =
      kToleranceSeconds * _bitsPerSecond * std::sqrt(std::clamp(_seconds, 1.0, kSlowestEvening));
  const double correction = std::clamp(1 + _excess / tolerance, 0.5, 2.0);
  return std::clamp(_complexity / _budget * correction, scaleOf(kFinest), scaleOf(kCoarsest));
}

double BitRateControl::rateFactor() const { return quantizerOf(clampedScale()); }

/// What counts now, of this picture and of the key frames so far.
BitRateControl::Spent BitRateControl::spread(const Spent& spent, double seconds, bool isKeyFrame) {
  Spent now = isKeyFrame ? Spent{} : spent;
  if (isKeyFrame) {
    _ofKeyFrames.bits += spent.bits;
    _ofKeyFrames.complexity += spent.complexity;
  }
  const double share = 1 - std::exp(-seconds / kKeyFrameSeconds);
  now.bits += _ofKeyFrames.bits * share;
  now.complexity += _ofKeyFrames.complexity * share;
  _ofKeyFrames.bits *= 1 - share;
  _ofKeyFrames.complexity *= 1 - share;
  return now;
}

void BitRateControl::pictureWasCoded(std::size_t bits, std::int64_t durationMs, bool isKeyFrame) {
  const double seconds = std::clamp(static_cast<double>(durationMs) / 1000, 0.0, kLongestSeconds);
  const double all = static_cast<double>(bits);
  const Spent spent = spread({all, all * clampedScale()}, seconds, isKeyFrame);
  const double allowed = _bitsPerSecond * seconds;
  const double kept = std::exp(-seconds / kFadingSeconds);
  _complexity = _complexity * kept + spent.complexity;
  _budget = _budget * kept + allowed;
  // What could not be spent at the finest scale is not saved up: it would all go into the first
  // pictures that move.
  _budget = std::min(_budget, _complexity / scaleOf(kFinest));
  const double most = kMostCarriedSeconds * _bitsPerSecond;
  _excess = std::clamp(_excess + spent.bits - allowed, -most, most);
  _seconds += seconds;
}

}  // namespace vx
