#include "recording_clock.h"

#include <gtest/gtest.h>

namespace vxrecord {
namespace {

TEST(RecordingClock, EmptyRecordingHasNoDuration) { EXPECT_EQ(RecordingClock().durationMs(), 0); }

TEST(RecordingClock, FileEndsTwoMillisecondsBehindTheLastFrame) {
  RecordingClock clock;
  clock.accept(500, false);
  EXPECT_EQ(clock.durationMs(), 2);
  clock.accept(540, false);
  EXPECT_EQ(clock.timeMs(), 40);
  EXPECT_EQ(clock.durationMs(), 42);
}

TEST(RecordingClock, PauseTakesAtMostASecond) {
  for (const auto& [gap, kept] : {std::pair{600, 600}, {1000, 1000}, {1001, 1000}, {5000, 1000}}) {
    RecordingClock clock;
    clock.accept(0, false);
    clock.accept(100, false);
    clock.accept(100 + gap, true);
    EXPECT_EQ(clock.timeMs(), 100 + kept);
    clock.accept(140 + gap, false);
    EXPECT_EQ(clock.timeMs(), 140 + kept);
  }
}

TEST(RecordingClock, GapWithoutAPauseStaysAsItIs) {
  RecordingClock clock;
  clock.accept(0, false);
  clock.accept(5000, false);
  EXPECT_EQ(clock.timeMs(), 5000);
  EXPECT_EQ(clock.leftOutMs(), 0);
}

TEST(PauseWish, LeavesOutFromItsStartToJustBeforeItsEnd) {
  const PauseWish pause{1000, 500};
  EXPECT_FALSE(isLeftOut(pause, 999));
  EXPECT_TRUE(isLeftOut(pause, 1000));
  EXPECT_TRUE(isLeftOut(pause, 1499));
  EXPECT_FALSE(isLeftOut(pause, 1500));
}

}  // namespace
}  // namespace vxrecord
