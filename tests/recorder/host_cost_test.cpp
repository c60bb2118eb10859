// What a frame costs the host's thread beside the copy of its pixels. The program's allocations and
// its calls of statvfs are counted (see CMakeLists.txt).
#include "support/failing_memory.h"
#include "support/recorder_fixture.h"

#include <sys/statvfs.h>

static int s_questions = 0;

extern "C" {
int __real_statvfs(const char* path, struct statvfs* volume);
int __wrap_statvfs(const char* path, struct statvfs* volume) {
  ++s_questions;
  return __real_statvfs(path, volume);
}
}

using namespace vx;
using vx::test::FailingMemory;

namespace {

/// Takes every sample and remembers none.
class DiscardingInput : public AVAssetWriterInput {
 public:
  DiscardingInput() : AVAssetWriterInput(AVMediaTypeVideo, std::nullopt, nullptr) {}
  bool isReadyForMoreMediaData() const override { return true; }
  bool appendSampleBuffer(CMSampleBufferRef) override { return true; }
};

using HostCost = RecorderTest;

TEST_F(HostCost, OfASteadyFrameIsOneQuestionToTheDiskAndTwoSmallObjects) {
  useScriptedWriter();
  recorder->setVideoWriterInput(std::make_shared<DiscardingInput>());
  for (const std::uint32_t timestampMs : {0u, 40u, 80u}) appendAt(timestampMs);
  const NSDictionary frame = FrameBuilder().at(120).build();
  s_questions = 0;
  constexpr std::int64_t kNoneFails = -1;
  const FailingMemory counted(FailingMemory::Source::operatorNew, FailingMemory::Extent::one,
                              kNoneFails);
  recorder->appendVideoSample(frame);
  EXPECT_EQ(FailingMemory::count(), 3) << "a description; a sample and its time";
  EXPECT_EQ(s_questions, 1);
  EXPECT_EQ(peer.timestamp(), 120u) << "the frame was written";
}

}  // namespace
