#include "VXVideoRecorder/NSDictionary+extension.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>

using namespace vx;

namespace {

// One value under the key "value", and what every getter answers for it. Defaults below are values
// that no conversion yields.
constexpr std::int32_t kIntDefault = -77;
constexpr std::uint32_t kUnsignedDefault = 77;
const std::string kStringDefault = "default";

enum class Bool { isFalse, isTrue, isDefault };

struct Case {
  std::string what;
  NSDictionary dictionary;
  Bool boolean;
  std::int32_t integer;
  std::optional<std::uint32_t> unsignedInteger;  // absent: raises
  std::string string;
};

Case of(std::string what, Object value, Bool boolean, std::int32_t integer,
        std::optional<std::uint32_t> unsignedInteger, std::string string) {
  return {std::move(what),  {{"value", std::move(value)}}, boolean, integer, unsignedInteger,
          std::move(string)};
}

Case isDefaultFor(std::string what, NSDictionary dictionary) {
  return {std::move(what), std::move(dictionary), Bool::isDefault,
          kIntDefault,     kUnsignedDefault,      kStringDefault};
}

class Getters : public testing::TestWithParam<Case> {};

TEST_P(Getters, BoolValue) {
  const bool whenFalse = boolValueForKey(GetParam().dictionary, "value", false);
  const bool whenTrue = boolValueForKey(GetParam().dictionary, "value", true);
  EXPECT_EQ(whenFalse, GetParam().boolean == Bool::isTrue);
  EXPECT_EQ(whenTrue, GetParam().boolean != Bool::isFalse);
}

TEST_P(Getters, IntValue) {
  EXPECT_EQ(intValueForKey(GetParam().dictionary, "value", kIntDefault), GetParam().integer);
}

TEST_P(Getters, UnsignedIntValue) {
  const auto get = [] {
    return unsignedIntValueForKey(GetParam().dictionary, "value", kUnsignedDefault);
  };
  if (GetParam().unsignedInteger) {
    EXPECT_EQ(get(), *GetParam().unsignedInteger);
  } else {
    EXPECT_THROW(get(), NSException);
  }
}

TEST_P(Getters, StringValue) {
  EXPECT_EQ(stringValueForKey(GetParam().dictionary, "value", kStringDefault), GetParam().string);
}

std::string nameOfCase(const testing::TestParamInfo<Case>& info) { return info.param.what; }

INSTANTIATE_TEST_SUITE_P(
    Numbers, Getters,
    testing::Values(of("zero", 0, Bool::isFalse, 0, 0u, "0"),
                    of("one", 1, Bool::isTrue, 1, 1u, "1"),
                    of("minusOne", -1, Bool::isTrue, -1, 0xFFFFFFFFu, "-1"),
                    of("booleanTrue", true, Bool::isTrue, 1, 1u, "1"),
                    of("booleanFalse", false, Bool::isFalse, 0, 0u, "0"),
                    of("highUnsigned", 0xFFFFFFFFu, Bool::isTrue, -1, 0xFFFFFFFFu, "4294967295"),
                    of("beyond32Bits", 0x1'0000'0005, Bool::isTrue, 5, 5u, "4294967301"),
                    of("fraction", 3.9, Bool::isTrue, 3, 3u, "3.9"),
                    of("smallFraction", 0.25, Bool::isTrue, 0, 0u, "0.25"),
                    of("negativeFraction", -3.9, Bool::isTrue, -3, 0u, "-3.9"),
                    of("hugeReal", 1e30, Bool::isTrue, 2147483647, 0xFFFFFFFFu, "1e+30"),
                    of("notANumber", std::numeric_limits<double>::quiet_NaN(), Bool::isTrue, 0, 0u,
                       "nan")),
    nameOfCase);

INSTANTIATE_TEST_SUITE_P(Strings, Getters,
                         testing::Values(of("yes", "yes", Bool::isTrue, 0, {}, "yes"),
                                         of("True", "True", Bool::isTrue, 0, {}, "True"),
                                         of("no", "no", Bool::isFalse, 0, {}, "no"),
                                         of("zero", "0", Bool::isFalse, 0, {}, "0"),
                                         of("empty", "", Bool::isFalse, 0, {}, ""),
                                         of("digits", " 12abc", Bool::isTrue, 12, {}, " 12abc"),
                                         of("marker", "(null)", Bool::isFalse, 0, {},
                                            kStringDefault)),
                         nameOfCase);

INSTANTIATE_TEST_SUITE_P(
    OtherKinds, Getters,
    testing::Values(isDefaultFor("missing", {}), isDefaultFor("null", {{"value", NSNull()}}),
                    isDefaultFor("array", {{"value", NSArray{1, 2}}}),
                    isDefaultFor("dictionary", {{"value", NSDictionary{{"a", 1}}}}),
                    isDefaultFor("data", {{"value", NSData::dataWithBytes("1", 1)}}),
                    isDefaultFor("date", {{"value", NSDate()}})),
    nameOfCase);

// ---- short forms and defaults ----------------------------------------------------------------

TEST(ShortGetters, GiveZeroFalseAndEmptyForAMissingKey) {
  EXPECT_FALSE(boolValueForKey({}, "missing"));
  EXPECT_EQ(intValueForKey({}, "missing"), 0);
  EXPECT_EQ(unsignedIntValueForKey({}, "missing"), 0u);
  EXPECT_EQ(stringValueForKey({}, "missing"), "");
}

TEST(StringValue, MayHaveAnAbsentDefault) {
  EXPECT_EQ(stringValueForKey({{"a", "(null)"}}, "a", std::nullopt), std::nullopt);
  EXPECT_EQ(stringValueForKey({{"a", 42}}, "a", std::nullopt), "42");
}

TEST(UnsignedIntValue, OfATextNamesTheOperationThatTextsLack) {
  try {
    unsignedIntValueForKey({{"width", "1920"}}, "width");
    FAIL() << "nothing was raised";
  } catch (const NSException& exception) {
    EXPECT_EQ(exception.name(), NSInvalidArgumentException);
    EXPECT_THAT(exception.reason(),
                testing::MatchesRegex("-\\[NSString unsignedIntValue\\]: unrecognized selector "
                                      "sent to instance 0x[0-9a-f]+"));
  }
}

// ---- texts as numbers ------------------------------------------------------------------------

TEST(IntValue, OfTextsFollowsThePlatformsRules) {
  const std::pair<std::string, std::int32_t> cases[] = {
      {"7", 7},
      {"+7", 7},
      {"-7", -7},
      {" \t\n-7 apples", -7},
      {"\u00a0\u30007", 7},
      {"007", 7},
      {"3.9", 3},
      {"1e3", 1},
      {"0x10", 0},
      {"--7", 0},
      {"+-7", 0},
      {"- 7", 0},
      {"seven", 0},
      {"-", 0},
      {"2147483647", 2147483647},
      {"2147483648", 2147483647},
      {"-2147483648", -2147483647 - 1},
      {"-2147483649", -2147483647 - 1},
      {"99999999999999999999999", 2147483647},
      {"-99999999999999999999999", -2147483647 - 1},
      {std::string("1\0002", 3), 1},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(intValueForKey({{"a", text}}, "a"), expected) << text;
  }
}

TEST(IntValue, SkipsEveryWhiteSpaceThatUnicodeKnows) {
  for (const char* space :
       {" ",      "\t",     "\n",     "\v",     "\f",     "\r",     "\u0085", "\u00a0", "\u1680",
        "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007", "\u2008",
        "\u2009", "\u200a", "\u2028", "\u2029", "\u202f", "\u205f", "\u3000"}) {
    EXPECT_EQ(intValueForKey({{"key", std::string(space) + space + "7"}}, "key"), 7) << space;
  }
  EXPECT_EQ(intValueForKey({{"key", "\u200b7"}}, "key"), 0) << "has no width and is no space";
}

TEST(BoolValue, OfTextsFollowsThePlatformsRules) {
  for (const char* text : {"Y", "y", "T", "t", "1", "9", "Yellow", "  yes", "\n\tTrue", "-1", "+1",
                           "001", "-00y", "0t", "1no"}) {
    EXPECT_TRUE(boolValueForKey({{"a", text}}, "a")) << text;
  }
  for (const char* text :
       {"", " ", "0", "000", "-", "+0", "no", "false", "on", "0.5", "--1", "0 1", "x1", "(null)"}) {
    EXPECT_FALSE(boolValueForKey({{"a", text}}, "a", true)) << text;
  }
}

// ---- key paths -------------------------------------------------------------------------------

TEST(ObjectForKeyPath, WalksDictionaries) {
  const NSDictionary dictionary{{"a", NSDictionary{{"b", NSDictionary{{"c", 5}}}}}};
  EXPECT_EQ(intValueForKey(dictionary, "a.b.c"), 5);
  EXPECT_NE(objectForKeyPath(dictionary, "a.b")->dictionary(), nullptr);
}

TEST(ObjectForKeyPath, PrefersTheWholePathAsAKey) {
  const NSDictionary dictionary{{"a", NSDictionary{{"b", 5}}}, {"a.b", 6}};
  EXPECT_EQ(intValueForKey(dictionary, "a.b"), 6);
}

TEST(ObjectForKeyPath, TakesANullMarkerUnderTheWholePathAsAValue) {
  const NSDictionary dictionary{{"a", NSDictionary{{"b", 5}}}, {"a.b", NSNull()}};
  ASSERT_NE(objectForKeyPath(dictionary, "a.b"), nullptr);
  EXPECT_TRUE(objectForKeyPath(dictionary, "a.b")->isNull());
  EXPECT_EQ(intValueForKey(dictionary, "a.b", 9), 9);
}

TEST(ObjectForKeyPath, FindsADottedKeyOnlyAtTheTop) {
  const NSDictionary dictionary{{"a", NSDictionary{{"b.c", 5}}}};
  EXPECT_EQ(objectForKeyPath(dictionary, "a.b.c"), nullptr);
}

TEST(ObjectForKeyPath, KeepsEmptyComponents) {
  const NSDictionary dictionary{{"a", NSDictionary{{"", 1}}},
                                {"", NSDictionary{{"a", 2}, {"", NSDictionary{{"", 3}}}}}};
  EXPECT_EQ(intValueForKey(dictionary, "a."), 1);
  EXPECT_EQ(intValueForKey(dictionary, ".a"), 2);
  EXPECT_EQ(intValueForKey(dictionary, ".."), 3);
  EXPECT_EQ(objectForKeyPath(dictionary, "a.."), nullptr);
}

TEST(ObjectForKeyPath, IsAbsentForAnEmptyPathEvenWithAnEmptyKey) {
  EXPECT_EQ(objectForKeyPath({{"", 1}}, ""), nullptr);
}

TEST(ObjectForKeyPath, EndsAtWhatHasNoKeys) {
  const NSDictionary dictionary{{"array", NSArray{NSDictionary{{"b", 1}}}},
                                {"null", NSNull()},
                                {"number", 1},
                                {"text", "abc"}};
  for (const char* path : {"array.0.b", "array.0", "null.b", "number.b", "text.b", "missing.b"}) {
    EXPECT_EQ(objectForKeyPath(dictionary, path), nullptr) << path;
  }
}

TEST(ObjectForKeyPath, GivesTheLastComponentsNullMarker) {
  const NSDictionary dictionary{{"a", NSDictionary{{"b", NSNull()}}}};
  ASSERT_NE(objectForKeyPath(dictionary, "a.b"), nullptr);
  EXPECT_TRUE(objectForKeyPath(dictionary, "a.b")->isNull());
}

// ---- JSON ------------------------------------------------------------------------------------

TEST(JSONString, IsCompactOrPretty) {
  const NSDictionary dictionary{{"a", NSArray{1, true}}};
  EXPECT_EQ(jsonStringWithPrettyPrint(dictionary, false), R"({"a":[1,true]})");
  EXPECT_EQ(jsonStringWithPrettyPrint(dictionary, true), "{\n  \"a\": [\n    1,\n    true\n  ]\n}");
}

TEST(JSONString, OfAnEmptyDictionaryIsTwoBraces) {
  EXPECT_EQ(jsonStringWithPrettyPrint({}, false), "{}");
}

TEST(JSONString, IsTwoBracesWhenTheDictionaryCannotBeWritten) {
  const NSDictionary dictionary{{"a", "\xff"}};
  EXPECT_EQ(jsonStringWithPrettyPrint(dictionary, false), "{}");
  EXPECT_EQ(jsonDataWithPrettyPrint(dictionary, false), std::nullopt);
}

TEST(JSONString, RaisesForValuesThatJSONDoesNotHave) {
  using Limits = std::numeric_limits<double>;
  for (const Object& value : std::initializer_list<Object>{
           NSData(), NSDate{}, Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity()}) {
    for (const NSDictionary& dictionary :
         {NSDictionary{{"a", value}}, NSDictionary{{"a", NSArray{NSDictionary{{"b", value}}}}}}) {
      try {
        jsonStringWithPrettyPrint(dictionary, false);
        ADD_FAILURE() << value.description() << " was written";
      } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), NSInvalidArgumentException);
      }
      EXPECT_THROW((void)jsonDataWithPrettyPrint(dictionary, true), NSException);
    }
  }
}

TEST(JSONData, IsTheTextInUTF8) {
  const std::optional<NSData> data = jsonDataWithPrettyPrint({{"\u00e9", 1}}, false);
  ASSERT_TRUE(data);
  const std::string_view expected = "{\"\u00e9\":1}";
  EXPECT_EQ(*data, NSData::dataWithBytes(expected.data(), expected.size()));
}

}  // namespace
