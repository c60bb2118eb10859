// Recordings that are looked at and repaired where an allocation fails.
#include "VXVideoRecorder/platform/AVFoundation.h"
#include "support/failing_memory.h"
#include "support/growing_recording.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <set>

namespace {

using vx::NSError;
using vx::test::FailingMemory;
using vx::test::GrowingRecording;
using vx::test::inspectRecording;

/// What `step` answers with its first, second, ... allocation failing, until none does any more.
std::set<std::string> answersToShortages(const std::function<std::string()>& step) {
  std::set<std::string> answers;
  std::string answer;
  bool hasFailed = true;
  for (std::int64_t k = 0; hasFailed; ++k) {
    {
      const FailingMemory failing(FailingMemory::Source::operatorNew, FailingMemory::Extent::one,
                                  k);
      answer = step();
      hasFailed = FailingMemory::count() > k;
    }
    answers.insert(answer);
  }
  return answers;
}

const std::string kNoMemory =
    "There is not enough memory to read the recording. Close other programs.";

TEST(InspectionWithoutMemory, SaysSo) {
  GrowingRecording recording;
  recording.sounds(3).pictures(10).finish();
  const auto inspect = [&]() -> std::string {
    std::optional<NSError> error;
    const auto found = VXRecordingRepair::inspectRecordingAtPath(
        recording.path, VXInspectionDepth::contents, &error);
    return found ? "read" : error->localizedDescription();
  };
  EXPECT_EQ(answersToShortages(inspect), (std::set<std::string>{"read", kNoMemory}));
}

// Whichever allocation fails, nothing is lost: another repair completes the recording.
TEST(RepairWithoutMemory, SaysSoAndCanBeMadeAgain) {
  std::optional<GrowingRecording> recording;
  bool hasFailed = true;
  int shortages = 0;
  for (std::int64_t k = 0; hasFailed; k += 1 + k / 10) {
    recording.emplace().sounds(3).pictures(10).breakOff();
    std::optional<NSError> error;
    std::optional<VXRepairResult> result;
    {
      const FailingMemory failing(FailingMemory::Source::operatorNew, FailingMemory::Extent::one,
                                  k);
      result = VXRecordingRepair::repairRecordingAtPath(recording->path, &error);
      hasFailed = FailingMemory::count() > k;
    }
    ASSERT_NE(result.has_value(), error.has_value()) << k;
    shortages += error ? 1 : 0;
    ASSERT_TRUE(VXRecordingRepair::repairRecordingAtPath(recording->path)) << k;
    const VXRecordingInspection whole = inspectRecording(recording->path);
    ASSERT_EQ(whole.state(), VXRecordingState::whole) << k;
    ASSERT_EQ(whole.videoTrack().value().sampleCount, 10u) << k;
  }
  EXPECT_GT(shortages, 10);
}

}  // namespace
