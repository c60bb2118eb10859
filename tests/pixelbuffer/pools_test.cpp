// Pools: one for each size met, whatever the format.
#include "support/recorder_fixture.h"

using namespace vx;

namespace {

constexpr OSType kY420 = kCVPixelFormatType_420YpCbCr8Planar;
constexpr OSType kBGRA = kCVPixelFormatType_32BGRA;

using Pools = RecorderTest;

TEST_F(Pools, CarriesExactlyItsFourAttributes) {
  const CVPixelBufferPoolRef pool = peer.getBufferPoolWithSize(CGSizeMake(640, 360), kBGRA);
  ASSERT_NE(pool, nullptr);
  const NSDictionary& attributes = *CVPixelBufferPoolGetPixelBufferAttributes(pool);
  ASSERT_EQ(attributes.count(), 4u);
  const NSNumber width = *attributes.objectForKey(kCVPixelBufferWidthKey)->number();
  const NSNumber height = *attributes.objectForKey(kCVPixelBufferHeightKey)->number();
  const NSNumber format = *attributes.objectForKey(kCVPixelBufferPixelFormatTypeKey)->number();
  const NSNumber alignment =
      *attributes.objectForKey(kCVPixelBufferBytesPerRowAlignmentKey)->number();
  EXPECT_EQ(width.kind(), NSNumber::Kind::real);
  EXPECT_EQ(width.doubleValue(), 640.0);
  EXPECT_EQ(height.kind(), NSNumber::Kind::real);
  EXPECT_EQ(height.doubleValue(), 360.0);
  EXPECT_EQ(format.kind(), NSNumber::Kind::unsignedInteger);
  EXPECT_EQ(format.unsignedIntValue(), kBGRA);
  EXPECT_EQ(alignment.kind(), NSNumber::Kind::signedInteger);
  EXPECT_EQ(alignment.intValue(), 32);
}

TEST_F(Pools, SameSizeFindsTheSamePool) {
  const auto first = peer.getBufferPoolWithSize(CGSizeMake(64, 48), kBGRA);
  const auto other = peer.getBufferPoolWithSize(CGSizeMake(48, 64), kBGRA);
  EXPECT_NE(first, other);
  EXPECT_EQ(peer.getBufferPoolWithSize(CGSizeMake(64, 48), kBGRA), first);
  EXPECT_EQ(peer.getBufferPoolWithSize(CGSizeMake(48, 64), kBGRA), other);
  EXPECT_THAT(peer.pools(), testing::ElementsAre(first, other));
}

TEST_F(Pools, BothSidesArePartOfTheMatch) {
  const auto square = peer.getBufferPoolWithSize(CGSizeMake(64, 64), kBGRA);
  EXPECT_NE(peer.getBufferPoolWithSize(CGSizeMake(64, 48), kBGRA), square);
  EXPECT_NE(peer.getBufferPoolWithSize(CGSizeMake(48, 64), kBGRA), square);
  EXPECT_NE(peer.getBufferPoolWithSize(CGSizeMake(64, 80), kBGRA), square);
  EXPECT_NE(peer.getBufferPoolWithSize(CGSizeMake(80, 64), kBGRA), square);
}

TEST_F(Pools, FormatIsNotPartOfTheMatch) {
  const auto first = peer.getBufferPoolWithSize(CGSizeMake(64, 48), kBGRA);
  EXPECT_EQ(peer.getBufferPoolWithSize(CGSizeMake(64, 48), kY420), first);
  EXPECT_EQ(peer.getBufferPoolWithSize(CGSizeMake(64, 48), 0x3F3F3F3F), first);
  EXPECT_EQ(peer.pools().size(), 1u);
}

TEST_F(Pools, FractionNeverMatchesAndMakesAPoolEachTime) {
  for (const CGSize size : {CGSizeMake(64.5, 48), CGSizeMake(64, 48.25)}) {
    const auto before = peer.pools().size();
    const auto first = peer.getBufferPoolWithSize(size, kBGRA);
    const auto second = peer.getBufferPoolWithSize(size, kBGRA);
    EXPECT_NE(first, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(peer.pools().size(), before + 2);
  }
}

TEST_F(Pools, PoolOfAFractionServesItsWholeSize) {
  const auto fractional = peer.getBufferPoolWithSize(CGSizeMake(64.5, 48), kBGRA);
  EXPECT_EQ(peer.getBufferPoolWithSize(CGSizeMake(64, 48), kBGRA), fractional);
}

TEST_F(Pools, FirstOfSeveralThatMatchIsTaken) {
  const auto first = peer.getBufferPoolWithSize(CGSizeMake(64.5, 48), kBGRA);
  const auto second = peer.getBufferPoolWithSize(CGSizeMake(64.25, 48), kBGRA);
  ASSERT_NE(first, second);
  EXPECT_EQ(peer.getBufferPoolWithSize(CGSizeMake(64, 48), kBGRA), first);
}

TEST_F(Pools, FailureIsLoggedAndAddsNothing) {
  EXPECT_EQ(peer.getBufferPoolWithSize(CGSizeMake(64, 48), 0x3F3F3F3F), nullptr);
  EXPECT_TRUE(peer.pools().empty());
  EXPECT_THAT(delegate->lines(), testing::ElementsAre(RememberingDelegate::Line{
                                     line(" Pixel buffer pool create failed"), 2}));
}

TEST_F(Pools, OutliveTheirRecorder) {
  const auto pool = peer.getBufferPoolWithSize(CGSizeMake(64, 48), kBGRA);
  recorder.reset();
  EXPECT_EQ(CFGetRetainCount(pool), 1);
  CVPixelBufferRef buffer = nullptr;
  EXPECT_EQ(CVPixelBufferPoolCreatePixelBuffer(nullptr, pool, &buffer), kCVReturnSuccess);
  CVPixelBufferRelease(buffer);
}

}  // namespace
