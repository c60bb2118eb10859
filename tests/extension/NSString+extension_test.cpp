#include "VXVideoRecorder/NSString+extension.h"

#include <gtest/gtest.h>

using namespace vx;

namespace {

TEST(JSONValue, GivesArraysAndDictionaries) {
  EXPECT_EQ(JSONValue("[1,2]"), Object(NSArray{1, 2}));
  EXPECT_EQ(JSONValue(R"({"a":null})"), Object(NSDictionary{{"a", NSNull()}}));
}

TEST(JSONValue, IsAbsentForMalformedText) {
  for (const char* text : {"", "[1,2", "{]", "nonsense", "[1] 2", "[\"\xff\"]"}) {
    EXPECT_EQ(JSONValue(text), std::nullopt) << text;
  }
  EXPECT_EQ(JSONValue({}), std::nullopt);
}

TEST(JSONValue, IsAbsentForAnythingButAContainerAtTheTop) {
  for (const char* text : {"1", "\"text\"", "null", "true"}) {
    EXPECT_EQ(JSONValue(text), std::nullopt) << text;
  }
}

}  // namespace
