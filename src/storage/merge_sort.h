// A stable sort that asks only "does this come before that?" and is safe whatever it is told.
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace vx::storage {

/// Sorts bottom-up by merging runs, about n log2 n questions.
///
/// `precedes(a, b)` may contradict itself, as it does when the files that it looks at change while
/// the sort runs: every item is still there exactly once afterwards and nothing outside the list is
/// touched, which the standard library's sorts do not promise.
template <typename Item, typename Precedes>
void mergeSort(std::vector<Item>& items, const Precedes& precedes) {
  std::vector<Item> merged;
  merged.reserve(items.size());
  for (std::size_t run = 1; run < items.size(); run *= 2) {
    merged.clear();
    for (std::size_t begin = 0; begin < items.size(); begin += 2 * run) {
      std::size_t left = begin;
      const std::size_t middle = std::min(begin + run, items.size());
      std::size_t right = middle;
      const std::size_t end = std::min(middle + run, items.size());
      while (left < middle && right < end) {
        // The left one goes first unless the right one must, which keeps equal items in order.
        std::size_t& next = precedes(items[right], items[left]) ? right : left;
        merged.push_back(std::move(items[next++]));
      }
      while (left < middle) merged.push_back(std::move(items[left++]));
      while (right < end) merged.push_back(std::move(items[right++]));
    }
    items.swap(merged);
  }
}

}  // namespace vx::storage
