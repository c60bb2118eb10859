#include "VXVideoRecorder/platform/foundation/NSRegularExpression.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace vx {
namespace {

constexpr NSRange kNone{NSNotFound, 0};

NSRange firstMatch(std::string_view pattern, std::string_view text, unsigned options = 0) {
  const auto expression = NSRegularExpression::regularExpressionWithPattern(
      pattern, NSRegularExpressionOptions(options));
  return expression ? expression->rangeOfFirstMatchInString(text, {0, text.size()})
                    : NSRange{NSNotFound, 1};
}

TEST(RegularExpression, FindsTheFirstMatch) {
  EXPECT_EQ(firstMatch("b+", "abbcbbb"), (NSRange{1, 2}));
  EXPECT_EQ(firstMatch("x", "abc"), kNone);
  EXPECT_EQ(firstMatch("", "abc"), (NSRange{0, 0}));
  EXPECT_EQ(firstMatch("^$", ""), (NSRange{0, 0}));
}

TEST(RegularExpression, HeedsTheCaseUnlessToldOtherwise) {
  EXPECT_EQ(firstMatch("B", "abAB"), (NSRange{3, 1}));
  EXPECT_EQ(firstMatch("B", "abAB", NSRegularExpressionCaseInsensitive), (NSRange{1, 1}));
  EXPECT_EQ(firstMatch("Ä", "xä", NSRegularExpressionCaseInsensitive), (NSRange{1, 2}));
}

TEST(RegularExpression, CountsBytesOfWholeCharacters) {
  EXPECT_EQ(firstMatch(".", "😀"), (NSRange{0, 4}));
  EXPECT_EQ(firstMatch("b", "äb"), (NSRange{2, 1}));
}

TEST(RegularExpression, SearchesWithinTheRangeOnly) {
  const auto expression = NSRegularExpression::regularExpressionWithPattern("a+", {});
  EXPECT_EQ(expression->rangeOfFirstMatchInString("aabaaa", {2, 3}), (NSRange{3, 2}));
  EXPECT_EQ(expression->rangeOfFirstMatchInString("aab", {1, NSNotFound}), (NSRange{1, 1}));
  EXPECT_EQ(expression->rangeOfFirstMatchInString("aab", {3, 0}), kNone);
  EXPECT_EQ(expression->rangeOfFirstMatchInString("aab", {4, 1}), kNone);
}

TEST(RegularExpression, TakesTextThatIsNotUtf8ByItsBytes) {
  EXPECT_EQ(firstMatch("b+",
                       "a\xff"
                       "bb"),
            (NSRange{2, 2}));
  EXPECT_EQ(firstMatch("[^/]+_", "\xff\xfe_x"), (NSRange{0, 3}));
  EXPECT_EQ(firstMatch("b", "ab\xc3"), (NSRange{1, 1}));
}

TEST(RegularExpression, MatchesZeroBytes) {
  EXPECT_EQ(firstMatch("b", std::string_view("a\0b", 3)), (NSRange{2, 1}));
}

TEST(RegularExpression, ExplainsAMalformedPattern) {
  std::optional<NSError> error;
  EXPECT_FALSE(NSRegularExpression::regularExpressionWithPattern("a(b", {}, &error));
  ASSERT_TRUE(error);
  EXPECT_THAT(error->localizedDescription(), testing::HasSubstr("a(b"));
  EXPECT_FALSE(NSRegularExpression::regularExpressionWithPattern("\xff", {}, &error));
  EXPECT_FALSE(NSRegularExpression::regularExpressionWithPattern("(", {}));
}

TEST(RegularExpression, ComesToAnEndOnLongTexts) {
  const std::string longText(1000000, 'a');
  EXPECT_EQ(firstMatch("[^/]+_", longText + "_"), (NSRange{0, 1000001}));
  EXPECT_EQ(firstMatch("[^/]+_", longText), kNone);
  EXPECT_EQ(firstMatch("(a|b)*_", longText), kNone);
  EXPECT_EQ(firstMatch("((a+)+)+$", longText + "!"), kNone);
}

}  // namespace
}  // namespace vx
