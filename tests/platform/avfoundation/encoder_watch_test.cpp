// When an encoder counts as hanging, by a clock that the test turns.
#include "platform/avfoundation/encoder_watch.h"

#include <gtest/gtest.h>

namespace vx {
namespace {

using std::chrono::seconds;

class EncoderWatchTest : public testing::Test {
 protected:
  /// Whether the encoder counts as hanging after so many looks at the watch's own pace.
  bool isStuckAfter(int looks) {
    bool isStuck = false;
    for (int i = 0; i < looks; ++i) {
      now = std::max(now, watch.nextLook());
      isStuck = watch.isStuck(now);
    }
    return isStuck;
  }

  EncoderWatch watch{seconds(60)};
  EncoderWatch::Clock::time_point now = EncoderWatch::Clock::now();
};

TEST_F(EncoderWatchTest, EncoderThatIsNotInUseIsNeverStuck) { EXPECT_FALSE(isStuckAfter(1000)); }

TEST_F(EncoderWatchTest, CallThatLastsForTheWholePatienceIsStuck) {
  const EncoderWatch::Visit visit(watch);
  const auto start = now;
  while (!isStuckAfter(1)) {
    ASSERT_LT(now, start + seconds(60));
  }
  EXPECT_GE(now, start + seconds(60));
}

TEST_F(EncoderWatchTest, ManyCallsAreNotOneThatHangs) {
  for (int i = 0; i < 100; ++i) {
    const EncoderWatch::Visit visit(watch);
    EXPECT_FALSE(isStuckAfter(3));
  }
}

TEST_F(EncoderWatchTest, TimeThatPassesWithoutALookCountsAsOneLook) {
  const EncoderWatch::Visit visit(watch);
  EXPECT_FALSE(isStuckAfter(2));
  now += std::chrono::hours(8);  // the whole process was stopped
  EXPECT_FALSE(watch.isStuck(now));
}

TEST_F(EncoderWatchTest, LooksBeforeTheirTimeDoNotCount) {
  const EncoderWatch::Visit visit(watch);
  watch.isStuck(now);
  for (int i = 0; i < 100; ++i) {
    EXPECT_FALSE(watch.isStuck(now));
  }
}

}  // namespace
}  // namespace vx
