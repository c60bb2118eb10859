#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

using namespace vx;
using testing::ElementsAre;

namespace {

// Enough entries for the index, written in an order that is not the keys' own.
NSMutableDictionary dictionaryOfNumbers(int count) {
  NSMutableDictionary dictionary;
  for (int i = 0; i < count; ++i) {
    dictionary.setObject(i, "key" + std::to_string(i * 7919 % count));
  }
  return dictionary;
}

TEST(NSDictionary, FindsValuesByExactKey) {
  const NSDictionary dictionary{{"width", 1920u}, {"", "empty"}};
  EXPECT_EQ(*dictionary.objectForKey("width"), Object(1920));
  EXPECT_EQ(*dictionary.objectForKey(""), Object("empty"));
  EXPECT_EQ(dictionary.objectForKey("Width"), nullptr);
  EXPECT_EQ(dictionary.objectForKey("widt"), nullptr);
}

TEST(NSDictionary, FindsKeysWithAnEmbeddedZeroByte) {
  const std::string key("a\0b", 3);
  const NSDictionary dictionary{{key, 1}};
  EXPECT_NE(dictionary.objectForKey(key), nullptr);
  EXPECT_EQ(dictionary.objectForKey("a"), nullptr);
}

TEST(NSDictionary, KeepsTheFirstPlaceAndTheLastValueOfARepeatedKey) {
  const NSDictionary dictionary{{"a", 1}, {"b", 2}, {"a", 3}, {"c", 4}, {"a", 5}};
  EXPECT_THAT(dictionary.allKeys(), ElementsAre("a", "b", "c"));
  EXPECT_EQ(*dictionary.objectForKey("a"), Object(5));
}

TEST(NSDictionary, KeepsTheFirstPlaceAndTheLastValueAmongManyKeys) {
  std::vector<NSDictionary::Entry> entries;
  for (int i = 0; i < 100; ++i) {
    entries.emplace_back("key" + std::to_string(i % 40), i);
  }
  const NSDictionary dictionary(std::move(entries));
  ASSERT_EQ(dictionary.count(), 40u);
  EXPECT_EQ(dictionary.begin()->first, "key0");
  for (int i = 0; i < 40; ++i) {
    const int last = i < 20 ? 80 + i : 40 + i;
    EXPECT_EQ(*dictionary.objectForKey("key" + std::to_string(i)), Object(last));
  }
}

TEST(NSDictionary, KeepsTheOrderOfManyKeysBehindARepeatedOne) {
  std::vector<NSDictionary::Entry> entries = {{"key0", 0}, {"key0", "again"}};
  for (int i = 1; i < 100; ++i) {
    entries.emplace_back("key" + std::to_string(i), i);
  }
  const NSDictionary dictionary(std::move(entries));
  ASSERT_EQ(dictionary.count(), 100u);
  int place = 0;
  for (const auto& [key, value] : dictionary) {
    EXPECT_EQ(key, "key" + std::to_string(place));
    EXPECT_EQ(value, place == 0 ? Object("again") : Object(place));
    ++place;
  }
}

TEST(NSDictionary, KeepsManyKeysOfWhichNoneIsRepeated) {
  std::vector<NSDictionary::Entry> entries;
  for (int i = 99; i >= 0; --i) {
    entries.emplace_back("key" + std::to_string(i), i);
  }
  const NSDictionary dictionary(std::move(entries));
  ASSERT_EQ(dictionary.count(), 100u);
  EXPECT_EQ(dictionary.begin()->first, "key99");
  EXPECT_EQ(*dictionary.objectForKey("key7"), Object(7));
}

TEST(NSDictionary, GivesNothingWhenEmpty) {
  EXPECT_EQ(NSDictionary().objectForKey("a"), nullptr);
  EXPECT_EQ(NSDictionary().count(), 0u);
  EXPECT_TRUE(NSDictionary().allKeys().empty());
}

TEST(NSMutableDictionary, FindsEveryKeyWhileItGrowsAndShrinks) {
  constexpr int kCount = 41;
  NSMutableDictionary dictionary = dictionaryOfNumbers(kCount);
  ASSERT_EQ(dictionary.count(), std::size_t{kCount});
  for (int i = 0; i < kCount; ++i) {
    const std::string key = "key" + std::to_string(i * 7919 % kCount);
    ASSERT_NE(dictionary.objectForKey(key), nullptr) << key;
    EXPECT_EQ(*dictionary.objectForKey(key), Object(i));
    dictionary.removeObjectForKey(key);
    EXPECT_EQ(dictionary.objectForKey(key), nullptr) << key;
  }
  EXPECT_EQ(dictionary.count(), 0u);
}

TEST(NSMutableDictionary, FindsEveryKeyAtEverySize) {
  NSMutableDictionary dictionary;
  for (int size = 1; size <= 41; ++size) {
    // Downwards, so that each goes before those that are there already.
    dictionary.setObject(size, "key" + std::to_string(100 - size));
    for (int i = 1; i <= size; ++i) {
      const Object* found = dictionary.objectForKey("key" + std::to_string(100 - i));
      ASSERT_NE(found, nullptr) << i << " of " << size;
      EXPECT_EQ(*found, Object(i));
    }
  }
}

TEST(NSMutableDictionary, ReplacesAValueInPlace) {
  NSMutableDictionary dictionary{{"a", 1}, {"b", 2}};
  dictionary.setObject(3, "a");
  EXPECT_THAT(dictionary.allKeys(), ElementsAre("a", "b"));
  EXPECT_EQ(*dictionary.objectForKey("a"), Object(3));
}

TEST(NSMutableDictionary, DoesNotChangeCopiesMadeBefore) {
  NSMutableDictionary dictionary{{"a", 1}};
  const NSDictionary before = dictionary;
  dictionary.setObject(2, "a");
  dictionary.setObject(3, "b");
  EXPECT_EQ(before, NSDictionary({{"a", 1}}));
  dictionary.removeObjectForKey("a");
  EXPECT_EQ(before.count(), 1u);
}

TEST(NSMutableDictionary, MayBeChangedWhileAnotherThreadReadsCopiesAndLetsThemGo) {
  constexpr int kRounds = 200;
  NSMutableDictionary dictionary{{"a", -1}};
  for (int round = 0; round < kRounds; ++round) {
    const int expected = round - 1;
    std::thread reader([expected, copy = NSDictionary(dictionary)]() mutable {
      EXPECT_EQ(*copy.objectForKey("a"), Object(expected));
      copy = {};
    });
    dictionary.setObject(round, "a");
    reader.join();
  }
  EXPECT_EQ(*dictionary.objectForKey("a"), Object(kRounds - 1));
}

TEST(NSMutableDictionary, MayHoldACopyOfItself) {
  NSMutableDictionary dictionary{{"a", 1}};
  dictionary.setObject(dictionary, "self");
  EXPECT_EQ(*dictionary.objectForKey("self")->dictionary(), NSDictionary({{"a", 1}}));
}

TEST(NSMutableDictionary, TakesAKeyThatItOwns) {
  NSMutableDictionary dictionary{{"a", "another key that is long enough for the heap"}};
  const NSDictionary shared = dictionary;
  dictionary.setObject(1, *dictionary.objectForKey("a")->string());
  EXPECT_EQ(dictionary.count(), 2u);
  dictionary.removeObjectForKey(dictionary.begin()->first);
  EXPECT_EQ(dictionary.count(), 1u);
}

TEST(NSMutableDictionary, IgnoresTheRemovalOfAMissingKey) {
  NSMutableDictionary dictionary{{"a", 1}};
  dictionary.removeObjectForKey("b");
  EXPECT_EQ(dictionary.count(), 1u);
}

}  // namespace
