// Which blocks are handed out, and what becomes of those that cannot be.
#include "platform/corevideo/pixel_memory.h"

#include "platform/foundation/sanitizers.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

namespace vx {
namespace {

constexpr std::size_t kAlwaysTried = std::size_t{256} << 20;
constexpr std::size_t kNeverTried = std::size_t{4} << 30;

/// Bytes that are more than half of the machine.
std::size_t moreThanHalf() {
  const auto pages = static_cast<std::size_t>(::sysconf(_SC_PHYS_PAGES));
  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  return (pages / 2 + 1) * page;
}

TEST(PixelMemory, OfMoreThanHalfOfTheMachineIsRefused) {
  EXPECT_FALSE(PixelMemory::allocateZeroed(std::max(moreThanHalf(), kAlwaysTried + 1)));
  EXPECT_FALSE(PixelMemory::allocateZeroed(kNeverTried + 1));
}

TEST(PixelMemory, OfLessThanHalfOfTheMachineIsHandedOut) {
  if (VX_ADDRESS_SANITIZER) {
    GTEST_SKIP() << "it would be written to, not only promised";
  }
  constexpr std::size_t kSize = kAlwaysTried + (std::size_t{64} << 20);
  if (kSize >= moreThanHalf()) {
    GTEST_SKIP() << "the machine is too small";
  }
  const PixelMemory memory = PixelMemory::allocateZeroed(kSize);
  ASSERT_TRUE(memory);
  memory.base()[kSize - 1] = 1;
  EXPECT_EQ(memory.base()[0], 0);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory.base()) % kPixelMemoryAlignment, 0u);
}

TEST(PixelMemory, IsEmptyWhenNoAddressesAreLeft) {
  if (VX_ADDRESS_SANITIZER || VX_THREAD_SANITIZER) {
    GTEST_SKIP() << "a sanitizer needs addresses of its own";
  }
  rlimit before{};
  ::getrlimit(RLIMIT_AS, &before);
  const rlimit none{1, before.rlim_max};
  ::setrlimit(RLIMIT_AS, &none);
  const bool isSmallHandedOut = static_cast<bool>(PixelMemory::allocateZeroed(1 << 20));
  const bool isLargeHandedOut = static_cast<bool>(PixelMemory::allocateZeroed(8 << 20));
  ::setrlimit(RLIMIT_AS, &before);
  EXPECT_FALSE(isSmallHandedOut);
  EXPECT_FALSE(isLargeHandedOut);
}

TEST(PixelMemory, OfNoBytesIsEmpty) { EXPECT_FALSE(PixelMemory::allocateZeroed(0)); }

}  // namespace
}  // namespace vx
