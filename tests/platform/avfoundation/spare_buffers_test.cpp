#include "platform/avfoundation/spare_buffers.h"

#include <gtest/gtest.h>

namespace vx {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(SpareBuffers, GiveABufferOutAgainEmptyWithItsMemory) {
  SpareBuffers spares;
  EXPECT_EQ(spares.take().capacity(), 0u);
  spares.giveBack(Bytes(1000, 7));
  const Bytes again = spares.take();
  EXPECT_TRUE(again.empty());
  EXPECT_GE(again.capacity(), 1000u);
  EXPECT_EQ(spares.take().capacity(), 0u) << "each is given out once";
}

TEST(SpareBuffers, KeepFew) {
  SpareBuffers spares;
  for (int i = 0; i < 10; ++i) {
    spares.giveBack(Bytes(100));
  }
  int kept = 0;
  while (spares.take().capacity() > 0) {
    ++kept;
  }
  EXPECT_EQ(kept, 4);
}

}  // namespace
}  // namespace vx
