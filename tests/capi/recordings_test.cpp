// Recordings that were broken off, by the C interface.
#include "c_recorder.h"

#include <filesystem>

using CRecordings = CRecorderTest;

namespace {

vx_recording_info inspect(const std::string& path) {
  vx_recording_info info = VX_RECORDING_INFO_INIT;
  EXPECT_EQ(vx_recording_inspect(path.c_str(), true, &info), VX_OK) << vx_last_error();
  return info;
}

}  // namespace

TEST_F(CRecordings, AreWholeOnceTheyAreDone) {
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(append(40), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  ASSERT_EQ(vx_recorder_wait_until_done(recorder, -1), VX_OK);
  const vx_recording_info info = inspect(folder / "c.mp4");
  EXPECT_EQ(info.state, VX_RECORDING_WHOLE);
  EXPECT_FALSE(info.can_be_repaired);
  EXPECT_EQ(info.video_samples, 2u);
  EXPECT_EQ(info.width, 64u);
  EXPECT_EQ(info.sample_rate, 0u);
  bool isChanged = true;
  EXPECT_EQ(vx_recording_repair((folder / "c.mp4").c_str(), &isChanged), VX_OK);
  EXPECT_FALSE(isChanged);
}

TEST_F(CRecordings, ThatWereBrokenOffAreCompleted) {
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(append(40), VX_OK);
  const std::string copy = folder / "copy.mp4";
  // What is on the disk once the first picture was published is what a crash would leave.
  do {
    std::filesystem::copy_file(folder / "c.mp4", copy,
                               std::filesystem::copy_options::overwrite_existing);
  } while (inspect(copy).video_samples == 0);
  EXPECT_EQ(inspect(copy).state, VX_RECORDING_INTERRUPTED);
  bool isChanged = false;
  EXPECT_EQ(vx_recording_repair(copy.c_str(), &isChanged), VX_OK) << vx_last_error();
  EXPECT_TRUE(isChanged);
  EXPECT_EQ(inspect(copy).state, VX_RECORDING_WHOLE);
}

TEST_F(CRecordings, ThatAreNotThereFail) {
  vx_recording_info info = VX_RECORDING_INFO_INIT;
  EXPECT_EQ(vx_recording_inspect((folder / "none.mp4").c_str(), false, &info), VX_FAILED);
  EXPECT_STRNE(vx_last_error(), "");
  EXPECT_EQ(vx_recording_repair((folder / "none.mp4").c_str(), nullptr), VX_FAILED);
  EXPECT_EQ(vx_recording_inspect(nullptr, false, &info), VX_INVALID_ARGUMENT);
  EXPECT_EQ(vx_recording_repair(nullptr, nullptr), VX_INVALID_ARGUMENT);
}
