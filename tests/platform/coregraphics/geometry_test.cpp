#include "VXVideoRecorder/platform/CoreGraphics.h"

#include <gtest/gtest.h>

#include <numbers>

namespace vx {
namespace {

TEST(AffineTransform, QuarterTurnIsClockwiseWithYPointingDown) {
  const CGAffineTransform turn = CGAffineTransformMakeRotation(std::numbers::pi / 2);
  constexpr double kTolerance = 1e-12;
  EXPECT_NEAR(turn.a, 0, kTolerance);
  EXPECT_NEAR(turn.b, 1, kTolerance);
  EXPECT_NEAR(turn.c, -1, kTolerance);
  EXPECT_NEAR(turn.d, 0, kTolerance);
  EXPECT_EQ(turn.tx, 0);
  EXPECT_EQ(turn.ty, 0);
}

TEST(AffineTransform, NoTurnIsTheIdentity) {
  EXPECT_EQ(CGAffineTransformMakeRotation(0), CGAffineTransformIdentity);
}

}  // namespace
}  // namespace vx
