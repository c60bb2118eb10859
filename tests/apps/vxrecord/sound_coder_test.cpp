#include "sound_coder.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vxrecord {
namespace {

constexpr std::int64_t kUnitLength = 1024;

SoundBlock silence(std::int64_t start, std::size_t length) {
  SoundBlock block;
  block.start = start;
  for (auto& channel : block.channels) {
    channel.assign(length, 0.0F);
  }
  return block;
}

/// The end of what was coded, and a check that it has no hole.
std::int64_t endOfUnbrokenUnits(SoundCoder& coder, std::int64_t start) {
  std::int64_t next = start;
  for (const SoundUnit& unit : coder.units()) {
    EXPECT_EQ(unit.time, next);
    EXPECT_FALSE(unit.bytes.empty());
    next += kUnitLength;
  }
  return next;
}

TEST(SoundCoder, UnitsFollowEachOtherFromTheCodersDelayOn) {
  SoundCoder coder;
  EXPECT_FALSE(coder.config().empty());
  coder.add(silence(0, 44100));
  coder.finish();
  EXPECT_GE(endOfUnbrokenUnits(coder, -coder.delay()), 44100);
}

TEST(SoundCoder, WithoutSoundThereIsNoUnit) {
  SoundCoder coder;
  coder.finish();
  EXPECT_TRUE(coder.units().empty());
}

TEST(SoundCoder, GapsBecomeSilence) {
  SoundCoder coder;
  coder.add(silence(0, 1000));
  coder.add(silence(100000, 1000));
  coder.finish();
  EXPECT_GE(endOfUnbrokenUnits(coder, -coder.delay()), 101000);
}

TEST(SoundCoder, OverlapIsLeftOut) {
  SoundCoder coder;
  for (int i = 0; i < 10; ++i) {
    coder.add(silence(0, 10240));
  }
  coder.finish();
  EXPECT_LE(endOfUnbrokenUnits(coder, -coder.delay()), 10240 + 2 * kUnitLength);
}

TEST(SoundCoder, SoundBeforeTheFirstPictureIsLeftOut) {
  SoundCoder coder;
  coder.add(silence(-5000, 4000));
  coder.add(silence(-1000, 3000));
  coder.finish();
  ASSERT_FALSE(coder.units().empty());
  EXPECT_EQ(coder.units().front().time, -coder.delay());
  EXPECT_LE(endOfUnbrokenUnits(coder, -coder.delay()), 2000 + 2 * kUnitLength);
}

TEST(SoundCoder, LateSoundStartsLate) {
  SoundCoder coder;
  coder.add(silence(66150, 2048));
  coder.finish();
  EXPECT_EQ(coder.units().front().time, 66150 - coder.delay());
}

TEST(SoundBlock, PartIsCutToTheBlock) {
  SoundBlock block = silence(100, 50);
  block.channels[1][10] = 0.5F;
  const SoundBlock part = block.part(110, 120);
  EXPECT_EQ(part.start, 110);
  EXPECT_EQ(part.length(), 10u);
  EXPECT_EQ(part.channels[1].front(), 0.5F);
  EXPECT_EQ(block.part(0, 1000).length(), 50u);
  EXPECT_EQ(block.part(200, 300).length(), 0u);
  EXPECT_EQ(block.part(120, 110).length(), 0u);
}

}  // namespace
}  // namespace vxrecord
