#include "stress/outside_readers.h"

#include <gtest/gtest.h>

#include "support/program.h"

namespace vx::test {

void expectReadByAll(const std::string& path, std::int64_t pictures) {
  // The frames go out with their own times: rounded to a frame rate, some would collide.
  const ProgramResult ffmpeg =
      runProgram({"ffmpeg", "-nostdin", "-v", "error", "-xerror", "-err_detect", "explode", "-i",
                  path, "-fps_mode", "passthrough", "-enc_time_base", "-1", "-f", "null", "-"});
  EXPECT_EQ(ffmpeg.status, 0) << path;
  EXPECT_EQ(ffmpeg.errors, "") << path;

  const ProgramResult mediainfo = runProgram({"mediainfo", "--Inform=Video;%Format%", path});
  EXPECT_EQ(mediainfo.status, 0) << path;
  EXPECT_EQ(mediainfo.output.substr(0, 3), "AVC") << path;

  // Its decoder shows a picture when the next one comes, and calls a single one none at all.
  const char* decoder = pictures > 1 ? "openh264dec" : "identity";
  const ProgramResult gstreamer =
      runProgram({"gst-launch-1.0", "-q", "filesrc", "location=" + path, "!", "qtdemux", "!",
                  "h264parse", "!", decoder, "!", "fakesink"});
  EXPECT_EQ(gstreamer.status, 0) << path << gstreamer.errors;
}

}  // namespace vx::test
