#include "frame_clock.h"

#include <gtest/gtest.h>

#include <limits>

namespace vxrecord {
namespace {

TEST(ToMilliseconds, RoundsToTheNearest) {
  EXPECT_EQ(toMilliseconds(44, {1, 90000}), 0);
  EXPECT_EQ(toMilliseconds(45, {1, 90000}), 1);
  EXPECT_EQ(toMilliseconds(-45, {1, 90000}), -1);
  EXPECT_EQ(toMilliseconds(2, {1001, 30000}), 67);
}

TEST(ToMilliseconds, HoldsTheTicksOfANanosecondClock) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(toMilliseconds(kMost, {1, 1000000000}), kMost / 1000000 + 1);
}

TEST(FrameClock, CountsFromTheFirstFrame) {
  FrameClock clock({1, 1000}, 40);
  EXPECT_EQ(clock.millisecondsAt(5000), 0);
  EXPECT_EQ(clock.millisecondsAt(5040), 40);
  EXPECT_EQ(clock.millisecondsAt(9000), 4000);
}

TEST(FrameClock, RoundingErrorsDoNotAddUp) {
  FrameClock clock({1, 30000}, 1001);
  std::int64_t last = 0;
  for (std::int64_t i = 0; i <= 30000; ++i) {
    last = clock.millisecondsAt(7 + i * 1001);
  }
  EXPECT_EQ(last, 1001000);
}

TEST(FrameClock, FrameWithoutTimeFollowsAfterTheUsualInterval) {
  FrameClock clock({1, 1000}, 40);
  EXPECT_EQ(clock.millisecondsAt({}), 0);
  EXPECT_EQ(clock.millisecondsAt({}), 40);
  EXPECT_EQ(clock.millisecondsAt(100), 100);
  EXPECT_EQ(clock.millisecondsAt({}), 140);
}

TEST(FrameClock, JumpBackGoesOnAfterTheUsualInterval) {
  FrameClock clock({1, 1000}, 40);
  clock.millisecondsAt(100000);
  EXPECT_EQ(clock.millisecondsAt(100040), 40);
  EXPECT_EQ(clock.millisecondsAt(7), 80);
  EXPECT_EQ(clock.millisecondsAt(50), 123);
}

TEST(FrameClock, EqualTimesStayEqual) {
  FrameClock clock({1, 1000}, 40);
  clock.millisecondsAt(10);
  EXPECT_EQ(clock.millisecondsAt(10), 0);
}

}  // namespace
}  // namespace vxrecord
