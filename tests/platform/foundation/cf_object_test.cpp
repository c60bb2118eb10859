#include "platform/foundation/cf_object.h"

#include "platform/cf_ref.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace vx {
namespace {

struct Witness final : CFObject {
  explicit Witness(int& destroyed) : destroyedCount(destroyed) {}
  ~Witness() override { ++destroyedCount; }
  int& destroyedCount;
};
using WitnessRef = const Witness*;

TEST(Counting, TheLastReleaseDestroys) {
  int destroyed = 0;
  const CFTypeRef object = new Witness(destroyed);
  EXPECT_EQ(CFGetRetainCount(object), 1);
  EXPECT_EQ(CFRetain(object), object);
  EXPECT_EQ(CFGetRetainCount(object), 2);
  CFRelease(object);
  EXPECT_EQ(destroyed, 0);
  CFRelease(object);
  EXPECT_EQ(destroyed, 1);
}

TEST(Counting, ReferencesMayComeAndGoOnManyThreads) {
  int destroyed = 0;
  const CFTypeRef object = new Witness(destroyed);
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([object] {
        for (int round = 0; round < 10000; ++round) {
          CFRelease(CFRetain(object));
        }
      });
    }
  }
  EXPECT_EQ(CFGetRetainCount(object), 1);
  CFRelease(object);
  EXPECT_EQ(destroyed, 1);
}

TEST(CFRefHolder, AdoptsAndRetains) {
  int destroyed = 0;
  {
    const auto adopted = CFRef<WitnessRef>::adopt(new Witness(destroyed));
    EXPECT_EQ(CFGetRetainCount(adopted.get()), 1);
    const auto retained = CFRef<WitnessRef>::retain(adopted.get());
    EXPECT_EQ(CFGetRetainCount(adopted.get()), 2);
    const CFRef<WitnessRef> copy = retained;
    EXPECT_EQ(CFGetRetainCount(adopted.get()), 3);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(CFRefHolder, MovesWithoutCounting) {
  int destroyed = 0;
  auto first = CFRef<WitnessRef>::adopt(new Witness(destroyed));
  CFRef<WitnessRef> second = std::move(first);
  EXPECT_FALSE(first);
  EXPECT_EQ(CFGetRetainCount(second.get()), 1);
  second = CFRef<WitnessRef>();
  EXPECT_EQ(destroyed, 1);
}

TEST(CFRefHolder, AssignsItselfUnharmed) {
  int destroyed = 0;
  auto holder = CFRef<WitnessRef>::adopt(new Witness(destroyed));
  const auto& same = holder;
  holder = same;
  EXPECT_EQ(CFGetRetainCount(holder.get()), 1);
  EXPECT_EQ(destroyed, 0);
}

TEST(CFRefHolder, HandsItsReferenceOut) {
  int destroyed = 0;
  auto holder = CFRef<WitnessRef>::adopt(new Witness(destroyed));
  WitnessRef object = holder.release();
  EXPECT_FALSE(holder);
  EXPECT_EQ(destroyed, 0);
  CFRelease(object);
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
}  // namespace vx
