#include "VXVideoRecorder/platform/foundation/NSJSONSerialization.h"

#include "platform/foundation/json_memory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cmath>
#include <limits>

using namespace vx;
using testing::HasSubstr;

namespace {

NSData dataOf(std::string_view text) { return NSData::dataWithBytes(text.data(), text.size()); }

std::optional<Object> parse(std::string_view text,
                            NSJSONReadingOptions options = NSJSONReadingNone) {
  return NSJSONSerialization::JSONObjectWithData(dataOf(text), options);
}

std::optional<Object> parseFragment(std::string_view text) {
  return parse(text, NSJSONReadingFragmentsAllowed);
}

std::string faultOf(std::string_view text) {
  std::optional<NSError> error;
  EXPECT_EQ(NSJSONSerialization::JSONObjectWithData(dataOf(text), NSJSONReadingNone, &error),
            std::nullopt);
  return error ? error->localizedDescription() : "";
}

std::string textOf(const NSData& data) {
  return {reinterpret_cast<const char*>(data.bytes()), data.length()};
}

std::string write(const Object& object, NSJSONWritingOptions options = NSJSONWritingCompact) {
  const auto data = NSJSONSerialization::dataWithJSONObject(object, options);
  return data ? textOf(*data) : "absent";
}

std::string raisedReason(const Object& object) {
  try {
    write(object);
  } catch (const NSException& exception) {
    EXPECT_EQ(exception.name(), NSInvalidArgumentException);
    return exception.reason();
  }
  return "nothing raised";
}

std::string nestedArrays(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

Object nested(std::size_t depth) {
  Object object = NSArray();
  for (std::size_t i = 1; i < depth; ++i) {
    object = NSArray{object};
  }
  return object;
}

// ---- reading -------------------------------------------------------------------------------

TEST(JSONMemory, OfNoBytesIsNone) {
  JSONMemory memory;
  EXPECT_EQ(memory.Malloc(0), nullptr);
  EXPECT_EQ(memory.Realloc(memory.Malloc(8), 8, 0), nullptr);
}

TEST(JSONReading, YieldsEveryKind) {
  const Object expected = NSDictionary{
      {"null", NSNull()}, {"yes", true},           {"no", false},
      {"text", "a\"\n"},  {"list", NSArray{1, 2}}, {"none", NSDictionary()},
  };
  EXPECT_EQ(parse(R"({"null":null, "yes":true, "no":false,
                      "text":"a\"\n", "list":[1,2], "none":{}})"),
            expected);
}

TEST(JSONReading, KeepsBooleansApartFromNumbers) {
  const Object list = *parse("[true, 1]");
  EXPECT_EQ(list.array()->objectAtIndex(0)->number()->kind(), NSNumber::Kind::boolean);
  EXPECT_EQ(list.array()->objectAtIndex(1)->number()->kind(), NSNumber::Kind::signedInteger);
}

TEST(JSONReading, KeepsIntegersOf64BitsExact) {
  const std::pair<const char*, NSNumber> cases[] = {
      {"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
      {"-9223372036854775808", std::numeric_limits<std::int64_t>::min()},
      {"18446744073709551615", std::numeric_limits<std::uint64_t>::max()},
      {"9007199254740993", std::int64_t{9007199254740993}},
  };
  for (const auto& [text, number] : cases) {
    const auto object = parseFragment(text);
    ASSERT_TRUE(object) << text;
    EXPECT_EQ(*object->number(), number) << text;
    EXPECT_NE(object->number()->kind(), NSNumber::Kind::real) << text;
  }
}

TEST(JSONReading, RoundsOtherNumbersToTheNearestFloatingPoint) {
  const std::pair<const char*, double> cases[] = {
      {"18446744073709551616", 18446744073709551616.0},
      {"-9223372036854775809", -9223372036854775808.0},
      {"1.0", 1.0},
      {"1e3", 1000.0},
      {"1E+2", 100.0},
      {"0.1", 0.1},
      {"2.2250738585072011e-308", 2.2250738585072011e-308},
      {"1.7976931348623157e308", std::numeric_limits<double>::max()},
      {"9007199254740993.0", 9007199254740992.0},
      {"5e-324", 5e-324},
      {"1e-400", 0.0},
      {"1e-99999", 0.0},
      {"-1e-99999999999", -0.0},
      {"0.00000000000000000000000000000000000000001e40", 0.1},
  };
  for (const auto& [text, number] : cases) {
    const auto object = parseFragment(text);
    ASSERT_TRUE(object) << text;
    EXPECT_EQ(object->number()->doubleValue(), number) << text;
    EXPECT_EQ(object->number()->kind(), NSNumber::Kind::real) << text;
  }
}

TEST(JSONReading, RefusesNumbersBeyondTheFloatingPointRange) {
  for (const std::string text : {"1e309", "-1e309", "1.8e308", "0.9e309", "1e99999999999"}) {
    EXPECT_EQ(parseFragment(text), std::nullopt) << text;
  }
  EXPECT_EQ(parseFragment(std::string(400, '9')), std::nullopt);
}

TEST(JSONReading, KeepsTheSignOfNegativeZero) {
  EXPECT_TRUE(std::signbit(parseFragment("-0")->number()->doubleValue()));
  EXPECT_TRUE(std::signbit(parseFragment("-0.0")->number()->doubleValue()));
}

TEST(JSONReading, TakesTheLastOfRepeatedKeys) {
  EXPECT_EQ(parse(R"({"a":1,"b":2,"a":3})"), Object(NSDictionary{{"a", 3}, {"b", 2}}));
}

TEST(JSONReading, DecodesEscapes) {
  EXPECT_EQ(parse(R"(["\u00e9\ud83d\ude00\/\u0000end"])"),
            Object(NSArray{std::string("\u00e9\U0001F600/\0end", 11)}));
  EXPECT_EQ(parse(R"({"\u0000":1})"), Object(NSDictionary{{std::string(1, '\0'), 1}}));
}

TEST(JSONReading, SkipsAByteOrderMark) {
  EXPECT_EQ(parse("\xEF\xBB\xBF[1]"), Object(NSArray{1}));
  EXPECT_EQ(parse("\xEF\xBB\xBF\xEF\xBB\xBF[1]"), std::nullopt);
  EXPECT_EQ(parse("\xEF\xBB\xBF"), std::nullopt);
}

TEST(JSONReading, WantsAContainerAtTheTop) {
  for (const char* text : {"1", "\"a\"", "null", "true"}) {
    EXPECT_EQ(parse(text), std::nullopt) << text;
    EXPECT_NE(parseFragment(text), std::nullopt) << text;
  }
  EXPECT_THAT(faultOf("1"), HasSubstr("must be an array or an object"));
}

TEST(JSONReading, RefusesMalformedTexts) {
  const std::string_view texts[] = {
      "",
      " ",
      "[",
      "]",
      "{",
      "[1,]",
      "[,1]",
      "[1 2]",
      "{\"a\"}",
      "{\"a\":}",
      "{a:1}",
      "{1:2}",
      "{\"a\":1,}",
      "['a']",
      "[01]",
      "[+1]",
      "[.5]",
      "[1.]",
      "[1e]",
      "[0x1]",
      "[- 1]",
      "[NaN]",
      "[Infinity]",
      "[nul]",
      "[True]",
      "[\"a]",
      "[\"\t\"]",
      "[\"\\x\"]",
      "[\"\\u12\"]",
      "[1] x",
      "[1][2]",
      "[1]]",
      "// c\n[1]",
      "[1 /**/]",
      "(1)",
      {"[1]\0", 4},
      {"[1]\0garbage", 11},
      {"[\"a\0b\"]", 7},
      {"\0[1]", 4},
      {"[1\0]", 4},
  };
  for (const std::string_view text : texts) {
    EXPECT_EQ(parse(text), std::nullopt) << text;
    EXPECT_NE(faultOf(text), "") << text;
  }
}

TEST(JSONReading, RefusesTextThatIsNotUnicode) {
  const std::string_view texts[] = {
      "[\"\xff\"]",     "[\"\xc0\x80\"]",  "[\"\xed\xa0\x80\"]", "[\"\xf4\x90\x80\x80\"]",
      "[\"\xc3\"]",     R"(["\ud800"])",   R"(["\udc00"])",      R"(["\ud800\u0041"])",
      R"(["\ud800x"])", R"({"\udfff":1})", "{\"\xff\":1}",       "\xff\xfe[\0",
      "[\xc2\xa0]",
  };
  for (const std::string_view text : texts) {
    EXPECT_EQ(parse(text), std::nullopt) << text;
  }
}

TEST(JSONReading, RefusesATextBeyondWhatTheReaderCounts) {
  constexpr std::size_t kTooLong = (std::size_t{1} << 32) + 1;
  void* zeros =
      ::mmap(nullptr, kTooLong, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(zeros, MAP_FAILED);
  std::optional<NSError> error;
  EXPECT_FALSE(NSJSONSerialization::JSONObjectWithData(
      NSData::dataWithBytesNoCopy(static_cast<const void*>(zeros), kTooLong), NSJSONReadingNone,
      &error));
  EXPECT_EQ(error->localizedDescription(), "The data is no JSON: it is too long.");
  ::munmap(zeros, kTooLong);
}

TEST(JSONReading, BoundsTheNesting) {
  constexpr std::size_t kMaximum = NSJSONSerialization::kMaximumDepth;
  EXPECT_NE(parse(nestedArrays(kMaximum)), std::nullopt);
  EXPECT_EQ(parse(nestedArrays(kMaximum + 1)), std::nullopt);
  EXPECT_EQ(parse(std::string(10'000'000, '[')), std::nullopt);
  EXPECT_THAT(faultOf(nestedArrays(kMaximum + 1)), HasSubstr("deeper than 512"));
}

TEST(JSONReading, TellsWhereItFailed) {
  std::optional<NSError> error;
  EXPECT_EQ(NSJSONSerialization::JSONObjectWithData(dataOf("[1,}"), NSJSONReadingNone, &error),
            std::nullopt);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), NSCocoaErrorDomain);
  EXPECT_EQ(error->code(), NSPropertyListReadCorruptError);
  EXPECT_THAT(error->localizedDescription(), HasSubstr("at byte 3"));
}

// ---- writing -------------------------------------------------------------------------------

TEST(JSONWriting, WritesEveryKindInOrder) {
  const Object object = NSDictionary{{"b", NSNull()},
                                     {"a", NSArray{true, false, 1, -2, 1.5, "t"}},
                                     {"empty", NSDictionary()},
                                     {"none", NSArray()}};
  EXPECT_EQ(write(object), R"({"b":null,"a":[true,false,1,-2,1.5,"t"],"empty":{},"none":[]})");
}

TEST(JSONWriting, IndentsWhenPretty) {
  const Object object = NSDictionary{{"a", NSArray{1, 2}}, {"b", NSDictionary{{"c", "d"}}}};
  EXPECT_EQ(write(object, NSJSONWritingPrettyPrinted),
            "{\n"
            "  \"a\": [\n"
            "    1,\n"
            "    2\n"
            "  ],\n"
            "  \"b\": {\n"
            "    \"c\": \"d\"\n"
            "  }\n"
            "}");
}

TEST(JSONWriting, EscapesWhatJSONWants) {
  EXPECT_EQ(write(NSArray{std::string("\"\\/\b\n\x01\0\u00e9", 9)}),
            "[\"\\\"\\\\/\\b\\n\\u0001\\u0000\u00e9\"]");
}

TEST(JSONWriting, WritesNumbersShortAndExact) {
  EXPECT_EQ(write(NSArray{1.0, 0.1, 1e300, -0.0, std::numeric_limits<std::uint64_t>::max(),
                          std::numeric_limits<std::int64_t>::min()}),
            "[1,0.1,1e+300,-0,18446744073709551615,-9223372036854775808]");
}

TEST(JSONWriting, RaisesForWhatJSONDoesNotHave) {
  EXPECT_EQ(raisedReason(NSArray{std::numeric_limits<double>::quiet_NaN()}),
            "Invalid number value (NaN) in JSON write");
  EXPECT_EQ(raisedReason(NSDictionary{{"a", -std::numeric_limits<double>::infinity()}}),
            "Invalid number value (infinite) in JSON write");
  EXPECT_EQ(raisedReason(NSArray{NSData()}), "Invalid type in JSON write (NSData)");
  EXPECT_EQ(raisedReason(NSArray{NSDate()}), "Invalid type in JSON write (NSDate)");
  EXPECT_EQ(raisedReason("text"), "Invalid top-level type in JSON write");
  EXPECT_EQ(raisedReason(NSNull()), "Invalid top-level type in JSON write");
}

TEST(JSONWriting, IsAbsentForTextThatIsNotUnicode) {
  std::optional<NSError> error;
  EXPECT_EQ(NSJSONSerialization::dataWithJSONObject(NSArray{"\xff"}, NSJSONWritingCompact, &error),
            std::nullopt);
  ASSERT_TRUE(error);
  EXPECT_THAT(error->localizedDescription(), HasSubstr("not valid Unicode"));
  EXPECT_EQ(write(NSDictionary{{"\xed\xa0\x80", 1}}), "absent");
}

TEST(JSONWriting, IsAbsentBeyondTheMaximumNesting) {
  constexpr std::size_t kMaximum = NSJSONSerialization::kMaximumDepth;
  EXPECT_EQ(write(nested(kMaximum)), nestedArrays(kMaximum));
  EXPECT_EQ(write(nested(kMaximum + 1)), "absent");
  EXPECT_EQ(write(nested(100'000)), "absent");
}

TEST(JSONWriting, TellsBeforehandWhatItCanWrite) {
  EXPECT_TRUE(NSJSONSerialization::isValidJSONObject(NSArray{1, "a", NSNull()}));
  EXPECT_FALSE(NSJSONSerialization::isValidJSONObject(1));
  EXPECT_FALSE(NSJSONSerialization::isValidJSONObject(NSArray{NSData()}));
  EXPECT_FALSE(NSJSONSerialization::isValidJSONObject(NSArray{"\xff"}));
  EXPECT_FALSE(NSJSONSerialization::isValidJSONObject(nested(1000)));
}

TEST(JSON, ReadsBackWhatItWrites) {
  const Object object = NSDictionary{
      {"numbers", NSArray{0.1, 1.0 / 3, 5e-324, 1.7976931348623157e308, 123456789012345678}},
      {"texts", NSArray{"", "\u00e9\U0001F600", std::string("\0\x1f\x7f", 3)}},
      {"", NSDictionary{{"nested", NSArray{NSNull(), true, NSArray()}}}}};
  for (const auto options : {NSJSONWritingCompact, NSJSONWritingPrettyPrinted}) {
    EXPECT_EQ(parse(write(object, options)), object);
  }
}

}  // namespace
