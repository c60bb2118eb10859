#include "platform/avfoundation/encoder/key_frame_policy.h"

#include <gtest/gtest.h>

namespace vx {
namespace {

TEST(KeyFramePolicy, FirstFrameIsAKeyFrame) {
  KeyFramePolicy policy;
  EXPECT_TRUE(policy.wantsKeyFrame(0, false));
}

TEST(KeyFramePolicy, RequestIsGranted) {
  KeyFramePolicy policy;
  policy.wantsKeyFrame(0, false);
  policy.keyFrameWasCoded();
  EXPECT_TRUE(policy.wantsKeyFrame(1, true));
}

TEST(KeyFramePolicy, FirstFrameTwoSecondsAfterTheLastKeyFrameIsOne) {
  KeyFramePolicy policy;
  policy.wantsKeyFrame(100, false);
  policy.keyFrameWasCoded();
  EXPECT_FALSE(policy.wantsKeyFrame(2099, false));
  EXPECT_TRUE(policy.wantsKeyFrame(2100, false));
}

TEST(KeyFramePolicy, KeyFrameOfTheEncodersOwnCounts) {
  KeyFramePolicy policy;
  policy.wantsKeyFrame(0, false);
  policy.keyFrameWasCoded();
  policy.wantsKeyFrame(1000, false);
  policy.keyFrameWasCoded();
  EXPECT_FALSE(policy.wantsKeyFrame(2999, false));
  EXPECT_TRUE(policy.wantsKeyFrame(3000, false));
}

TEST(KeyFramePolicy, ClockThatStepsBackAsksForNothing) {
  KeyFramePolicy policy;
  policy.wantsKeyFrame(5000, false);
  policy.keyFrameWasCoded();
  EXPECT_FALSE(policy.wantsKeyFrame(10, false));
  EXPECT_FALSE(policy.wantsKeyFrame(6999, false));
  EXPECT_TRUE(policy.wantsKeyFrame(7000, false));
}

TEST(KeyFramePolicy, KeyFrameBehindAStepBackCountsFromTheLatestTime) {
  KeyFramePolicy policy;
  policy.wantsKeyFrame(5000, true);
  policy.keyFrameWasCoded();
  policy.wantsKeyFrame(10, true);
  policy.keyFrameWasCoded();
  EXPECT_FALSE(policy.wantsKeyFrame(5100, false));
  EXPECT_TRUE(policy.wantsKeyFrame(7000, false));
}

}  // namespace
}  // namespace vx
