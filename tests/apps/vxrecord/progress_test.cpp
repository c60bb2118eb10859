#include "progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vxrecord {
namespace {

using Clock = GrowthRate::Clock;
using std::chrono::seconds;

TEST(ProgressLine, TellsWhatIsRecordedAndWhatIsLeft) {
  EXPECT_EQ(progressLine({61500, 1845, 3, false}, 30, 5200000, Space{52100000000, 43200}),
            "00:01:01.500  1845 frames  30.0 fps  3 dropped  5.2 MB  52.10 GB free, 12.0 h left");
}

TEST(ProgressLine, PauseStandsInPlaceOfTheRate) {
  EXPECT_EQ(progressLine({1000, 30, 0, true}, 0, 1000, std::nullopt),
            "00:00:01.000  30 frames  paused  0 dropped  1.0 kB");
}

TEST(ProgressLine, TimeLeftIsLeftOutWhileUnknown) {
  EXPECT_THAT(progressLine({}, 0, 0, Space{1000000, std::nullopt}),
              testing::EndsWith("1.0 MB free"));
}

TEST(Progress, ShowsAPauseAtOnce) {
  testing::internal::CaptureStderr();
  Progress progress(Talk::normal, "/nowhere/a.mp4", false);
  progress.update({1000, 30, 0, true});
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::HasSubstr("00:00:01.000  30 frames  paused  0 dropped  0 B\n"));
}

TEST(Progress, IsNotShownToTheQuiet) {
  testing::internal::CaptureStderr();
  Progress progress(Talk::quiet, "/nowhere/a.mp4", false);
  progress.update({1000, 30, 0, true});
  progress.finish();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(ReadableEstimate, IsAsExactAsAnEstimateIs) {
  EXPECT_EQ(readableEstimate(0), "0 s");
  EXPECT_EQ(readableEstimate(119), "119 s");
  EXPECT_EQ(readableEstimate(120), "2 min");
  EXPECT_EQ(readableEstimate(7199), "119 min");
  EXPECT_EQ(readableEstimate(7200), "2.0 h");
  EXPECT_EQ(readableEstimate(9000), "2.5 h");
  EXPECT_EQ(readableEstimate(172799), "48.0 h");
  EXPECT_EQ(readableEstimate(172800), "2 d");
  EXPECT_EQ(readableEstimate(3 * 86400), "3 d");
}

TEST(ReadableTime, CountsMinutesAndSecondsWithinTheirHour) {
  EXPECT_EQ(readableTime(0), "00:00:00.000");
  EXPECT_EQ(readableTime(3661001), "01:01:01.001");
  EXPECT_EQ(readableTime(360000000), "100:00:00.000");
}

TEST(GrowthRate, IsUnknownUntilTheFileHasGrown) {
  GrowthRate rate;
  EXPECT_FALSE(rate.bytesPerSecond());
  rate.note(Clock::time_point(seconds(1)), 100);
  EXPECT_FALSE(rate.bytesPerSecond());
  rate.note(Clock::time_point(seconds(2)), 100);
  EXPECT_FALSE(rate.bytesPerSecond());
  rate.note(Clock::time_point(seconds(3)), 1100);
  EXPECT_EQ(rate.bytesPerSecond(), 500);
}

TEST(GrowthRate, ForgetsWhatIsLongAgo) {
  GrowthRate rate;
  for (int second = 0; second <= 60; ++second) {
    rate.note(Clock::time_point(seconds(second)), static_cast<std::uint64_t>(second * second));
  }
  EXPECT_EQ(rate.bytesPerSecond(), (60.0 * 60 - 50 * 50) / 10);
}

}  // namespace
}  // namespace vxrecord
