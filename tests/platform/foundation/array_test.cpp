#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <gtest/gtest.h>

using namespace vx;

namespace {

TEST(NSArray, KeepsItsOrder) {
  const NSArray array{1, "two", NSNull()};
  ASSERT_EQ(array.count(), 3u);
  EXPECT_EQ(*array.objectAtIndex(0), Object(1));
  EXPECT_EQ(*array.objectAtIndex(1), Object("two"));
  EXPECT_TRUE(array.objectAtIndex(2)->isNull());
}

TEST(NSArray, GivesNullOutsideItsBounds) {
  EXPECT_EQ(NSArray().objectAtIndex(0), nullptr);
  EXPECT_EQ(NSArray({1}).objectAtIndex(1), nullptr);
}

TEST(NSArray, CanBeWalkedWhenEmpty) {
  for (const Object& object : NSArray()) {
    FAIL() << object.description();
  }
}

TEST(NSArray, SharesItsElementsWithCopies) {
  const NSArray array{1, 2};
  const NSArray copy = array;
  EXPECT_EQ(copy.begin(), array.begin());
}

TEST(NSArray, OutlivesTheOneItWasCopiedFrom) {
  NSArray copy;
  {
    const NSArray array{std::string(100, 'x')};
    copy = array;
  }
  EXPECT_EQ(*copy.objectAtIndex(0)->string(), std::string(100, 'x'));
}

TEST(NSArray, AssignsToItself) {
  NSArray array{1};
  const NSArray& same = array;
  array = same;
  EXPECT_EQ(array.count(), 1u);
}

}  // namespace
