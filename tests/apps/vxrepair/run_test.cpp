#include "run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/growing_recording.h"

namespace vxrepair {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using vx::test::GrowingRecording;

/// What a run prints and answers.
struct Printed {
  explicit Printed(const Options& options) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    status = repairFiles(options);
    errors = testing::internal::GetCapturedStderr();
    output = testing::internal::GetCapturedStdout();
  }
  ExitStatus status;
  std::string output;
  std::string errors;
};

struct BrokenOff : GrowingRecording {
  BrokenOff() { pictures(5).breakOff(); }
};

TEST(Run, RepairsEveryFileAndTellsOfEach) {
  const BrokenOff first;
  const BrokenOff second;
  const Printed run({.files = {first.path, second.path}});
  EXPECT_EQ(run.status, ExitStatus::done);
  EXPECT_EQ(run.output, first.path + ": was broken off and is complete now: 5 frames, 0.200 s\n" +
                            second.path +
                            ": was broken off and is complete now: 5 frames, 0.200 s\n");
  EXPECT_THAT(run.errors, IsEmpty());
}

TEST(Run, GoesOnBehindAFileThatCannotBeRepaired) {
  const BrokenOff recording;
  const std::string missing = recording.folder / "missing.mp4";
  const Printed run({.files = {missing, recording.path}});
  EXPECT_EQ(run.status, ExitStatus::notRepaired);
  EXPECT_THAT(run.errors, StartsWith("vxrepair: " + missing + ": There is no file"));
  EXPECT_THAT(run.output, StartsWith(recording.path + ": was broken off"));
}

TEST(Run, ChangesNothingWhenDry) {
  const BrokenOff recording;
  const Printed run({.files = {recording.path}, .dryRun = true});
  EXPECT_EQ(run.status, ExitStatus::done);
  EXPECT_THAT(run.output, HasSubstr("can be completed"));
  EXPECT_EQ(vx::test::inspectRecording(recording.path).state(), VXRecordingState::interrupted);
}

TEST(Run, SaysWhenDryWhyNothingCanBeDone) {
  const TemporaryFolder folder;
  folder.makeFile("other.mp4", 5000);
  const Printed run({.files = {folder / "other.mp4"}, .dryRun = true});
  EXPECT_EQ(run.status, ExitStatus::notRepaired);
  EXPECT_THAT(run.output, IsEmpty());
  EXPECT_THAT(run.errors, HasSubstr("is not a recording"));
}

TEST(Run, SaysNothingButErrorsWhenQuiet) {
  const BrokenOff recording;
  const Printed run({.files = {recording.path, recording.folder / "missing.mp4"}, .quiet = true});
  EXPECT_THAT(run.output, IsEmpty());
  EXPECT_THAT(run.errors, HasSubstr("missing.mp4"));
}

TEST(Run, PrintsAnObjectForEachFileAlsoWhenQuiet) {
  const BrokenOff recording;
  const Printed run(
      {.files = {recording.path, recording.folder / "missing.mp4"}, .json = true, .quiet = true});
  EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 2);
  EXPECT_THAT(run.output, HasSubstr("\"outcome\": \"repaired\", \"state\": \"interrupted\""));
  EXPECT_THAT(run.output, HasSubstr("\"error\": \"There is no file"));
}

}  // namespace
}  // namespace vxrepair
