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

TEST(Json, TextsAreEscaped) {
  EXPECT_EQ(jsonText("a\"b\\c\n\x01"), R"("a\"b\\c\n\u0001")");
  EXPECT_EQ(jsonText("\xC3\xBC \xE5\xBD\x95 \xF0\x9F\x8E\xAC"),
            "\"\xC3\xBC \xE5\xBD\x95 \xF0\x9F\x8E\xAC\"");
}

TEST(Json, BytesThatAreNoUtf8AreReplaced) {
  const std::string bad = "\xEF\xBF\xBD";
  EXPECT_EQ(jsonText("a\xFF"
                     "b"),
            "\"a" + bad + "b\"");
  EXPECT_EQ(jsonText("\xC3"), "\"" + bad + "\"");
  EXPECT_EQ(jsonText("\xED\xA0\x80"), "\"" + bad + bad + bad + "\"");
  EXPECT_EQ(jsonText("\xC0\xAF"), "\"" + bad + bad + "\"");
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
