#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace vx;
using testing::MatchesRegex;

namespace {

TEST(Description, OfSimpleValuesIsTheirText) {
  EXPECT_EQ(Object("as \"it\" is\n").description(), "as \"it\" is\n");
  EXPECT_EQ(Object(1.5).description(), "1.5");
  EXPECT_EQ(Object(true).description(), "1");
  EXPECT_EQ(Object().description(), "<null>");
  EXPECT_EQ(Object(static_cast<const char*>(nullptr)).description(), "<null>");
}

TEST(Description, OfDataShowsItsFirstBytes) {
  EXPECT_EQ(Object(NSData::dataWithBytes("\x01\xff", 2)).description(),
            "{length = 2, bytes = 0x01ff}");
  const std::string longData(25, 'a');
  EXPECT_THAT(Object(NSData::dataWithBytes(longData.data(), longData.size())).description(),
              MatchesRegex("\\{length = 25, bytes = 0x(61)+ \\.\\.\\. \\}"));
}

TEST(Description, OfADateIsInUniversalTime) {
  using namespace std::chrono;
  const NSDate date{sys_days(year{2024} / 2 / 29) + 13h + 5min + 9s + 999ms};
  EXPECT_EQ(Object(date).description(), "2024-02-29 13:05:09 +0000");
  const NSDate early{sys_time<nanoseconds>(-1ns)};
  EXPECT_EQ(Object(early).description(), "1969-12-31 23:59:59 +0000");
}

TEST(Description, OfContainersQuotesWhereNeededAndIndents) {
  const Object object = NSDictionary{{"list", NSArray{1, "plain", "two words", NSNull(), -1}},
                                     {"empty key?", NSDictionary()}};
  EXPECT_EQ(object.description(),
            "{\n"
            "    list = (\n"
            "        1,\n"
            "        plain,\n"
            "        \"two words\",\n"
            "        \"<null>\",\n"
            "        \"-1\"\n"
            "    );\n"
            "    \"empty key?\" = {\n"
            "    };\n"
            "}");
}

TEST(Description, OfAnEmptyTextInAContainerIsQuoted) {
  EXPECT_EQ(Object(NSArray{""}).description(), "(\n    \"\"\n)");
}

TEST(Description, EscapesWhatWouldEndAQuotedText) {
  EXPECT_EQ(Object(NSArray{"a\"b\\c\n\x01"}).description(), "(\n    \"a\\\"b\\\\c\\n\\001\"\n)");
}

TEST(DefaultObjectDescription, NamesClassAndAddress) {
  int object = 0;
  EXPECT_THAT(defaultObjectDescription("Recorder", &object),
              MatchesRegex("<Recorder: 0x[0-9a-f]+>"));
  EXPECT_EQ(defaultObjectDescription("Recorder", nullptr), "<Recorder: 0x0>");
}

TEST(DescriptionOfList, QuotesOneTextALine) {
  EXPECT_EQ(descriptionOfList({"a", "b c"}), "(\n    \"a\",\n    \"b c\"\n)");
  EXPECT_EQ(descriptionOfList({}), "(\n)");
}

}  // namespace
