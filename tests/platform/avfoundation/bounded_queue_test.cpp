#include "platform/avfoundation/bounded_queue.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace vx {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""min;

TEST(BoundedQueue, GivesItemsInTheirOrder) {
  BoundedQueue<int> queue({3, 100});
  EXPECT_TRUE(queue.tryPush(1, 10));
  EXPECT_TRUE(queue.tryPush(2, 10));
  EXPECT_EQ(queue.pop(), 1);
  EXPECT_EQ(queue.pop(), 2);
}

TEST(BoundedQueue, IsBoundedByNumber) {
  BoundedQueue<int> queue({2, 100});
  EXPECT_TRUE(queue.tryPush(1, 0));
  EXPECT_TRUE(queue.hasRoom());
  EXPECT_TRUE(queue.tryPush(2, 0));
  EXPECT_FALSE(queue.hasRoom());
  EXPECT_FALSE(queue.tryPush(3, 0));
  queue.pop();
  EXPECT_TRUE(queue.tryPush(3, 0));
}

TEST(BoundedQueue, IsBoundedByBytesButTakesOneLargeItem) {
  BoundedQueue<int> queue({10, 100});
  EXPECT_TRUE(queue.tryPush(1, 1000));
  EXPECT_FALSE(queue.tryPush(2, 1));
  queue.pop();
  EXPECT_TRUE(queue.tryPush(2, 99));
  EXPECT_TRUE(queue.tryPush(3, 1));
  EXPECT_FALSE(queue.hasRoom());
}

TEST(BoundedQueue, ClosedGivesWhatItHoldsAndThenNothing) {
  BoundedQueue<int> queue({3, 100});
  queue.tryPush(1, 0);
  queue.close();
  EXPECT_FALSE(queue.hasRoom());
  EXPECT_FALSE(queue.tryPush(2, 0));
  EXPECT_FALSE(queue.push(2, 0));
  EXPECT_FALSE(queue.isClosedAndEmpty());
  EXPECT_EQ(queue.pop(), 1);
  EXPECT_EQ(queue.pop(), std::nullopt);
  EXPECT_TRUE(queue.isClosedAndEmpty());
}

TEST(BoundedQueue, ClearingDestroysWhatItHolds) {
  BoundedQueue<std::shared_ptr<int>> queue({3, 100});
  auto item = std::make_shared<int>(1);
  queue.tryPush(std::shared_ptr<int>(item), 0);
  queue.closeAndClear();
  EXPECT_EQ(item.use_count(), 1);
  EXPECT_EQ(queue.pop(), std::nullopt);
}

TEST(BoundedQueue, PopUntilEndsAtItsDeadline) {
  BoundedQueue<int> queue({3, 100});
  EXPECT_EQ(queue.popUntil(std::chrono::steady_clock::now()), std::nullopt);
  queue.tryPush(1, 0);
  EXPECT_EQ(queue.popUntil(std::chrono::steady_clock::now()), 1);
}

TEST(BoundedQueue, WaitForRoomEndsAtItsTimeAndWhenClosed) {
  BoundedQueue<int> queue({1, 100});
  EXPECT_TRUE(queue.waitForRoom(0ms));
  queue.tryPush(1, 0);
  EXPECT_FALSE(queue.waitForRoom(0ms));
  std::thread closer([&] { queue.close(); });
  EXPECT_FALSE(queue.waitForRoom(1min));
  closer.join();
}

TEST(BoundedQueue, ClosedHasNoRoomToWaitFor) {
  BoundedQueue<int> queue({2, 100});
  queue.close();
  EXPECT_FALSE(queue.waitForRoom(1min));
}

TEST(BoundedQueue, IsAsFullAsTheMoreOfNumberAndBytes) {
  BoundedQueue<int> queue({4, 100});
  EXPECT_EQ(queue.fill(), 0);
  queue.tryPush(1, 10);
  EXPECT_DOUBLE_EQ(queue.fill(), 0.25);
  queue.tryPush(2, 50);
  EXPECT_DOUBLE_EQ(queue.fill(), 0.6);
  queue.tryPush(3, 1000);
  EXPECT_EQ(queue.fill(), 1);
}

TEST(BoundedQueue, ClosingWakesEverybodyWhoWaits) {
  BoundedQueue<int> queue({1, 100});
  std::thread taker([&] { EXPECT_EQ(queue.pop(), std::nullopt); });
  std::thread other([&] { EXPECT_EQ(queue.pop(), std::nullopt); });
  queue.close();
  taker.join();
  other.join();
}

TEST(BoundedQueue, PassesEveryItemBetweenTwoThreads) {
  BoundedQueue<int> queue({4, 1000});
  constexpr int kItems = 20000;
  std::thread producer([&] {
    for (int i = 0; i < kItems; ++i) {
      if (i % 2 == 0) {
        queue.push(int{i}, 1);
      } else {
        while (!queue.tryPush(int{i}, 1)) {
          queue.waitForRoom(1min);
        }
      }
    }
    queue.close();
  });
  int expected = 0;
  while (const std::optional<int> item = queue.pop()) {
    ASSERT_EQ(*item, expected++);
  }
  EXPECT_EQ(expected, kItems);
  producer.join();
}

}  // namespace
}  // namespace vx
