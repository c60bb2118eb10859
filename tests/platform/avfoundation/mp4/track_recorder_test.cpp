#include "platform/avfoundation/mp4/track_recorder.h"

#include "support/failing_memory.h"

#include <gtest/gtest.h>

namespace vx::mp4::test {
namespace {

using vx::test::FailingMemory;

TEST(TrackRecorder, IndexingWhatWasPublishedNeedsNoMemory) {
  constexpr std::uint32_t kSamples = 50000;  // several blocks of the index
  TrackRecorder track(1);
  const std::array<std::uint8_t, 3> bytes{};
  for (std::uint32_t i = 0; i < kSamples; ++i) {
    track.append({bytes, std::int64_t{i} * i, 1, true}, std::int64_t{i} * i);
  }
  ASSERT_EQ(track.pending(0).samples.size(), kSamples);
  {
    const FailingMemory noMemory(FailingMemory::Source::operatorNew,
                                 FailingMemory::Extent::allFromThere, 0);
    track.markCommitted(1000);
  }
  EXPECT_EQ(track.index().sampleCount(), kSamples);
  EXPECT_GT(track.index().memoryBytes(), std::size_t{1} << 17);
  EXPECT_FALSE(track.hasPending());
}

TEST(TrackRecorder, ForgetsAStartThatWasNeverCommitted) {
  TrackRecorder track(1);
  const std::array<std::uint8_t, 3> bytes{};
  track.append({bytes, 70, 1, true}, 70);
  EXPECT_EQ(track.startTime(), 70);
  track.dropPending();
  EXPECT_EQ(track.startTime(), 0);
  EXPECT_FALSE(track.last());
  track.append({bytes, 80, 1, true}, 80);
  track.markCommitted(1000);
  track.append({bytes, 90, 1, true}, 90);
  track.dropPending();
  EXPECT_EQ(track.startTime(), 80);
  EXPECT_EQ(track.last()->time, 80);
}

}  // namespace
}  // namespace vx::mp4::test
