#include "platform/avfoundation/mp4/track_timeline.h"

#include <gtest/gtest.h>

namespace vx::mp4::test {
namespace {

constexpr std::int64_t kMax32 = 0xFFFFFFFF;
constexpr std::int64_t kDay = 86400000;

TEST(VideoTime, IsTheNominalTimeInTheOrdinaryCase) {
  EXPECT_EQ(placeVideoSample(std::nullopt, 0), 0);
  EXPECT_EQ(placeVideoSample(std::nullopt, 70), 70);
  EXPECT_EQ(placeVideoSample(40, 80), 80);
  EXPECT_EQ(placeVideoSample(70 * kDay, 70 * kDay + 16), 70 * kDay + 16);
}

TEST(VideoTime, TakesThePredecessorsTimeWhenTheClockStepsBack) {
  EXPECT_EQ(placeVideoSample(80, 80), 80);
  EXPECT_EQ(placeVideoSample(80, 40), 80);
  EXPECT_EQ(placeVideoSample(80, -5), 80);
}

TEST(VideoTime, IsNeverNegative) { EXPECT_EQ(placeVideoSample(std::nullopt, -1), 0); }

TEST(VideoTime, StaysWithinWhatAStoredDurationCanTell) {
  EXPECT_EQ(placeVideoSample(5, 5 + kMax32), 5 + kMax32);
  EXPECT_EQ(placeVideoSample(5, 6 + kMax32), 5 + kMax32);
}

TEST(AudioTime, StartsWhereTheAudioSoFarEnds) {
  EXPECT_EQ(placeAudioSample(std::nullopt, 0), 0);
  EXPECT_EQ(placeAudioSample(std::nullopt, -3), -3);
  EXPECT_EQ(placeAudioSample(PlacedAudio{0, 1024}, 0), 1024);
  EXPECT_EQ(placeAudioSample(PlacedAudio{1024, 1024}, 1500), 2048);
}

TEST(AudioTime, StaysWithinWhatAStoredDurationCanTell) {
  EXPECT_EQ(placeAudioSample(PlacedAudio{5, 1024}, 6 + kMax32), 5 + kMax32);
}

TEST(AudioTime, LeavesAGapBeforeALaterSample) {
  EXPECT_EQ(placeAudioSample(PlacedAudio{0, 1024}, 5000), 5000);
}

TEST(ProvisionalDuration, IsNothingForADurationThatWrapped) {
  EXPECT_EQ(provisionalDuration(0), 0u);
  EXPECT_EQ(provisionalDuration(0x7FFFFFFF), 0x7FFFFFFFu);
  EXPECT_EQ(provisionalDuration(0x80000000), 0u);
  EXPECT_EQ(provisionalDuration(0xFFFFFFFF), 0u);
}

TEST(LastVideoDuration, ReachesToTheSessionsEnd) {
  EXPECT_EQ(lastVideoDuration({100, 100, 1}, 150), 50u);
  EXPECT_EQ(lastVideoDuration({0, 0, 1}, kMax32), kMax32);
  EXPECT_EQ(lastVideoDuration({0, 0, 1}, kMax32 + 1), kMax32);
}

TEST(LastVideoDuration, IsTheSamplesOwnWithoutALaterEnd) {
  EXPECT_EQ(lastVideoDuration({100, 100, 7}, std::nullopt), 7u);
  EXPECT_EQ(lastVideoDuration({100, 100, 7}, 100), 7u);
  EXPECT_EQ(lastVideoDuration({100, 100, 7}, -1), 7u);
  EXPECT_EQ(lastVideoDuration({100, 100, 0xFFFFFF00}, std::nullopt), 0u);
}

TEST(LastVideoDuration, IsTheTimeToTheEndForASampleThatAClockPutBeyondIt) {
  EXPECT_EQ(lastVideoDuration({500, 100, 1}, 140), 40u);
}

TEST(LastVideoDuration, EndsTheFileWithTheSessionAfterAClockStep) {
  EXPECT_EQ(lastVideoDuration({500, 100, 1}, 700), 200u);
}

TEST(Rescale, RoundsToNearestOrUp) {
  EXPECT_EQ(rescale(48000, 48000, 1000), 1000);
  EXPECT_EQ(rescale(1024, 48000, 1000), 21);
  EXPECT_EQ(rescale(1075, 48000, 1000), 22);
  EXPECT_EQ(rescale(23, 48000, 1000), 0);
  EXPECT_EQ(rescale(24, 48000, 1000), 1);
  EXPECT_EQ(rescaleUp(1024, 48000, 1000), 22);
  EXPECT_EQ(rescaleUp(48000, 48000, 1000), 1000);
}

TEST(Rescale, DoesNotOverflowInAYear) {
  EXPECT_EQ(rescale(365 * kDay * 96, 96000, 1000), 365 * kDay);
}

}  // namespace
}  // namespace vx::mp4::test
