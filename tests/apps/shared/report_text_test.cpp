#include "report_text.h"

#include <gtest/gtest.h>

namespace vxapps {
namespace {

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

TEST(Utf8, KeepsEverythingElse) {
  EXPECT_EQ(asUtf8("a\"\\\n\xC3\xBC\xE5\x95"), "a\"\\\n\xC3\xBC\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(Json, AbsentTextIsNull) {
  EXPECT_EQ(jsonTextOrNull(std::nullopt), "null");
  EXPECT_EQ(jsonTextOrNull(""), "\"\"");
}

TEST(Words, CountOneApart) {
  EXPECT_EQ(counted(0, "frame", "frames"), "0 frames");
  EXPECT_EQ(counted(1, "frame", "frames"), "1 frame");
  EXPECT_EQ(counted(2, "frame", "frames"), "2 frames");
}

TEST(Words, TellSecondsToTheMillisecond) {
  EXPECT_EQ(secondsOf(0), "0.000 s");
  EXPECT_EQ(secondsOf(90061001), "90061.001 s");
}

TEST(Words, NameEveryState) {
  EXPECT_STREQ(nameOf(VXRecordingState::whole), "whole");
  EXPECT_STREQ(nameOf(VXRecordingState::interrupted), "interrupted");
  EXPECT_STREQ(nameOf(VXRecordingState::damaged), "damaged");
  EXPECT_STREQ(nameOf(VXRecordingState::recording), "recording");
  EXPECT_STREQ(nameOf(VXRecordingState::empty), "empty");
  EXPECT_STREQ(nameOf(VXRecordingState::foreign), "foreign");
}

}  // namespace
}  // namespace vxapps
