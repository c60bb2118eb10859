#include "report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/growing_recording.h"

namespace vxrepair {
namespace {

using testing::HasSubstr;
using testing::Not;
using vx::test::GrowingRecording;
using vx::test::inspectRecording;

FileReport reportOn(const GrowingRecording& recording, FileReport::Outcome outcome) {
  FileReport report;
  report.file = "a.mp4";
  report.outcome = outcome;
  report.found = inspectRecording(recording.path);
  return report;
}

/// Four pictures that can be shown, two behind a damaged one that cannot, and a torn end.
FileReport damagedReport() {
  GrowingRecording recording;
  recording.pictures(10).breakOff();
  vx::test::damagePicture(recording.path, 5);
  std::ofstream(recording.path, std::ios::app) << "torn off";
  return reportOn(recording, FileReport::Outcome::repairable);
}

TEST(Report, IsOneLineOfJson) {
  FileReport report;
  report.file = "a \"b\"\n\xFF.mp4";
  report.error = "no";
  EXPECT_EQ(asJson(report),
            "{\"file\": \"a \\\"b\\\"\\n\xEF\xBF\xBD.mp4\", \"outcome\": \"failed\", "
            "\"state\": null, \"frames\": 0, \"sounds\": 0, \"durationMs\": 0, \"tornBytes\": 0, "
            "\"damagedParts\": 0, \"leftOutFrames\": 0, \"error\": \"no\"}");
}

TEST(Report, TellsProgramsWhatIsInARecording) {
  GrowingRecording recording;
  recording.sounds(3).pictures(7).finish();
  EXPECT_EQ(asJson(reportOn(recording, FileReport::Outcome::whole)),
            R"({"file": "a.mp4", "outcome": "whole", "state": "whole", "frames": 7, )"
            R"("sounds": 3, "durationMs": 280, "tornBytes": 0, "damagedParts": 0, )"
            R"("leftOutFrames": 0, "error": null})");
}

TEST(Report, TellsProgramsWhatIsLost) {
  EXPECT_EQ(asJson(damagedReport()),
            R"({"file": "a.mp4", "outcome": "repairable", "state": "interrupted", "frames": 4, )"
            R"("sounds": 0, "durationMs": 160, "tornBytes": 8, "damagedParts": 1, )"
            R"("leftOutFrames": 2, "error": null})");
}

TEST(Report, NamesEveryOutcome) {
  FileReport report;
  for (const auto& [outcome, name] : {std::pair{FileReport::Outcome::whole, "whole"},
                                      {FileReport::Outcome::repaired, "repaired"},
                                      {FileReport::Outcome::repairable, "repairable"},
                                      {FileReport::Outcome::notRepaired, "failed"}}) {
    report.outcome = outcome;
    EXPECT_THAT(asJson(report), HasSubstr(std::string("\"outcome\": \"") + name + "\""));
  }
}

TEST(Report, TellsPeopleWhatIsInARecording) {
  GrowingRecording recording;
  recording.pictures(1).finish();
  EXPECT_EQ(asText(reportOn(recording, FileReport::Outcome::whole)),
            "a.mp4: is complete, nothing to do: 1 frame, 0.040 s\n");
  GrowingRecording withSound;
  withSound.sounds(1).pictures(2).breakOff();
  EXPECT_EQ(asText(reportOn(withSound, FileReport::Outcome::repaired)),
            "a.mp4: was broken off and is complete now: 2 frames, 0.080 s, with sound\n");
}

TEST(Report, TellsPeopleWhatIsLost) {
  EXPECT_EQ(asText(damagedReport()),
            "a.mp4: was broken off and can be completed: 4 frames, 0.160 s\n"
            "  left out, as still being written: 8 bytes at the end\n"
            "  left out, as damaged: 1 part\n"
            "  left out, as not to be shown without what is damaged before: 2 frames\n");
}

TEST(Report, OfAWholeRecordingHasNoLosses) {
  FileReport report = damagedReport();
  report.outcome = FileReport::Outcome::whole;
  EXPECT_THAT(asText(report), Not(HasSubstr("left out")));
}

}  // namespace
}  // namespace vxrepair
