#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <gtest/gtest.h>

using namespace vx;

namespace {

constexpr int kDeep = 200000;

Object nestedArrays(int depth, Object innermost) {
  Object object = std::move(innermost);
  for (int i = 0; i < depth; ++i) {
    object = NSArray{object};
  }
  return object;
}

Object nestedDictionaries(int depth) {
  Object object;
  for (int i = 0; i < depth; ++i) {
    object = NSDictionary{{"a", object}};
  }
  return object;
}

TEST(Equality, IsByKindAndContent) {
  const Object values[] = {
      NSNull(),
      1,
      2,
      "1",
      "",
      NSData::dataWithBytes("1", 1),
      NSDate(),
      NSArray(),
      NSArray{1},
      NSArray{1, 2},
      NSArray{2, 1},
      NSDictionary(),
      NSDictionary{{"a", 1}},
      NSDictionary{{"b", 1}},
      NSDictionary{{"a", NSNull()}},
  };
  for (const Object& a : values) {
    for (const Object& b : values) {
      EXPECT_EQ(a == b, &a == &b) << a.description() << " and " << b.description();
    }
  }
}

TEST(Equality, IgnoresTheOrderOfKeys) {
  EXPECT_EQ(NSDictionary({{"a", 1}, {"b", 2}}), NSDictionary({{"b", 2}, {"a", 1}}));
}

TEST(Equality, OfArraysIsThatOfTheirElementsInOrder) {
  EXPECT_TRUE(NSArray({1, "a", NSNull()}) == NSArray({1, "a", NSNull()}));
  EXPECT_FALSE(NSArray({1, "a"}) == NSArray({"a", 1}));
  EXPECT_FALSE(NSArray({1, "a"}) == NSArray({1}));
  const NSArray copied{1, 2};
  EXPECT_TRUE(copied == NSArray(copied));
  EXPECT_TRUE(NSArray() == NSArray());
}

TEST(Equality, ReachesIntoNestedContainers) {
  const auto make = [](int value) {
    return NSDictionary{{"list", NSArray{NSDictionary{{"value", value}}}}};
  };
  EXPECT_EQ(make(1), make(1));
  EXPECT_NE(make(1), make(2));
}

TEST(Nesting, OfAnyDepthCanBeComparedDescribedAndDestroyed) {
  const Object arrays = nestedArrays(kDeep, 1);
  EXPECT_EQ(arrays, nestedArrays(kDeep, 1));
  EXPECT_NE(arrays, nestedArrays(kDeep, 2));
  EXPECT_FALSE(arrays.description().empty());
  const Object dictionaries = nestedDictionaries(kDeep);
  EXPECT_EQ(dictionaries, nestedDictionaries(kDeep));
  EXPECT_FALSE(dictionaries.description().empty());
}

TEST(Nesting, KeepsWhatIsStillReferredTo) {
  Object inner = nestedArrays(10, "innermost");
  { const Object outer = nestedArrays(10, inner); }
  EXPECT_EQ(inner, nestedArrays(10, "innermost"));
}

TEST(Nesting, DestroysContainersThatADeallocatorLetsGo) {
  auto held = std::make_unique<Object>(nestedArrays(100, 1));
  char byte = 0;
  bool freed = false;
  {
    const NSArray array{NSData::dataWithBytesNoCopy(&byte, 1, [&](void*, std::size_t) {
      held.reset();
      freed = true;
    })};
  }
  EXPECT_TRUE(freed);
}

}  // namespace
