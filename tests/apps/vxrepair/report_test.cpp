#include "report.h"

#include <gtest/gtest.h>

namespace vxrepair {
namespace {

TEST(Report, IsOneLineOfJson) {
  FileReport report;
  report.file = "a \"b\"\n\xFF.mp4";
  report.error = "no";
  EXPECT_EQ(asJson(report),
            "{\"file\": \"a \\\"b\\\"\\n\xEF\xBF\xBD.mp4\", \"outcome\": \"failed\", "
            "\"state\": null, \"frames\": 0, \"sounds\": 0, \"durationMs\": 0, \"tornBytes\": 0, "
            "\"damagedParts\": 0, \"leftOutFrames\": 0, \"error\": \"no\"}");
}

}  // namespace
}  // namespace vxrepair
