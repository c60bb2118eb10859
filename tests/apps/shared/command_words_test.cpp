#include "command_words.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace vxapps {
namespace {

TEST(Words, AskForJsonAlsoWhenTheyAreWrong) {
  EXPECT_TRUE(asksForJson({"--nonsense", "--json"}));
  EXPECT_FALSE(asksForJson({"--nonsense", "--", "--json"}));
  EXPECT_FALSE(asksForJson({"--jso", "json"}));
}

TEST(Words, AreQuoted) { EXPECT_EQ(quoted("a b"), "\"a b\""); }

TEST(WholeNumber, IsReadFromTheFirstLetterToTheLast) {
  EXPECT_EQ(wholeNumber<std::uint32_t>("4294967295"), 4294967295U);
  EXPECT_EQ(wholeNumber<int>("-7"), -7);
  EXPECT_EQ(wholeNumber<double>("2.5"), 2.5);
  for (const char* text : {"", " 1", "1 ", "1x", "+1", "0x10", "4294967296", "-1"}) {
    EXPECT_EQ(wholeNumber<std::uint32_t>(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace vxapps
