// Conversion when there is no memory for a pool.
#include "platform/cf_ref.h"
#include "support/failing_memory.h"
#include "support/recorder_fixture.h"

#include <new>

using namespace vx;
using vx::test::FailingMemory;

namespace {

class StandAlone : public RecorderTest {
 protected:
  /// A black buffer for which no pool could be made: each allocation fails in turn until it is the
  /// pool's own. Those before it end the conversion.
  CFRef<CVPixelBufferRef> convertWithoutPool(CGSize size) {
    constexpr std::int64_t kMost = 100;
    for (std::int64_t k = 0; k < kMost && peer.pools().empty(); ++k) {
      try {
        const FailingMemory failing(FailingMemory::Source::operatorNew, FailingMemory::Extent::one,
                                    k);
        auto buffer = CFRef<CVPixelBufferRef>::adopt(
            peer.convertPixelBufferFromFrameBuffer(nullptr, size, 0, kCVPixelFormatType_32BGRA));
        if (buffer && peer.pools().empty()) {
          return buffer;
        }
      } catch (const std::bad_alloc&) {
        EXPECT_THAT(delegate->lines(), testing::IsEmpty());
      }
    }
    return {};
  }
};

TEST_F(StandAlone, BufferTakesThePlaceOfOneFromAPool) {
  const auto buffer = convertWithoutPool(CGSizeMake(5.75, 3.5));
  ASSERT_TRUE(buffer);
  EXPECT_EQ(CVPixelBufferGetWidth(buffer.get()), 5u);
  EXPECT_EQ(CVPixelBufferGetHeight(buffer.get()), 3u);
  EXPECT_EQ(CVPixelBufferGetPixelFormatType(buffer.get()), kCVPixelFormatType_32BGRA);
  EXPECT_EQ(CVPixelBufferGetBytesPerRow(buffer.get()), 20u) << "rows are not aligned";
  EXPECT_THAT(delegate->lines(), testing::ElementsAre(RememberingDelegate::Line{
                                     line(" Pixel buffer pool create failed"), 2}));
}

}  // namespace
