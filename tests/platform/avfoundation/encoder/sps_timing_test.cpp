#include "platform/avfoundation/encoder/sps_timing.h"

#include <gtest/gtest.h>

#include <bit>

#include "support/h264_source.h"

namespace vx {
namespace {

using Bytes = std::vector<std::uint8_t>;

int differingBits(const Bytes& a, const Bytes& b) {
  int count = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    count += std::popcount(static_cast<unsigned>(a[i] ^ b[i]));
  }
  return count;
}

TEST(SpsTiming, AParameterSetLosesOneBitAndNothingElse) {
  for (const auto& [width, height] : {std::pair{64, 48}, {1366, 768}, {1920, 1080}}) {
    const Bytes before = test::makeH264(width, height, 1).sps;
    const Bytes after = withoutFixedFrameRate(before);
    ASSERT_EQ(after.size(), before.size());
    EXPECT_EQ(differingBits(before, after), 1);
    EXPECT_EQ(withoutFixedFrameRate(after), after) << "a second time there is nothing to take out";
  }
}

TEST(SpsTiming, WhatCannotBeReadStaysAsItIs) {
  for (const Bytes& unit :
       {Bytes{0x67}, Bytes{0x67, 0x64, 0x00}, Bytes{0x67, 0x42, 0xC0, 0x1F}, Bytes(40, 0x00)}) {
    EXPECT_EQ(withoutFixedFrameRate(unit), unit);
  }
}

TEST(SpsTiming, EveryCutOfAParameterSetIsSurvived) {
  const Bytes whole = test::makeH264(1920, 1080, 1).sps;
  for (std::size_t size = 1; size < whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_FALSE(withoutFixedFrameRate(cut).empty());
  }
}

}  // namespace
}  // namespace vx
