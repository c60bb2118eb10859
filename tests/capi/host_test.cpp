// What the C interface makes of the recorder's lines and of its notice.
#include "capi/host.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>
#include <thread>

using vx::capi::Host;

namespace {

const std::string kPrefix = "[VXVideoRecorder][<VXVideoRecorder: 0x55d0>] ";

struct Line {
  const char* message;
  vx_result result;
};

class LineOfTrouble : public testing::TestWithParam<Line> {};

TEST_P(LineOfTrouble, IsKeptWithItsResult) {
  Host host(VX_CALLBACKS_INIT);
  host.writeLog(kPrefix + GetParam().message, 2);
  ASSERT_TRUE(host.trouble());
  EXPECT_EQ(host.trouble()->result, GetParam().result);
  EXPECT_EQ(host.trouble()->line, kPrefix + GetParam().message);
  host.forgetTrouble();
  EXPECT_FALSE(host.trouble());
}

INSTANTIATE_TEST_SUITE_P(
    All, LineOfTrouble,
    testing::Values(Line{"AVAssetWriter status: AVAssetWriterStatusWriting (1)", VX_REFUSED},
                    Line{"exception : out of order. ()", VX_EXCEPTION},
                    Line{"Pixel buffer create failed", VX_OUT_OF_MEMORY},
                    Line{"Sample buffer create failed", VX_OUT_OF_MEMORY}));

class LineWithoutTrouble : public testing::TestWithParam<std::string> {};

TEST_P(LineWithoutTrouble, IsNotKept) {
  Host host(VX_CALLBACKS_INIT);
  host.writeLog(GetParam(), 2);
  EXPECT_FALSE(host.trouble());
}

INSTANTIATE_TEST_SUITE_P(All, LineWithoutTrouble,
                         testing::Values("", "exception : without a prefix",
                                         kPrefix + "Started writing video file.",
                                         kPrefix + "Pixel buffer pool create failed",
                                         // A file may be called like anything.
                                         kPrefix + "Record a>] exception : b.mp4 - done",
                                         kPrefix + "Record exception : b.mp4 - done"));

/// A host whose callback stays within until it is told to leave.
struct HeldHost {
  HeldHost() : host(callbacks()) {}
  vx_callbacks callbacks() {
    vx_callbacks held = VX_CALLBACKS_INIT;
    held.user_data = this;
    held.log = [](void* self, const char*, std::int32_t) {
      static_cast<HeldHost*>(self)->entered.set_value();
      static_cast<HeldHost*>(self)->mayLeave.get_future().wait();
      static_cast<HeldHost*>(self)->hasLeft = true;
    };
    return held;
  }
  std::promise<void> entered, mayLeave;
  std::atomic<bool> hasLeft = false;
  Host host;
};

TEST(HostsEnd, WaitsForALineThatIsBeingTold) {
  HeldHost held;
  std::thread telling([&] { held.host.writeLog("line", 2); });
  held.entered.get_future().wait();
  std::thread detaching([&] {
    held.host.detach();
    EXPECT_TRUE(held.hasLeft);
  });
  while (!held.host.isDetached()) {  // from there on it waits
    std::this_thread::yield();
  }
  held.mayLeave.set_value();
  detaching.join();
  telling.join();
}

}  // namespace
