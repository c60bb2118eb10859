#include "VXVideoRecorder/platform/CoreMedia.h"
#include "platform/coremedia/time_math.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vx {
namespace {

constexpr std::int64_t kMaxValue = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMinValue = std::numeric_limits<std::int64_t>::min();
constexpr std::int32_t kMaxScale = std::numeric_limits<std::int32_t>::max();

constexpr CMTime kPositiveInfinity{0, 0, kCMTimeFlags_Valid | kCMTimeFlags_PositiveInfinity, 0};
constexpr CMTime kNegativeInfinity{0, 0, kCMTimeFlags_Valid | kCMTimeFlags_NegativeInfinity, 0};
constexpr CMTime kIndefinite{0, 0, kCMTimeFlags_Valid | kCMTimeFlags_Indefinite, 0};

void expectTime(CMTime time, CMTimeValue value, CMTimeScale timescale,
                std::uint32_t flags = kCMTimeFlags_Valid) {
  EXPECT_EQ(time.value, value);
  EXPECT_EQ(time.timescale, timescale);
  EXPECT_EQ(time.flags, flags);
  EXPECT_EQ(time.epoch, 0);
}

TEST(Time, MakeKeepsValueAndTimescale) { expectTime(CMTimeMake(-7, 1000), -7, 1000); }

TEST(Time, MakeIsInvalidWithoutPositiveTimescale) {
  EXPECT_TRUE(CMTIME_IS_INVALID(CMTimeMake(1, 0)));
  EXPECT_TRUE(CMTIME_IS_INVALID(CMTimeMake(1, -1000)));
}

TEST(Time, AllZeroIsInvalid) {
  EXPECT_TRUE(CMTIME_IS_INVALID(CMTime{}));
  EXPECT_FALSE(CMTIME_IS_NUMERIC(CMTime{}));
}

TEST(Time, SecondsBecomeTheNearestTick) {
  expectTime(CMTimeMakeWithSeconds(0.1, 1000000000), 100000000, 1000000000);
  expectTime(CMTimeMakeWithSeconds(1.5, 1000), 1500, 1000);
  expectTime(CMTimeMakeWithSeconds(-2, 600), -1200, 600);
}

TEST(Time, SecondsBetweenTicksAreMarkedAsRounded) {
  constexpr std::uint32_t kRounded = kCMTimeFlags_Valid | kCMTimeFlags_HasBeenRounded;
  expectTime(CMTimeMakeWithSeconds(0.0126, 100), 1, 100, kRounded);
  expectTime(CMTimeMakeWithSeconds(0.5, 1), 1, 1, kRounded);
  expectTime(CMTimeMakeWithSeconds(-0.5, 1), -1, 1, kRounded);
}

TEST(Time, SecondsBeyondTheRangeAreInfinite) {
  EXPECT_EQ(CMTimeCompare(CMTimeMakeWithSeconds(1e19, 1), kPositiveInfinity), 0);
  EXPECT_EQ(CMTimeCompare(CMTimeMakeWithSeconds(-1e19, 1), kNegativeInfinity), 0);
  EXPECT_EQ(CMTimeCompare(CMTimeMakeWithSeconds(INFINITY, 1000), kPositiveInfinity), 0);
  EXPECT_EQ(CMTimeCompare(CMTimeMakeWithSeconds(9.3e18, kMaxScale), kPositiveInfinity), 0);
  EXPECT_EQ(CMTimeCompare(CMTimeMakeWithSeconds(0x1p63, 1), kPositiveInfinity), 0);
  expectTime(CMTimeMakeWithSeconds(-0x1p63, 1), kMinValue, 1);
}

TEST(Time, SecondsThatAreNoNumberAreInvalid) {
  EXPECT_TRUE(CMTIME_IS_INVALID(CMTimeMakeWithSeconds(NAN, 1000)));
  EXPECT_TRUE(CMTIME_IS_INVALID(CMTimeMakeWithSeconds(1, 0)));
}

TEST(Time, GetSecondsOfEachKind) {
  EXPECT_DOUBLE_EQ(CMTimeGetSeconds(CMTimeMake(1500, 1000)), 1.5);
  EXPECT_EQ(CMTimeGetSeconds(kPositiveInfinity), INFINITY);
  EXPECT_EQ(CMTimeGetSeconds(kNegativeInfinity), -INFINITY);
  EXPECT_TRUE(std::isnan(CMTimeGetSeconds(kIndefinite)));
  EXPECT_TRUE(std::isnan(CMTimeGetSeconds(kCMTimeInvalid)));
  EXPECT_TRUE(std::isnan(CMTimeGetSeconds(CMTime{1, 0, kCMTimeFlags_Valid, 0})));
}

TEST(Time, ComparisonIsExactAcrossTimescales) {
  EXPECT_EQ(CMTimeCompare(CMTimeMake(1, 3), CMTimeMake(2, 6)), 0);
  EXPECT_EQ(CMTimeCompare(CMTimeMake(333333333, 1000000000), CMTimeMake(1, 3)), -1);
  EXPECT_EQ(CMTimeCompare(CMTimeMake(1, 3), CMTimeMake(333333333, 1000000000)), 1);
}

TEST(Time, ComparisonHoldsAtTheEndsOfTheRange) {
  EXPECT_EQ(CMTimeCompare(CMTimeMake(kMaxValue, kMaxScale), CMTimeMake(kMaxValue - 1, kMaxScale)),
            1);
  EXPECT_EQ(CMTimeCompare(CMTimeMake(kMaxValue, 1), CMTimeMake(kMaxValue, kMaxScale)), 1);
  EXPECT_EQ(CMTimeCompare(CMTimeMake(kMinValue, 1), CMTimeMake(kMinValue, kMaxScale)), -1);
  EXPECT_EQ(CMTimeCompare(CMTimeMake(kMinValue, 1), CMTimeMake(kMaxValue, 1)), -1);
}

TEST(Time, KindsAreOrdered) {
  const CMTime ascending[] = {
      kNegativeInfinity, CMTimeMake(kMinValue, 1), kCMTimeZero,   CMTimeMake(kMaxValue, 1),
      kIndefinite,       kPositiveInfinity,        kCMTimeInvalid};
  for (std::size_t a = 0; a < std::size(ascending); ++a) {
    for (std::size_t b = 0; b < std::size(ascending); ++b) {
      const int expected = a < b ? -1 : (a > b ? 1 : 0);
      EXPECT_EQ(CMTimeCompare(ascending[a], ascending[b]), expected) << a << " and " << b;
    }
  }
}

TEST(Time, InvalidTimesAreEqualWhateverTheyHold) {
  EXPECT_EQ(CMTimeCompare(CMTime{5, 1000, 0, 2}, kCMTimeInvalid), 0);
}

TEST(Time, LaterEpochIsGreater) {
  EXPECT_EQ(CMTimeCompare(CMTime{0, 1, kCMTimeFlags_Valid, 1}, CMTimeMake(100, 1)), 1);
}

TEST(Time, ConversionRoundsHalfAwayFromZero) {
  constexpr std::uint32_t kRounded = kCMTimeFlags_Valid | kCMTimeFlags_HasBeenRounded;
  expectTime(CMTimeConvertScale(CMTimeMake(2, 1), 1000), 2000, 1000);
  expectTime(CMTimeConvertScale(CMTimeMake(15, 10), 1), 2, 1, kRounded);
  expectTime(CMTimeConvertScale(CMTimeMake(-15, 10), 1), -2, 1, kRounded);
  expectTime(CMTimeConvertScale(CMTimeMake(1, 3), 1), 0, 1, kRounded);
  expectTime(CMTimeConvertScale(CMTimeMake(-2, 3), 1), -1, 1, kRounded);
  expectTime(CMTimeConvertScale(CMTimeMake(1024, 44100), 90000), 2090, 90000, kRounded);
}

TEST(Time, ConversionBeyondTheRangeIsInfinite) {
  EXPECT_EQ(CMTimeCompare(CMTimeConvertScale(CMTimeMake(kMaxValue, 1), 2), kPositiveInfinity), 0);
  EXPECT_EQ(CMTimeCompare(CMTimeConvertScale(CMTimeMake(kMinValue, 1), 2), kNegativeInfinity), 0);
}

TEST(Time, ConversionLeavesWhatIsNoNumber) {
  EXPECT_EQ(CMTimeCompare(CMTimeConvertScale(kIndefinite, 1000), kIndefinite), 0);
  EXPECT_TRUE(CMTIME_IS_INVALID(CMTimeConvertScale(CMTimeMake(1, 1), 0)));
}

TEST(Time, SumIsExactWhereACommonTimescaleExists) {
  EXPECT_EQ(CMTimeCompare(timeSum(CMTimeMake(1, 2), CMTimeMake(1, 3)), CMTimeMake(5, 6)), 0);
  EXPECT_EQ(CMTimeCompare(timeSum(CMTimeMake(1, 1), kIndefinite), kIndefinite), 0);
  EXPECT_TRUE(CMTIME_IS_INVALID(timeSum(kCMTimeInvalid, CMTimeMake(1, 1))));
}

TEST(Time, SumWithoutACommonTimescaleIsRounded) {
  const CMTime sum = timeSum(CMTimeMake(1000, kMaxScale), CMTimeMake(1000, kMaxScale - 1));
  EXPECT_EQ(sum.timescale, kMaxScale);
  EXPECT_EQ(sum.value, 2000);
  EXPECT_NE(sum.flags & kCMTimeFlags_HasBeenRounded, 0u);
}

TEST(Time, SumBeyondTheRangeIsInfinite) {
  const CMTime most = CMTimeMake(kMaxValue, 1);
  EXPECT_EQ(CMTimeCompare(timeSum(most, most), kPositiveInfinity), 0);
  EXPECT_EQ(CMTimeCompare(timeProduct(most, -2), kNegativeInfinity), 0);
}

TEST(Time, SumOfATimeThatTheCommonTimescaleCannotHoldIsInfinite) {
  const CMTime most = CMTimeMake(kMaxValue, 1);
  const CMTime small = CMTimeMake(1, 1000);
  EXPECT_EQ(CMTimeCompare(timeSum(most, small), kPositiveInfinity), 0);
  EXPECT_EQ(CMTimeCompare(timeSum(small, CMTimeMake(kMinValue, 1)), kNegativeInfinity), 0);
}

TEST(Time, ProductOfWhatIsNoNumberIsThatItself) {
  EXPECT_TRUE(CMTIME_IS_INVALID(timeProduct(kCMTimeInvalid, 3)));
  EXPECT_EQ(CMTimeCompare(timeProduct(kIndefinite, 3), kIndefinite), 0);
}

TEST(Time, DictionaryHoldsTheFourFields) {
  const NSDictionary fields = CMTimeCopyAsDictionary(CMTimeMake(100000000, 1000000000), nullptr);
  const NSDictionary expected = {
      {"value", 100000000}, {"timescale", 1000000000}, {"epoch", 0}, {"flags", 1u}};
  EXPECT_EQ(fields, expected);
}

TEST(Time, DictionaryReadsBackToTheSameTime) {
  const CMTime time{kMinValue, kMaxScale, kCMTimeFlags_Valid | kCMTimeFlags_HasBeenRounded, -3};
  const CMTime again = CMTimeMakeFromDictionary(CMTimeCopyAsDictionary(time, nullptr));
  EXPECT_EQ(again.value, time.value);
  EXPECT_EQ(again.timescale, time.timescale);
  EXPECT_EQ(again.flags, time.flags);
  EXPECT_EQ(again.epoch, time.epoch);
}

TEST(Time, DictionaryWithAFieldMissingOrOfAnotherKindIsInvalid) {
  EXPECT_TRUE(CMTIME_IS_INVALID(CMTimeMakeFromDictionary({})));
  EXPECT_TRUE(
      CMTIME_IS_INVALID(CMTimeMakeFromDictionary({{"value", 1}, {"timescale", 1}, {"epoch", 0}})));
  EXPECT_TRUE(CMTIME_IS_INVALID(
      CMTimeMakeFromDictionary({{"value", "1"}, {"timescale", 1}, {"epoch", 0}, {"flags", 1u}})));
}

}  // namespace
}  // namespace vx
