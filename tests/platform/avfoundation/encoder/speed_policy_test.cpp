#include "platform/avfoundation/encoder/speed_policy.h"

#include <gtest/gtest.h>

namespace vx {
namespace {

const std::vector<double> kCosts = {1, 1.2, 1.5, 2};
constexpr int kFirst = 2;
constexpr double kInterval = 0.02;

/// A host that shows pictures at regular times, and an encoder whose pictures take `unitSeconds` at
/// cost 1.
struct Live {
  SpeedPolicy policy{kCosts, kFirst};
  double unitSeconds = 0;
  double shownSeconds = kInterval;
  double queueFill = 0;
  bool hostWaits = false;

  void code(int pictures) {
    for (int i = 0; i < pictures; ++i) {
      const double cost = kCosts[static_cast<std::size_t>(policy.level())];
      policy.pictureWasCoded({unitSeconds * cost, shownSeconds, queueFill, hostWaits});
    }
  }
  void codeSeconds(double seconds) { code(static_cast<int>(seconds / shownSeconds) + 1); }
  int level() const { return policy.level(); }
};

TEST(SpeedPolicy, StartsWhereItIsTold) {
  EXPECT_EQ(SpeedPolicy(kCosts, 1).level(), 1);
  EXPECT_EQ(SpeedPolicy(kCosts, 9).level(), 3);
  EXPECT_EQ(SpeedPolicy({1}, 0).level(), 0);
}

TEST(SpeedPolicy, StaysWhileTheLoadIsNeitherTooHighNorLow) {
  Live live;
  live.unitSeconds = 0.4 * kInterval;  // 0.6 at this level, 0.8 at the finer one
  live.codeSeconds(60);
  EXPECT_EQ(live.level(), kFirst);
}

TEST(SpeedPolicy, PicturesThatTakeTooLongLowerItToWhatFits) {
  Live live;
  live.unitSeconds = 0.6 * kInterval;  // 0.9 at this level, 0.72 at the one below
  live.code(1);
  EXPECT_EQ(live.level(), 1);
  live.codeSeconds(60);
  EXPECT_EQ(live.level(), 1);
}

TEST(SpeedPolicy, AQueueThatGrowsLowersItAStepAPicture) {
  Live live;
  live.unitSeconds = 0.1 * kInterval;
  live.queueFill = 0.3;
  live.code(1);
  EXPECT_EQ(live.level(), 1);
  live.code(1);
  EXPECT_EQ(live.level(), 0);
}

TEST(SpeedPolicy, AHalfFullQueueLowersItAllTheWay) {
  Live live;
  live.queueFill = 0.5;
  live.code(1);
  EXPECT_EQ(live.level(), 0);
}

TEST(SpeedPolicy, RisesAStepAtATimeWhenThereIsRoom) {
  Live live;
  live.unitSeconds = 0.1 * kInterval;
  live.queueFill = 1;
  live.code(1);
  ASSERT_EQ(live.level(), 0);
  live.queueFill = 0.08;
  live.codeSeconds(1.5);
  EXPECT_EQ(live.level(), 0) << "not at once";
  live.codeSeconds(1);
  EXPECT_EQ(live.level(), 1);
  live.codeSeconds(60);
  EXPECT_EQ(live.level(), 3);
}

TEST(SpeedPolicy, DoesNotSwing) {
  Live live;
  live.unitSeconds = 0.45 * kInterval;
  int changes = 0;
  for (int i = 0; i < 10000; ++i) {
    const int before = live.level();
    live.code(1);
    changes += live.level() != before;
  }
  EXPECT_LE(changes, 1);
}

TEST(SpeedPolicy, OneSlowKeyFrameInThirtyChangesNothing) {
  Live live;
  live.unitSeconds = 0.35 * kInterval;
  for (int i = 0; i < 20; ++i) {
    live.code(29);
    live.unitSeconds *= 4;
    live.code(1);
    live.unitSeconds /= 4;
    ASSERT_EQ(live.level(), kFirst) << i;
  }
}

TEST(SpeedPolicy, MotionAfterAStillScreenLowersItWithinFewPictures) {
  Live live;
  live.unitSeconds = 0.1 * kInterval;
  live.shownSeconds = 0.5;
  live.codeSeconds(60);
  ASSERT_EQ(live.level(), 3);
  live.unitSeconds = 0.7 * kInterval;
  live.shownSeconds = kInterval;
  live.code(12);
  EXPECT_LE(live.level(), 1);
}

TEST(SpeedPolicy, PicturesThatStoodForLongCountAsATenthOfASecond) {
  Live live;
  live.unitSeconds = 0.1 * kInterval;
  live.shownSeconds = 60;
  live.code(100);
  ASSERT_EQ(live.level(), 3);
  live.unitSeconds = 0.7 * kInterval;
  live.shownSeconds = kInterval;
  live.code(12);
  EXPECT_LE(live.level(), 1);
}

TEST(SpeedPolicy, AHostThatWaitsForRoomCostsNoQuality) {
  Live live;
  live.unitSeconds = 10 * kInterval;
  live.queueFill = 1;
  live.code(3);
  ASSERT_EQ(live.level(), 0);
  live.hostWaits = true;
  live.code(1);
  EXPECT_EQ(live.level(), kFirst);
  live.codeSeconds(60);
  EXPECT_EQ(live.level(), kFirst);
}

TEST(SpeedPolicy, AHostThatWaitsFollowsTheFirstLevel) {
  Live live;
  live.hostWaits = true;
  live.policy.setFirstLevel(1);
  live.code(1);
  EXPECT_EQ(live.level(), 1);
  live.policy.setFirstLevel(9);
  live.code(1);
  EXPECT_EQ(live.level(), 3);
}

TEST(SpeedPolicy, PicturesWithoutADurationDoNoHarm) {
  Live live;
  live.unitSeconds = 0.001;
  live.shownSeconds = 0;
  live.code(100);
  EXPECT_GE(live.level(), 0);
  live.shownSeconds = kInterval;
  live.codeSeconds(60);
  EXPECT_EQ(live.level(), 3);
}

}  // namespace
}  // namespace vx
