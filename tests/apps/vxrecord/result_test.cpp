#include "result.h"

#include <gtest/gtest.h>

namespace vxrecord {
namespace {

TEST(Json, HoldsAllFieldsInOrder) {
  RunResult result;
  result.file = "/a/b.mp4";
  result.isDone = true;
  result.frames = 3;
  result.dropped = 1;
  result.durationMs = 82;
  result.bytes = 4096;
  result.seconds = 0.25;
  EXPECT_EQ(asJson(result), R"({"file": "/a/b.mp4", "outcome": "done", "frames": 3, "dropped": 1, )"
                            R"("durationMs": 82, "bytes": 4096, "seconds": 0.250, "error": null})");
}

TEST(ExitStatus, IsDoneOnlyWithoutError) {
  RunResult result;
  EXPECT_EQ(exitStatusOf(result), ExitStatus::recordingFailed);
  result.isDone = true;
  EXPECT_EQ(exitStatusOf(result), ExitStatus::done);
  result.error = "the display broke off";
  EXPECT_EQ(exitStatusOf(result), ExitStatus::recordingFailed);
}

TEST(ReadableSize, PicksItsUnit) {
  EXPECT_EQ(readableSize(999), "999 B");
  EXPECT_EQ(readableSize(1500), "1.5 kB");
  EXPECT_EQ(readableSize(1234567), "1.2 MB");
  EXPECT_EQ(readableSize(12340000000), "12.34 GB");
}

}  // namespace
}  // namespace vxrecord
