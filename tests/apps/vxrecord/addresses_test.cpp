#include <gtest/gtest.h>

#include "input.h"
#include "test_input.h"
#include "x11_address.h"

namespace vxrecord {
namespace {

TEST(DisplayAddress, WholeScreen) {
  const DisplayAddress address = parseDisplayAddress(":7");
  EXPECT_EQ(address.display, ":7");
  EXPECT_FALSE(address.area);
  EXPECT_EQ(address.framesPerSecond, 60u);
}

TEST(DisplayAddress, PartOfARemoteScreen) {
  const DisplayAddress address = parseDisplayAddress("host:10.1+20,30,640x480");
  EXPECT_EQ(address.display, "host:10.1");
  ASSERT_TRUE(address.area);
  EXPECT_EQ(address.area->x, 20u);
  EXPECT_EQ(address.area->y, 30u);
  EXPECT_EQ(address.area->width, 640u);
  EXPECT_EQ(address.area->height, 480u);
}

TEST(DisplayAddress, RateStandsBehindAtSign) {
  EXPECT_EQ(parseDisplayAddress(":0@15").framesPerSecond, 15u);
  const DisplayAddress part = parseDisplayAddress(":0+1,2,3x4@120");
  EXPECT_EQ(part.framesPerSecond, 120u);
  ASSERT_TRUE(part.area);
  EXPECT_EQ(part.area->height, 4u);
}

TEST(DisplayAddress, AnythingElseIsRefused) {
  for (const char* text : {"", "0", ":0+", ":0+1,2", ":0+1,2,3", ":0+1,2,0x4", ":0+1,2,3x0",
                           ":0+1,2,3x4x", ":0+-1,2,3x4", ":0+1,2,3x4 ", ":0+40000,0,1x1", ":0@",
                           ":0@0", ":0@1001", ":0@x", ":0@30+1,2,3x4"}) {
    EXPECT_THROW(parseDisplayAddress(text), InputError) << text;
  }
}

TEST(TestPictureWish, RateIsAFraction) {
  const auto expectRate = [](const char* text, std::int64_t numerator, std::int64_t denominator) {
    const TestPictureWish wish = parseTestPicture(text);
    EXPECT_EQ(wish.width, 1280);
    EXPECT_EQ(wish.height, 720);
    EXPECT_EQ(wish.rateNumerator, numerator) << text;
    EXPECT_EQ(wish.rateDenominator, denominator) << text;
  };
  expectRate("1280x720@30", 30, 1);
  expectRate("1280x720@29.97", 2997, 100);
  expectRate("1280x720@30000/1001", 30000, 1001);
  expectRate("1280x720@0.5", 1, 2);
}

TEST(TestPictureWish, MayBeAsLargeAndFastAsItIsSaidToBe) {
  const TestPictureWish wish = parseTestPicture("16384x16384@1000");
  EXPECT_EQ(wish.width, 16384);
  EXPECT_EQ(wish.height, 16384);
  EXPECT_EQ(wish.rateNumerator, 1000);
}

TEST(TestPictureWish, NamedMistakesAreRefused) {
  for (const char* text :
       {"", "1280x720", "1280@30", "x720@30", "1280x720@", "1280x720@1e9", "1280x720@30/0",
        "1280x720@inf", "1280x720@1001/1", "16385x1@1", "1 x1@1"}) {
    EXPECT_THROW(parseTestPicture(text), InputError) << text;
  }
}

}  // namespace
}  // namespace vxrecord
