#include "VXVideoRecorder/platform/CoreFoundation.h"
#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace vx;

namespace {

constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr auto kInt32Min = std::numeric_limits<std::int32_t>::min();
constexpr auto kInt32Max = std::numeric_limits<std::int32_t>::max();
constexpr auto kUInt32Max = std::numeric_limits<std::uint32_t>::max();
constexpr auto kInt64Min = std::numeric_limits<std::int64_t>::min();
constexpr auto kInt64Max = std::numeric_limits<std::int64_t>::max();
constexpr auto kUInt64Max = std::numeric_limits<std::uint64_t>::max();

enum Plain : unsigned { kPlain = 0x42475241 };
enum class Scoped { one = 1 };

TEST(NSNumber, RemembersWhatItWasMadeFrom) {
  EXPECT_EQ(NSNumber(true).kind(), NSNumber::Kind::boolean);
  EXPECT_EQ(NSNumber('a').kind(), NSNumber::Kind::signedInteger);
  EXPECT_EQ(NSNumber(-1L).kind(), NSNumber::Kind::signedInteger);
  EXPECT_EQ(NSNumber(1u).kind(), NSNumber::Kind::unsignedInteger);
  EXPECT_EQ(NSNumber(kPlain).kind(), NSNumber::Kind::unsignedInteger);
  EXPECT_EQ(NSNumber(1.5f).kind(), NSNumber::Kind::real);
}

TEST(NSNumber, IsNotMadeFromPointersOrScopedEnumerations) {
  EXPECT_FALSE((std::is_constructible_v<NSNumber, const unsigned char*>));
  EXPECT_FALSE((std::is_constructible_v<NSNumber, Scoped>));
  EXPECT_FALSE((std::is_constructible_v<Object, const unsigned char*>));
  EXPECT_FALSE((std::is_constructible_v<NSDictionary::Entry, const char*, unsigned char*>));
}

struct Conversion {
  NSNumber number;
  std::int32_t asInt;
  std::uint32_t asUnsignedInt;
  std::int64_t asInteger;
  std::uint64_t asUnsignedLongLong;
};

TEST(NSNumber, ConvertsIntegersByTheirLowBitsAndRealsToTheNearestEnd) {
  const Conversion cases[] = {
      {true, 1, 1, 1, 1},
      {-1, -1, kUInt32Max, -1, kUInt64Max},
      {kInt64Max, -1, kUInt32Max, kInt64Max, kInt64Max},
      {kInt64Min, 0, 0, kInt64Min, std::uint64_t{1} << 63},
      {kUInt64Max, -1, kUInt32Max, -1, kUInt64Max},
      {0x1'8000'0000, kInt32Min, 0x8000'0000u, 0x1'8000'0000, 0x1'8000'0000},
      {3.9, 3, 3, 3, 3},
      {-3.9, -3, 0, -3, 0},
      {-0.9, 0, 0, 0, 0},
      {2147483647.5, kInt32Max, 2147483647u, 2147483647, 2147483647},
      {2147483648.0, kInt32Max, 2147483648u, 2147483648, 2147483648},
      {4294967295.5, kInt32Max, kUInt32Max, 4294967295, 4294967295},
      {4294967296.0, kInt32Max, kUInt32Max, 4294967296, 4294967296},
      {9223372036854775808.0, kInt32Max, kUInt32Max, kInt64Max, std::uint64_t{1} << 63},
      {-9223372036854775808.0, kInt32Min, 0, kInt64Min, 0},
      {18446744073709551616.0, kInt32Max, kUInt32Max, kInt64Max, kUInt64Max},
      {kInfinity, kInt32Max, kUInt32Max, kInt64Max, kUInt64Max},
      {-kInfinity, kInt32Min, 0, kInt64Min, 0},
      {kNotANumber, 0, 0, 0, 0},
  };
  for (const Conversion& wanted : cases) {
    SCOPED_TRACE(wanted.number.stringValue());
    EXPECT_EQ(wanted.number.intValue(), wanted.asInt);
    EXPECT_EQ(wanted.number.unsignedIntValue(), wanted.asUnsignedInt);
    EXPECT_EQ(wanted.number.integerValue(), wanted.asInteger);
    EXPECT_EQ(wanted.number.unsignedLongLongValue(), wanted.asUnsignedLongLong);
  }
}

TEST(NSNumber, IsTrueWhenNotZero) {
  EXPECT_FALSE(NSNumber(0).boolValue());
  EXPECT_FALSE(NSNumber(-0.0).boolValue());
  EXPECT_TRUE(NSNumber(0.1).boolValue());
  EXPECT_TRUE(NSNumber(std::int64_t{1} << 32).boolValue());
}

TEST(NSNumber, WritesShortDecimalText) {
  const std::pair<NSNumber, std::string> cases[] = {
      {true, "1"},
      {42, "42"},
      {kInt64Min, "-9223372036854775808"},
      {kUInt64Max, "18446744073709551615"},
      {1.0, "1"},
      {0.1, "0.1"},
      {-2.5, "-2.5"},
      {1.0 / 3, "0.3333333333333333"},
      {0.0001, "0.0001"},
      {0.00001, "1e-05"},
      {1e15, "1000000000000000"},
      {1e16, "10000000000000000"},
      {1e17, "1e+17"},
      {1e20, "1e+20"},
      {std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
      {std::numeric_limits<double>::denorm_min(), "5e-324"},
      {-0.0, "-0"},
      {kNotANumber, "nan"},
      {-kNotANumber, "nan"},
      {kInfinity, "inf"},
      {-kInfinity, "-inf"},
  };
  for (const auto& [number, text] : cases) {
    EXPECT_EQ(number.stringValue(), text);
  }
}

TEST(NSNumber, IsEqualByValueWhateverTheKind) {
  EXPECT_EQ(NSNumber(1), NSNumber(1.0));
  EXPECT_EQ(NSNumber(1), NSNumber(true));
  EXPECT_EQ(NSNumber(1u), NSNumber(true));
  EXPECT_EQ(NSNumber(0.0), NSNumber(false));
  EXPECT_EQ(NSNumber(kNotANumber), NSNumber(kNotANumber));
  EXPECT_EQ(NSNumber(9223372036854775808.0), NSNumber(std::uint64_t{1} << 63));
}

TEST(NSNumber, ComparesExactlyAcrossKinds) {
  EXPECT_NE(NSNumber(-1), NSNumber(kUInt64Max));
  EXPECT_NE(NSNumber(kInt64Max), NSNumber(9223372036854775808.0));
  EXPECT_NE(NSNumber(kUInt64Max), NSNumber(18446744073709551616.0));
  EXPECT_NE(NSNumber((std::int64_t{1} << 53) + 1), NSNumber(9007199254740992.0));
  EXPECT_NE(NSNumber(1), NSNumber(1.5));
  EXPECT_NE(NSNumber(0), NSNumber(kNotANumber));
  EXPECT_NE(NSNumber(kUInt64Max), NSNumber(kInfinity));
}

TEST(CFNumberGetValue, WritesTheTypeAndTellsWhetherTheValueSurvived) {
  std::int32_t narrow = 0;
  EXPECT_TRUE(CFNumberGetValue(NSNumber(-5), kCFNumberSInt32Type, &narrow));
  EXPECT_EQ(narrow, -5);
  EXPECT_TRUE(CFNumberGetValue(NSNumber(7.0), kCFNumberIntType, &narrow));
  EXPECT_EQ(narrow, 7);
  std::int64_t wide = 0;
  EXPECT_TRUE(CFNumberGetValue(NSNumber(kInt64Min), kCFNumberSInt64Type, &wide));
  EXPECT_EQ(wide, kInt64Min);
  double real = 0;
  EXPECT_TRUE(CFNumberGetValue(NSNumber(0.5), kCFNumberDoubleType, &real));
  EXPECT_EQ(real, 0.5);
}

TEST(CFNumberGetValue, WritesWhatRemainsOfAValueThatDidNotSurvive) {
  std::int32_t narrow = 0;
  EXPECT_FALSE(CFNumberGetValue(NSNumber(3.9), kCFNumberSInt32Type, &narrow));
  EXPECT_EQ(narrow, 3);
  EXPECT_FALSE(CFNumberGetValue(NSNumber(0x1'0000'0005), kCFNumberSInt32Type, &narrow));
  EXPECT_EQ(narrow, 5);
  std::int64_t wide = 0;
  EXPECT_FALSE(CFNumberGetValue(NSNumber(kUInt64Max), kCFNumberSInt64Type, &wide));
  EXPECT_EQ(wide, -1);
  double real = 0;
  EXPECT_FALSE(CFNumberGetValue(NSNumber(kInt64Max), kCFNumberDoubleType, &real));
  EXPECT_EQ(real, 9223372036854775808.0);
}

}  // namespace
