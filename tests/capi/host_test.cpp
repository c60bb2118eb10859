// What the C interface makes of the recorder's lines and of its notice.
#include "capi/host.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
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

/// A host that hears its lines by a function of the test's.
struct HearingHost {
  HearingHost() : host(callbacks()) {}
  vx_callbacks callbacks() {
    vx_callbacks hearing = VX_CALLBACKS_INIT;
    hearing.user_data = this;
    hearing.log = [](void* self, const char* message, std::int32_t) {
      static_cast<HearingHost*>(self)->onLine(message);
    };
    return hearing;
  }
  std::function<void(const std::string&)> onLine;
  Host host;
};

/// Where a callback stays until it is told to leave.
struct Stay {
  void enterAndWait() {
    entered.set_value();
    mayLeave.get_future().wait();
  }
  std::promise<void> entered, mayLeave;
};

TEST(HostsEnd, WaitsForALineThatIsBeingTold) {
  HearingHost hearing;
  Stay stay;
  std::atomic<bool> hasLeft = false;
  hearing.onLine = [&](const std::string&) {
    stay.enterAndWait();
    hasLeft = true;
  };
  std::thread telling([&] { hearing.host.writeLog("line", 2); });
  stay.entered.get_future().wait();
  std::thread detaching([&] {
    hearing.host.detach();
    EXPECT_TRUE(hasLeft);
  });
  while (!hearing.host.isDetached()) {  // from there on it waits
    std::this_thread::yield();
  }
  stay.mayLeave.set_value();
  detaching.join();
  telling.join();
}

TEST(HostsNotice, ReachesThoseWhoWaitThoughItsCallbackRaises) {
  vx_callbacks raising = VX_CALLBACKS_INIT;
  raising.done = [](void*, vx_result) { throw 42; };
  Host host(raising);
  EXPECT_NO_THROW(host.writeVideoFileDone());
  EXPECT_EQ(host.waitUntilDone(-1), VX_FAILED) << "nobody knows of a file";
  EXPECT_FALSE(host.isWithinCallback());
}

TEST(HostsCallbacks, AreKnownByTheirThread) {
  HearingHost hearing;
  Stay first, second;
  hearing.onLine = [&](const std::string& line) {
    (line == "first" ? first : second).enterAndWait();
    EXPECT_TRUE(hearing.host.isWithinCallback()) << line;
  };
  std::thread one([&] { hearing.host.writeLog("first", 2); });
  first.entered.get_future().wait();
  std::thread two([&] { hearing.host.writeLog("second", 2); });
  second.entered.get_future().wait();
  first.mayLeave.set_value();
  one.join();
  EXPECT_FALSE(hearing.host.isWithinCallback());
  second.mayLeave.set_value();
  two.join();
}

}  // namespace
