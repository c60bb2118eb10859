#include "VXVideoRecorder/platform/CoreVideo.h"
#include "platform/corevideo/pixel_buffer_registry.h"
#include "platform/corevideo/used_pools.h"
#include "platform/foundation/sanitizers.h"

#include "support/pixel_buffers.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>
#include <fstream>
#include <thread>
#include <vector>

#if VX_ADDRESS_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

namespace vx {
namespace {

using Pool = CFRef<CVPixelBufferPoolRef>;
using namespace std::chrono_literals;

NSDictionary attributesOf(Object width, Object height, Object format = kCVPixelFormatType_32BGRA,
                          Object alignment = 32) {
  return {{std::string(kCVPixelBufferWidthKey), std::move(width)},
          {std::string(kCVPixelBufferHeightKey), std::move(height)},
          {std::string(kCVPixelBufferPixelFormatTypeKey), std::move(format)},
          {std::string(kCVPixelBufferBytesPerRowAlignmentKey), std::move(alignment)}};
}

Pool poolOf(double width, double height, OSType format = kCVPixelFormatType_32BGRA) {
  const NSDictionary attributes = attributesOf(width, height, format);
  Pool pool;
  EXPECT_EQ(CVPixelBufferPoolCreate(nullptr, nullptr, &attributes, pool.out()), kCVReturnSuccess);
  return pool;
}

PixelBuffer drawn(const Pool& pool) {
  PixelBuffer buffer;
  EXPECT_EQ(CVPixelBufferPoolCreatePixelBuffer(nullptr, pool.get(), buffer.out()),
            kCVReturnSuccess);
  return buffer;
}

CVReturn createStatus(const NSDictionary& attributes) {
  Pool pool;
  return CVPixelBufferPoolCreate(nullptr, nullptr, &attributes, pool.out());
}

std::size_t idleBuffers() { return PixelBufferRegistry::instance().counts().idleBuffers; }

std::atomic<PixelBufferRegistry::Clock::duration> s_time;

/// Starts without idle buffers, and lets the test tell the time.
class PixelBufferPool : public testing::Test {
 protected:
  PixelBufferPool() {
    PixelBufferRegistry::instance().setClock(
        [] { return PixelBufferRegistry::Clock::time_point(s_time.load()); });
    PixelBufferRegistry::instance().dropAllIdle();
  }
  ~PixelBufferPool() override { PixelBufferRegistry::instance().setClock(nullptr); }
  static void advance(std::chrono::milliseconds by) { s_time = s_time.load() + by; }
};

TEST_F(PixelBufferPool, MakesBuffersOfItsAttributes) {
  const PixelBuffer buffer = drawn(poolOf(5, 3, kCVPixelFormatType_420YpCbCr8Planar));
  EXPECT_EQ(CVPixelBufferGetWidth(buffer.get()), 5u);
  EXPECT_EQ(CVPixelBufferGetHeight(buffer.get()), 3u);
  EXPECT_EQ(CVPixelBufferGetPixelFormatType(buffer.get()), kCVPixelFormatType_420YpCbCr8Planar);
  EXPECT_EQ(CVPixelBufferGetBytesPerRowOfPlane(buffer.get(), 0), 32u);
  EXPECT_EQ(CVPixelBufferGetBytesPerRowOfPlane(buffer.get(), 1), 32u);
}

TEST_F(PixelBufferPool, DropsAFractionOfTheSizeAndStillTellsIt) {
  const Pool pool = poolOf(5.75, 3.5);
  EXPECT_EQ(CVPixelBufferGetWidth(drawn(pool).get()), 5u);
  EXPECT_EQ(CVPixelBufferGetHeight(drawn(pool).get()), 3u);
  const NSDictionary* attributes = CVPixelBufferPoolGetPixelBufferAttributes(pool.get());
  ASSERT_NE(attributes, nullptr);
  EXPECT_EQ(*attributes, attributesOf(5.75, 3.5));
}

TEST_F(PixelBufferPool, HandsAReturnedBufferOutAgainAsItWasLeft) {
  const Pool pool = poolOf(8, 8);
  PixelBuffer buffer = drawn(pool);
  const CVPixelBufferRef first = buffer.get();
  *rowOf(buffer, 3) = 0xab;
  buffer.reset();
  buffer = drawn(pool);
  EXPECT_EQ(buffer.get(), first);
  EXPECT_EQ(CFGetRetainCount(buffer.get()), 1);
  EXPECT_EQ(CFGetRetainCount(pool.get()), 2) << "the buffer's, too";
  EXPECT_EQ(*rowOf(buffer, 3), 0xab);
}

TEST_F(PixelBufferPool, KeepsABufferThatIsStillHeld) {
  const Pool pool = poolOf(8, 8);
  const PixelBuffer held = drawn(pool);
  PixelBuffer copy = held;
  copy.reset();
  EXPECT_NE(drawn(pool).get(), held.get());
}

TEST_F(PixelBufferPool, SteadyUseAllocatesNothing) {
  const Pool pool = poolOf(8, 8);
  drawn(pool);
  const std::size_t before = PixelBufferRegistry::instance().counts().buffers;
  for (int frame = 0; frame < 100; ++frame) {
    drawn(pool);
    advance(100ms);
  }
  EXPECT_EQ(PixelBufferRegistry::instance().counts().buffers, before);
}

TEST_F(PixelBufferPool, DropsWhatLayIdleForMoreThanASecond) {
  const Pool pool = poolOf(8, 8);
  {
    const PixelBuffer a = drawn(pool);
    const PixelBuffer b = drawn(pool);
  }
  ASSERT_EQ(idleBuffers(), 2u);
  advance(1000ms);
  drawn(pool);
  EXPECT_EQ(idleBuffers(), 2u);
  advance(1ms);
  drawn(pool);
  EXPECT_EQ(idleBuffers(), 1u) << "the other one has just been used";
}

TEST_F(PixelBufferPool, UseOfAnyPoolDropsTheIdleBuffersOfAll) {
  const Pool finished = poolOf(8, 8);
  drawn(finished);
  ASSERT_EQ(idleBuffers(), 1u);
  advance(1001ms);
  const PixelBuffer other = drawn(poolOf(4, 4));
  EXPECT_EQ(idleBuffers(), 0u);
}

TEST_F(PixelBufferPool, DrawingAloneDropsIdleBuffersToo) {
  const Pool finished = poolOf(8, 8);
  const Pool other = poolOf(4, 4);
  drawn(finished);
  advance(1001ms);
  const PixelBuffer held = drawn(other);
  EXPECT_EQ(idleBuffers(), 0u);
}

TEST_F(PixelBufferPool, KeepsWhatLayIdleForLessThanASecond) {
  const Pool first = poolOf(8, 8);
  const Pool second = poolOf(4, 4);
  const Pool other = poolOf(2, 2);
  drawn(first);
  advance(600ms);
  drawn(second);
  advance(401ms);
  const PixelBuffer held = drawn(other);
  EXPECT_EQ(idleBuffers(), 1u);
}

TEST_F(PixelBufferPool, HandsOutFirstWhatWasReturnedLast) {
  const Pool pool = poolOf(8, 8);
  PixelBuffer first = drawn(pool);
  PixelBuffer second = drawn(pool);
  const CVPixelBufferRef warm = first.get();
  second.reset();
  first.reset();
  EXPECT_EQ(drawn(pool).get(), warm);
}

TEST_F(PixelBufferPool, UseOfAStandAloneBufferDropsIdleBuffersToo) {
  const Pool pool = poolOf(8, 8);
  drawn(pool);
  advance(1001ms);
  makePixelBuffer(2, 2, kCVPixelFormatType_32BGRA);
  EXPECT_EQ(idleBuffers(), 0u);
}

// Sanitizers keep books of memory in memory.
#if !VX_ADDRESS_SANITIZER && !VX_THREAD_SANITIZER

std::size_t residentPages() {
  std::size_t all = 0;
  std::size_t resident = 0;
  std::ifstream("/proc/self/statm") >> all >> resident;
  return resident;
}

// Only there the system can put large pages.
TEST_F(PixelBufferPool, LargeBuffersBeginAtAMultipleOfALargePage) {
  const Pool pool = poolOf(1000, 1000);
  std::vector<PixelBuffer> buffers;
  for (int i = 0; i < 4; ++i) {
    buffers.push_back(drawn(pool));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(rowOf(buffers.back(), 0)) % (2u << 20), 0u);
  }
}

TEST_F(PixelBufferPool, NoLargePageIsTakenForALittleOfIt) {
  const std::size_t before = residentPages();
  const Pool pool = poolOf(1280, 410);  // 2 MiB and 2048 bytes
  const PixelBuffer buffer = drawn(pool);
  std::memset(rowOf(buffer, 0), 1, 1280 * 410 * 4);
  EXPECT_LT(residentPages(), before + 3 * 512 / 2);
}

// A heap would keep it below what was allocated later.
TEST_F(PixelBufferPool, DroppedBuffersGiveTheirMemoryBackToTheSystem) {
  const Pool pool = poolOf(1000, 1000);
  const std::size_t pages = 4'000'000 / static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const auto useOne = [&] {
    const PixelBuffer buffer = drawn(pool);
    std::memset(rowOf(buffer, 0), 1, 4'000'000);
  };
  useOne();
  advance(1001ms);
  makePixelBuffer(2, 2, kCVPixelFormatType_32BGRA);
  const std::size_t before = residentPages();
  useOne();
  const auto placeholder = std::make_unique<std::array<char, 4096>>();
  EXPECT_GT(residentPages(), before + pages / 2);
  advance(1001ms);
  makePixelBuffer(2, 2, kCVPixelFormatType_32BGRA);
  EXPECT_LT(residentPages(), before + pages / 2);
}

#endif

TEST_F(PixelBufferPool, LastReleaseFreesItsIdleBuffers) {
  const std::size_t before = PixelBufferRegistry::instance().counts().buffers;
  Pool pool = poolOf(8, 8);
  drawn(pool);
  pool.reset();
  EXPECT_EQ(PixelBufferRegistry::instance().counts().buffers, before);
}

TEST_F(PixelBufferPool, GivingBackWhatOneUserLeftIdleSparesTheOthers) {
  const Pool own = poolOf(8, 8);
  const Pool other = poolOf(8, 8);
  UsedPools used;
  used.note(drawn(own).get());
  used.note(makePixelBuffer(8, 8, kCVPixelFormatType_32BGRA).get());
  const CVPixelBufferRef kept = drawn(other).get();
  ASSERT_EQ(idleBuffers(), 2u);
  used.dropIdle();
  EXPECT_EQ(idleBuffers(), 1u);
  EXPECT_EQ(drawn(other).get(), kept);
}

TEST_F(PixelBufferPool, BuffersOutliveTheirPool) {
  const PixelBufferRegistry::Counts before = PixelBufferRegistry::instance().counts();
  Pool pool = poolOf(8, 8);
  PixelBuffer buffer = drawn(pool);
  pool.reset();
  *rowOf(buffer, 7) = 1;
  buffer.reset();
  const PixelBufferRegistry::Counts after = PixelBufferRegistry::instance().counts();
  EXPECT_EQ(after.buffers, before.buffers);
  EXPECT_EQ(after.pools, before.pools);
}

TEST_F(PixelBufferPool, MayBeUsedFromManyThreads) {
  const Pool pool = poolOf(16, 16);
  {
    std::vector<std::jthread> threads;
    for (std::uint8_t number = 1; number <= 4; ++number) {
      threads.emplace_back([&pool, number] {
        for (int round = 0; round < 500; ++round) {
          const PixelBuffer buffer = drawn(pool);
          *rowOf(buffer, 0) = number;
          const PixelBuffer second = drawn(pool);
          *rowOf(second, 0) = 99;
          advance(1ms);
          EXPECT_EQ(*rowOf(buffer, 0), number);
        }
      });
    }
  }
  EXPECT_LE(idleBuffers(), 8u);
}

TEST_F(PixelBufferPool, UnusableAttributesAreRefused) {
  EXPECT_EQ(createStatus({}), kCVReturnInvalidPixelBufferAttributes);
  EXPECT_EQ(createStatus(attributesOf("8", 8)), kCVReturnInvalidPixelBufferAttributes);
  EXPECT_EQ(createStatus(attributesOf(8, 8, kCVPixelFormatType_32BGRA, 3)),
            kCVReturnInvalidPixelBufferAttributes);
  EXPECT_EQ(createStatus(attributesOf(8, 8, 0x12345678u)), kCVReturnInvalidPixelFormat);
  EXPECT_EQ(createStatus(attributesOf(0.9, 8)), kCVReturnInvalidSize);
  EXPECT_EQ(createStatus(attributesOf(-8, 8)), kCVReturnInvalidSize);
  EXPECT_EQ(createStatus(attributesOf(8, 1e300)), kCVReturnInvalidSize);
}

TEST_F(PixelBufferPool, MoreMemoryThanThereIsShowsWhenABufferIsAskedFor) {
  const NSDictionary attributes = attributesOf(65535, 65535, kCVPixelFormatType_32BGRA, 1 << 30);
  Pool pool;
  ASSERT_EQ(CVPixelBufferPoolCreate(nullptr, nullptr, &attributes, pool.out()), kCVReturnSuccess);
  PixelBuffer buffer;
  EXPECT_EQ(CVPixelBufferPoolCreatePixelBuffer(nullptr, pool.get(), buffer.out()),
            kCVReturnAllocationFailed);
  EXPECT_FALSE(buffer);
}

TEST_F(PixelBufferPool, NullIsAnswered) {
  const NSDictionary attributes = attributesOf(8, 8);
  Pool pool;
  PixelBuffer buffer;
  EXPECT_EQ(CVPixelBufferPoolCreate(nullptr, nullptr, &attributes, nullptr),
            kCVReturnInvalidArgument);
  EXPECT_EQ(CVPixelBufferPoolCreate(nullptr, nullptr, nullptr, pool.out()),
            kCVReturnInvalidPixelBufferAttributes);
  EXPECT_EQ(CVPixelBufferPoolCreatePixelBuffer(nullptr, nullptr, buffer.out()),
            kCVReturnInvalidArgument);
  EXPECT_EQ(CVPixelBufferPoolCreatePixelBuffer(nullptr, poolOf(8, 8).get(), nullptr),
            kCVReturnInvalidArgument);
  EXPECT_EQ(CVPixelBufferPoolGetPixelBufferAttributes(nullptr), nullptr);
  EXPECT_EQ(CVPixelBufferPoolRetain(nullptr), nullptr);
  CVPixelBufferPoolRelease(nullptr);
}

#if VX_ADDRESS_SANITIZER

/// Runs `work` deep enough in the stack that nothing of it is left for a leak checker to find.
template <typename Work>
[[gnu::noinline]] void inItsOwnFrames(Work work) {
  std::jthread(work).join();
}

// The address is kept in a form that a leak checker does not take for one.
TEST_F(PixelBufferPool, WhatIsReallyLostIsALeak) {
  std::uintptr_t hidden = 0;
  inItsOwnFrames([&] { hidden = ~reinterpret_cast<std::uintptr_t>(new int[1000]); });
  EXPECT_NE(__lsan_do_recoverable_leak_check(), 0);
  delete[] reinterpret_cast<int*>(~hidden);
}

TEST_F(PixelBufferPool, WhatIsKeptForEverIsNoLeak) {
  inItsOwnFrames([] {
    CVPixelBufferPoolRef pool = poolOf(64, 64).release();
    CVPixelBufferRef held = nullptr;
    CVPixelBufferPoolCreatePixelBuffer(nullptr, pool, &held);
    CVPixelBufferPoolCreatePixelBuffer(nullptr, pool, &held);
    CVPixelBufferRef alone = nullptr;
    CVPixelBufferCreate(nullptr, 64, 64, kCVPixelFormatType_420YpCbCr8Planar, nullptr, &alone);
  });
  EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0);
}

#endif

}  // namespace
}  // namespace vx
