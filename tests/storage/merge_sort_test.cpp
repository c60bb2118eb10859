#include "storage/merge_sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>
#include <string>

namespace vx::storage {
namespace {

std::vector<int> shuffled(int count) {
  std::vector<int> numbers(count);
  std::iota(numbers.begin(), numbers.end(), 0);
  std::shuffle(numbers.begin(), numbers.end(), std::mt19937(count));
  return numbers;
}

TEST(MergeSort, SortsListsOfEveryLengthUpToAHundred) {
  for (int count = 0; count <= 100; ++count) {
    std::vector<int> numbers = shuffled(count);
    mergeSort(numbers, std::less<>());
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end())) << count;
    EXPECT_EQ(numbers.size(), static_cast<std::size_t>(count));
  }
}

TEST(MergeSort, KeepsEqualItemsInTheirOrder) {
  std::vector<std::string> words{"b1", "a1", "b2", "a2", "b3", "a3", "b4"};
  mergeSort(words, [](const std::string& a, const std::string& b) { return a[0] < b[0]; });
  EXPECT_EQ(words, (std::vector<std::string>{"a1", "a2", "a3", "b1", "b2", "b3", "b4"}));
}

TEST(MergeSort, AsksAboutNLogNQuestions) {
  std::vector<int> numbers = shuffled(1024);
  int questions = 0;
  mergeSort(numbers, [&](int a, int b) { return ++questions, a < b; });
  EXPECT_LE(questions, 1024 * 10);
}

TEST(MergeSort, KeepsEveryItemWhateverItIsTold) {
  std::mt19937 random(1);
  for (int round = 0; round < 50; ++round) {
    std::vector<std::unique_ptr<int>> items;
    for (int i = 0; i < 257; ++i) items.push_back(std::make_unique<int>(i));
    mergeSort(items, [&](const auto& a, const auto& b) { return (random() + *a + *b) % 2 == 0; });
    std::vector<int> kept;
    for (const auto& item : items) kept.push_back(*item);
    std::sort(kept.begin(), kept.end());
    std::vector<int> all(257);
    std::iota(all.begin(), all.end(), 0);
    ASSERT_EQ(kept, all);
  }
}

TEST(MergeSort, EndsWhenEverythingPrecedesEverything) {
  std::vector<int> numbers = shuffled(1000);
  mergeSort(numbers, [](int, int) { return true; });
  EXPECT_EQ(std::accumulate(numbers.begin(), numbers.end(), 0), 499500);
}

}  // namespace
}  // namespace vx::storage
