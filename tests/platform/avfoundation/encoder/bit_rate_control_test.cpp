#include "platform/avfoundation/encoder/bit_rate_control.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace vx {
namespace {

constexpr int kBitsPerSecond = 10485760;
constexpr int kMacroblocks = 8160;  // 1920x1080

/// An encoder as rate factors describe it: 6 more halve the bits.
struct PretendedEncoder {
  double bitsAtRateFactor20 = 4e5;
  std::size_t code(double rateFactor) const {
    return static_cast<std::size_t>(bitsAtRateFactor20 * std::exp2((20 - rateFactor) / 6));
  }
};

struct Stream {
  BitRateControl control{kBitsPerSecond, kMacroblocks};
  PretendedEncoder encoder;
  double bits = 0;
  double seconds = 0;

  void code(std::int64_t durationMs, bool isKeyFrame = false) {
    const std::size_t size = encoder.code(control.rateFactor()) * (isKeyFrame ? 10 : 1);
    control.pictureWasCoded(size, durationMs, isKeyFrame);
    bits += static_cast<double>(size);
    seconds += static_cast<double>(durationMs) / 1000;
  }
  void codeFor(double duration, const std::function<std::int64_t(int)>& durationOf) {
    const double until = seconds + duration;
    for (int i = 0; seconds < until; ++i) {
      code(durationOf(i));
    }
  }
  double rate() const { return bits / seconds; }
};

std::int64_t irregular(int i) { return i % 7 == 0 ? 250 : i % 3 == 0 ? 8 : 21; }

TEST(BitRateControl, TheAverageHoldsAtAnyFrameRate) {
  for (const std::int64_t intervalMs : {8, 16, 33, 100, 500}) {
    Stream stream;
    stream.encoder.bitsAtRateFactor20 = 12e3 * static_cast<double>(intervalMs);
    stream.codeFor(60, [&](int) { return intervalMs; });
    EXPECT_NEAR(stream.rate() / kBitsPerSecond, 1, 0.05) << intervalMs << " ms";
  }
}

TEST(BitRateControl, TheAverageHoldsAtIrregularTimes) {
  Stream stream;
  stream.codeFor(60, irregular);
  EXPECT_NEAR(stream.rate() / kBitsPerSecond, 1, 0.05);
}

TEST(BitRateControl, TheAverageHoldsWhenThePictureBecomesTenTimesHarder) {
  Stream stream;
  stream.codeFor(30, irregular);
  stream.encoder.bitsAtRateFactor20 *= 10;
  const double bitsBefore = stream.bits;
  stream.codeFor(30, irregular);
  EXPECT_NEAR((stream.bits - bitsBefore) / 30 / kBitsPerSecond, 1, 0.2);
}

TEST(BitRateControl, OneHardPictureHardlyMovesTheRateFactor) {
  Stream stream;
  stream.codeFor(60, [](int) { return 33; });
  const double before = stream.control.rateFactor();
  stream.encoder.bitsAtRateFactor20 *= 10;
  stream.code(33);
  EXPECT_GT(stream.control.rateFactor(), before);
  EXPECT_LT(stream.control.rateFactor(), before + 1) << "6 more are half the bits";
}

TEST(BitRateControl, WhatWasSpentBeyondTheAverageIsSavedAgain) {
  Stream stream;
  stream.codeFor(30, [](int) { return 33; });
  const double before = stream.control.rateFactor();
  stream.control.pictureWasCoded(3 * kBitsPerSecond, 33, false);  // seconds' worth in one picture
  stream.bits += 3 * kBitsPerSecond;
  stream.codeFor(60, [](int) { return 33; });
  EXPECT_NEAR(stream.bits / kBitsPerSecond, stream.seconds, 1.5);
  EXPECT_NEAR(stream.control.rateFactor(), before, 1);
}

TEST(BitRateControl, TheFirstKeyFrameDoesNotMakeThePicturesBehindItMuchCoarser) {
  Stream stream;
  const double first = stream.control.rateFactor();
  stream.encoder.bitsAtRateFactor20 = kBitsPerSecond / 30.0 * std::exp2((first - 20) / 6);
  stream.code(33, true);
  EXPECT_LT(stream.control.rateFactor(), first + 3) << "6 more are half the bits";
}

TEST(BitRateControl, TheAverageHoldsWithKeyFrames) {
  Stream stream;
  for (int i = 0; i < 30 * 60; ++i) {
    stream.code(33, i % 30 == 0);
  }
  EXPECT_NEAR(stream.rate() / kBitsPerSecond, 1, 0.05);
}

TEST(BitRateControl, APictureThatStandsForLongHasTheBitsOfASecond) {
  Stream stream;
  stream.encoder.bitsAtRateFactor20 = kBitsPerSecond;
  for (int i = 0; i < 60; ++i) {
    stream.code(5000);
  }
  EXPECT_NEAR(stream.bits / 60 / kBitsPerSecond, 1, 0.2);
}

TEST(BitRateControl, AStillScreenSavesUpLittleForWhatMovesAfterIt) {
  Stream stream;
  stream.encoder.bitsAtRateFactor20 = 500;
  stream.codeFor(600, [](int) { return 5000; });
  EXPECT_DOUBLE_EQ(stream.control.rateFactor(), 8) << "the finest";
  stream.encoder.bitsAtRateFactor20 = 4e5;
  stream.bits = stream.seconds = 0;
  stream.codeFor(5, [](int) { return 16; });
  EXPECT_LT(stream.rate(), 4 * kBitsPerSecond);
  stream.codeFor(25, [](int) { return 16; });
  EXPECT_LT(stream.rate(), 1.5 * kBitsPerSecond);
}

TEST(BitRateControl, NoTimesAtAllLeaveTheRateFactorWithinItsRange) {
  Stream stream;
  for (int i = 0; i < 1000; ++i) {
    stream.code(0);
  }
  EXPECT_LE(stream.control.rateFactor(), 51);
  for (int i = 0; i < 1000; ++i) {
    stream.code(4294967295);
  }
  EXPECT_GE(stream.control.rateFactor(), 8);
}

TEST(BitRateControl, TheFirstPictureIsCoarserWhenItHasMuchDetail) {
  const auto first = [](double detail) {
    BitRateControl control(kBitsPerSecond, kMacroblocks);
    control.expectFirst(detail);
    return control.rateFactor();
  };
  const double unknown = BitRateControl(kBitsPerSecond, kMacroblocks).rateFactor();
  EXPECT_DOUBLE_EQ(first(0), unknown);
  EXPECT_DOUBLE_EQ(first(350), unknown);
  EXPECT_NEAR(first(700), unknown + 6, 1e-9);
  EXPECT_NEAR(first(1e9), unknown + 12, 1e-9);
}

TEST(BitRateControl, TheFirstPictureIsFinerWhenItIsSmaller) {
  EXPECT_LT(BitRateControl(kBitsPerSecond, 900).rateFactor(),
            BitRateControl(kBitsPerSecond, 32400).rateFactor());
}

}  // namespace
}  // namespace vx
