// The recorder and its held frame when there is no memory.
#include "platform/cf_ref.h"
#include "support/failing_memory.h"
#include "support/recorder_fixture.h"

using namespace vx;
using vx::test::FailingMemory;

namespace {

using VideoIntakeWithoutMemory = RecorderTest;

TEST_F(VideoIntakeWithoutMemory, HeldFrameIsGivenBackWhicheverPartOfItsSampleCannotBeMade) {
  useScriptedWriter();
  constexpr int kParts = 3;  // the description, the sample and its timing
  for (int part = 0; part < kParts; ++part) {
    appendAt(0);
    const auto held = CFRef<CVPixelBufferRef>::retain(peer.buffer());
    ASSERT_TRUE(held);
    {
      const FailingMemory failing(FailingMemory::Source::operatorNew, FailingMemory::Extent::one,
                                  part);
      peer.appendBufferWithDuration(40);
    }
    EXPECT_EQ(peer.buffer(), nullptr);
    EXPECT_EQ(CFGetRetainCount(held.get()), 1);
  }
  EXPECT_EQ(countOf(line(" Sample buffer create failed")), kParts);
  EXPECT_EQ(delegate->lines().size(), static_cast<std::size_t>(kParts));
  EXPECT_EQ(peer.timestamp(), 0u);
  EXPECT_THAT(writer->calls, testing::IsEmpty());
}

TEST_F(VideoIntakeWithoutMemory, RecorderThatCannotBeMadeIsNone) {
  std::shared_ptr<VXVideoRecorder> made;
  {
    const FailingMemory failing(FailingMemory::Source::operatorNew, FailingMemory::Extent::one, 0);
    made = VXVideoRecorder::initWithDelegate(delegate);
  }
  EXPECT_EQ(made, nullptr);
}

}  // namespace
