// How a recording stands, by the C interface.
#include "c_recorder.h"

using CStatus = CRecorderTest;

TEST_F(CStatus, OfANewRecorderIsAllNothing) {
  const vx_status now = status();
  EXPECT_EQ(now.output_path, nullptr);
  EXPECT_EQ(now.error, nullptr);
  EXPECT_EQ(now.error_code, 0);
  EXPECT_EQ(now.first_video_frame_time_ms, -1);
  EXPECT_EQ(now.writer_status, 0);
  EXPECT_FALSE(now.writing || now.done || now.ready_for_video || now.ready_for_audio ||
               now.started_session || now.is_video_rotation);
}

TEST_F(CStatus, FollowsTheRecording) {
  configure([](vx_configuration& configuration) { configuration.audio_enabled = true; });
  ASSERT_EQ(append(5000), VX_OK);
  const vx_status held = status();
  EXPECT_EQ(held.output_path, folder / "c.mp4");
  EXPECT_EQ(held.writer_status, 1);
  EXPECT_TRUE(held.writing && held.ready_for_video && held.ready_for_audio);
  EXPECT_TRUE(held.first_video_buffer);
  EXPECT_FALSE(held.started_session || held.done);
  ASSERT_EQ(append(5040), VX_OK);
  const vx_status written = status();
  EXPECT_EQ(written.first_video_frame_time_ms, 0);
  EXPECT_TRUE(written.started_session);
  EXPECT_FALSE(written.first_video_buffer);
  EXPECT_TRUE(written.first_audio_buffer);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  ASSERT_EQ(vx_recorder_wait_until_done(recorder, -1), VX_OK);
  EXPECT_TRUE(status().done);
  EXPECT_FALSE(status().writing);
}

TEST_F(CStatus, TellsTheRoomOfEachInput) {
  useScriptedWriter();
  const auto audio = std::make_shared<ScriptedInput>(vx::AVMediaTypeAudio);
  recorder->recorder->setAudioWriterInput(audio);
  audio->ready = false;
  EXPECT_TRUE(status().ready_for_video);
  EXPECT_FALSE(status().ready_for_audio);
}

TEST_F(CStatus, CarriesTheWritersError) {
  useScriptedWriter();
  writer->currentStatus = vx::AVAssetWriterStatusFailed;
  writer->currentError = vx::NSError(vx::AVFoundationErrorDomain, -11823, "The disk is full.");
  EXPECT_EQ(status().writer_status, 3);
  EXPECT_STREQ(status().error, "The disk is full.");
  EXPECT_EQ(status().error_code, -11823);
}

TEST_F(CStatus, TellsTheRotationThatTheLastFrameAskedFor) {
  for (const std::uint32_t type : {8u, 0u, 12u, 4u}) {
    CFrame frame;
    frame.frame.multi_video_type = type;
    EXPECT_EQ(vx_recorder_append_frame(recorder, &frame.frame), VX_OK);
    EXPECT_EQ(status().is_video_rotation, (type & 8) != 0) << type;
  }
}
