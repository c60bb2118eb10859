#include "platform/foundation/property_list.h"

#include <gtest/gtest.h>

#include <string>

using namespace vx;

namespace {

std::string propertyList(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n" +
         body + "\n</plist>\n";
}

std::string repeated(const std::string& text, int times) {
  std::string out;
  for (int i = 0; i < times; ++i) {
    out += text;
  }
  return out;
}

std::string nestedArrays(int depth) {
  return propertyList("<dict><key>a</key>" + repeated("<array>", depth) +
                      repeated("</array>", depth) + "</dict>");
}

TEST(PropertyList, YieldsEveryKind) {
  using namespace std::chrono;
  const auto dictionary = dictionaryFromPropertyList(
      propertyList("<dict><key>text</key><string>a &amp; \u00e9</string>"
                   "<key>empty</key><string></string>"
                   "<key>integer</key><integer>-5</integer><key>real</key><real>1.5</real>"
                   "<key>yes</key><true/><key>no</key><false/>"
                   "<key>data</key><data>AQI=</data>"
                   "<key>date</key><date>2024-02-29T13:05:09Z</date>"
                   "<key>list</key><array><string>a</string><dict/></array></dict>"));
  const NSDictionary expected{
      {"text", "a & \u00e9"},
      {"empty", ""},
      {"integer", -5},
      {"real", 1.5},
      {"yes", true},
      {"no", false},
      {"data", NSData::dataWithBytes("\x01\x02", 2)},
      {"date", NSDate{sys_days(year{2024} / 2 / 29) + 13h + 5min + 9s}},
      {"list", NSArray{"a", NSDictionary()}},
  };
  EXPECT_EQ(dictionary, expected);
}

TEST(PropertyList, IsAbsentForMalformedText) {
  const std::string whole = propertyList("<dict><key>a</key><string>b</string></dict>");
  ASSERT_NE(dictionaryFromPropertyList(whole), std::nullopt);
  const std::string texts[] = {
      "",
      "no XML at all",
      "bplist00",
      propertyList("<string>text at the top</string>"),
      propertyList("<array/>"),
      propertyList("<dict><key>a</key><unknown/></dict>"),
      propertyList("<dict><key>a</key><string>\xff</string></dict>"),
      propertyList("<dict><string>no key</string></dict>"),
      whole.substr(0, whole.find("</dict>")),
      whole + std::string(1, '\0'),
  };
  for (const std::string& text : texts) {
    EXPECT_EQ(dictionaryFromPropertyList(text), std::nullopt) << text;
  }
}

TEST(PropertyList, SurvivesBeingCutAnywhere) {
  const std::string whole =
      propertyList("<dict><key>a</key><array><string>b</string></array></dict>");
  for (std::size_t length = 0; length < whole.find("</dict>"); ++length) {
    EXPECT_EQ(dictionaryFromPropertyList(whole.substr(0, length)), std::nullopt) << length;
  }
}

TEST(PropertyList, BoundsTheNesting) {
  EXPECT_NE(dictionaryFromPropertyList(nestedArrays(60)), std::nullopt);
  EXPECT_EQ(dictionaryFromPropertyList(nestedArrays(65)), std::nullopt);
  EXPECT_EQ(dictionaryFromPropertyList(nestedArrays(4000)), std::nullopt);
  EXPECT_EQ(dictionaryFromPropertyList(nestedArrays(100'000)), std::nullopt);
}

TEST(PropertyList, BoundsTheNumberOfContainers) {
  const auto siblings = [](const std::string& each, int times) {
    return propertyList("<dict><key>a</key><array>" + repeated(each, times) + "</array></dict>");
  };
  for (const char* each : {"<array/>", "<dict/>"}) {
    EXPECT_NE(dictionaryFromPropertyList(siblings(each, 4094)), std::nullopt) << each;
    EXPECT_EQ(dictionaryFromPropertyList(siblings(each, 4095)), std::nullopt) << each;
  }
}

}  // namespace
