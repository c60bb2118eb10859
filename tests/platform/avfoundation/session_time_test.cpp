#include "platform/avfoundation/session_time.h"

#include <gtest/gtest.h>

#include <limits>

namespace vx {
namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

TEST(SessionTime, CountsFromTheStartInTheScaleAskedFor) {
  EXPECT_EQ(ticksSince(CMTimeMake(500, 1000), CMTimeMake(1500, 1000), 44100), 44100);
  EXPECT_EQ(ticksSince(CMTimeMake(90000, 90000), CMTimeMake(1040, 1000), 1000), 40);
  EXPECT_EQ(ticksSince(CMTimeMake(1, 1), kCMTimeZero, 1000), -1000);
}

TEST(SessionTime, ReachesALifetime) {
  constexpr std::int64_t kSeconds = std::int64_t{1} << 31;
  EXPECT_EQ(ticksSince(kCMTimeZero, CMTimeMake(kSeconds, 1), 1000), kSeconds * 1000);
  EXPECT_EQ(ticksSince(CMTimeMake(kSeconds, 1), CMTimeMake(-kSeconds, 1), 1000), -2000 * kSeconds);
  EXPECT_EQ(ticksSince(kCMTimeZero, CMTimeMake(kSeconds + 1, 1), 1000), std::nullopt);
  EXPECT_EQ(ticksSince(kCMTimeZero, CMTimeMake(-kSeconds - 1, 1), 1000), std::nullopt);
}

TEST(SessionTime, IsAbsentForATimeThatNoClockTells) {
  constexpr CMTime kNever{0, 0, kCMTimeFlags_Valid | kCMTimeFlags_PositiveInfinity, 0};
  for (const CMTime time : {kCMTimeInvalid, kNever, CMTimeMake(kMost, 1), CMTimeMake(-kMost, 1),
                            CMTimeMake(kMost, 1000), CMTime{5, 0, kCMTimeFlags_Valid, 0}}) {
    EXPECT_EQ(ticksSince(kCMTimeZero, time, 1000), std::nullopt);
    EXPECT_EQ(ticksSince(time, kCMTimeZero, 1000), std::nullopt);
  }
}

}  // namespace
}  // namespace vx
