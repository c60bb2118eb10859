// When a commit is due, by a clock that the test turns.
#include "platform/avfoundation/commit_schedule.h"

#include <gtest/gtest.h>

namespace vx {
namespace {

using std::chrono::milliseconds;

class CommitScheduleTest : public testing::Test {
 protected:
  /// Samples at this pace from now on, until a commit is due; how long that takes.
  milliseconds recordUntilDue(milliseconds pace) {
    const auto start = now;
    auto next = now;
    for (; !schedule.isDue(now) && now < start + std::chrono::seconds(10); now += milliseconds(1)) {
      if (now == next) {
        schedule.sampleWasWritten(now);
        next += pace;
      }
    }
    return std::chrono::duration_cast<milliseconds>(now - start);
  }
  void commit(bool hadSamples, milliseconds duration) {
    const auto start = now;
    now += duration;
    schedule.wasCommitted(hadSamples, start, now);
  }
  milliseconds untilNextLook() const {
    return std::chrono::duration_cast<milliseconds>(schedule.nextLook() - now);
  }

  CommitSchedule schedule;
  CommitSchedule::Clock::time_point now = CommitSchedule::Clock::now();
};

TEST_F(CommitScheduleTest, NothingIsDueWithoutASample) {
  EXPECT_FALSE(schedule.isDue(now + std::chrono::hours(24)));
}

TEST_F(CommitScheduleTest, SamplesAreCommittedWithinHalfASecondHoweverManyFollow) {
  EXPECT_EQ(recordUntilDue(milliseconds(10)), milliseconds(450));
}

TEST_F(CommitScheduleTest, LastOfABurstIsNotKeptWaiting) {
  schedule.sampleWasWritten(now);
  schedule.sampleWasWritten(now += milliseconds(20));
  EXPECT_EQ(untilNextLook(), milliseconds(250));
  EXPECT_TRUE(schedule.isDue(now + milliseconds(250)));
}

TEST_F(CommitScheduleTest, SlowDisplaysShareAFragment) {
  EXPECT_EQ(recordUntilDue(milliseconds(240)), milliseconds(450));
}

TEST_F(CommitScheduleTest, NextCommitCountsFromTheStartOfTheLast) {
  recordUntilDue(milliseconds(10));
  commit(true, milliseconds(100));
  schedule.sampleWasWritten(now);
  EXPECT_EQ(recordUntilDue(milliseconds(10)), milliseconds(350));
}

TEST_F(CommitScheduleTest, WhatQueuedUpBehindASlowCommitIsTakenTogether) {
  recordUntilDue(milliseconds(10));
  commit(true, std::chrono::seconds(5));
  schedule.sampleWasWritten(now);
  EXPECT_FALSE(schedule.isDue(now));
  EXPECT_EQ(recordUntilDue(milliseconds(10)), milliseconds(50));
}

TEST_F(CommitScheduleTest, LastCommitIsFollowedByOneMore) {
  recordUntilDue(milliseconds(10));
  commit(true, milliseconds(10));
  EXPECT_EQ(untilNextLook(), milliseconds(440));
  now += milliseconds(440);
  ASSERT_TRUE(schedule.isDue(now));
  commit(false, milliseconds(10));
  EXPECT_FALSE(schedule.isDue(now + std::chrono::hours(24)));
}

}  // namespace
}  // namespace vx
