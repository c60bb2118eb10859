// Where a recording can be entered.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/frame_source.h"
#include "support/media_reader.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

using testing::ElementsAre;

/// Times of the key frames of a recording with these frame times.
std::vector<std::int64_t> keyTimes(const std::vector<std::uint32_t>& timesMs) {
  const TemporaryFolder folder;
  const auto driven = DrivenRecorder::make(folder.path(), "keys.mp4");
  const SourceFrame frame =
      makeSourceFrame(vx::kCVPixelFormatType_32BGRA, 64, 48, plain({90, 90, 200}));
  for (const std::uint32_t time : timesMs) {
    driven->append(frame, time);
  }
  EXPECT_TRUE(driven->stop());
  std::vector<std::int64_t> keys;
  for (const Packet& packet : readFile(driven->path()).packetsOf(TrackKind::video)) {
    if (packet.isKey) {
      keys.push_back(packet.ptsMs);
    }
  }
  return keys;
}

std::vector<std::uint32_t> every(std::uint32_t intervalMs, std::uint32_t count) {
  std::vector<std::uint32_t> times;
  for (std::uint32_t i = 0; i < count; ++i) {
    times.push_back(i * intervalMs);
  }
  return times;
}

TEST(KeyFrames, FirstFrameIsOne) { EXPECT_THAT(keyTimes({500}), ElementsAre(0)); }

TEST(KeyFrames, ComeAtLeastEveryThirtyFrames) {
  EXPECT_THAT(keyTimes(every(33, 95)), ElementsAre(0, 30 * 33, 60 * 33, 90 * 33));
}

TEST(KeyFrames, ComeOnTheFirstFrameTwoSecondsAfterTheLastOne) {
  EXPECT_THAT(keyTimes({0, 700, 1400, 1999, 2000, 2700, 3999, 4100}), ElementsAre(0, 2000, 4100));
}

TEST(KeyFrames, ComeWithEachFrameOfAScreenThatHardlyChanges) {
  EXPECT_THAT(keyTimes({0, 5000, 10000, 10100}), ElementsAre(0, 5000, 10000));
}

}  // namespace
}  // namespace vx::test
