// From creation to destruction: stop, the end of the recording, callbacks.
#include "c_recorder.h"
#include "support/media_reader.h"

#include <future>
#include <thread>

using CLifetime = CRecorderTest;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(CLifetime, IsOneRecordingWithOneNotice) {
  ASSERT_EQ(append(0), VX_OK);
  EXPECT_TRUE(status().writing);
  ASSERT_EQ(append(40), VX_OK);
  EXPECT_EQ(status().first_video_frame_time_ms, 0);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  ASSERT_EQ(vx_recorder_wait_until_done(recorder, -1), VX_OK);
  EXPECT_THAT(outcomes(), ElementsAre(VX_OK));
  EXPECT_THAT(lines().back(), EndsWith("Record c.mp4 - done"));
  const vx_status end = status();
  EXPECT_TRUE(end.done);
  EXPECT_FALSE(end.writing);
  EXPECT_EQ(end.writer_status, VX_WRITER_COMPLETED);
  EXPECT_EQ(end.output_path, folder / "c.mp4");
  EXPECT_EQ(vx::test::readFile(folder / "c.mp4").videoTimesMs(),
            (std::vector<std::int64_t>{0, 40}));
}

TEST_F(CLifetime, EndsWithoutAWordAfterTheNotice) {
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  ASSERT_EQ(vx_recorder_wait_until_done(recorder, -1), VX_OK);
  // Until the writer's thread has let go of the recorder, it is not destroyed here.
  while (recorder->recorder.use_count() > 1) {
    std::this_thread::yield();
  }
  vx_recorder_destroy(std::exchange(recorder, nullptr));
  EXPECT_THAT(lines().back(), EndsWith("Record c.mp4 - done"));
}

TEST_F(CLifetime, WithAPauseHasBlackInTheFile) {
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(append(40), VX_OK);
  ASSERT_EQ(vx_recorder_pause(recorder), VX_OK);
  ASSERT_EQ(append(9000), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  ASSERT_EQ(vx_recorder_wait_until_done(recorder, -1), VX_OK);
  EXPECT_LT(vx::test::readFile(folder / "c.mp4").durationMs, 1100);
}

TEST_F(CLifetime, HasNoFileWithoutAFrame) {
  EXPECT_EQ(vx_recorder_stop(recorder), VX_OK);
  EXPECT_EQ(vx_recorder_wait_until_done(recorder, 0), VX_WRONG_STATE);
  EXPECT_EQ(status().output_path, nullptr);
  EXPECT_EQ(status().first_video_frame_time_ms, -1);
  EXPECT_EQ(append(0), VX_OK) << "the recording may still begin";
}

TEST_F(CLifetime, TakesNothingAfterTheStop) {
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  EXPECT_EQ(append(40), VX_WRONG_STATE);
  EXPECT_EQ(vx_recorder_wait_for_room(recorder, 0), VX_WRONG_STATE);
  EXPECT_EQ(vx_recorder_stop(recorder), VX_WRONG_STATE);
}

TEST_F(CLifetime, TellsOfAFailureThatComesWithTheEnd) {
  useScriptedWriter();
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  EXPECT_EQ(vx_recorder_wait_until_done(recorder, 0), VX_TIMED_OUT);
  writer->currentError = vx::NSError(vx::AVFoundationErrorDomain, -11807, "The disk is full");
  writer->complete(vx::AVAssetWriterStatusFailed);
  EXPECT_EQ(vx_recorder_wait_until_done(recorder, 0), VX_FAILED);
  EXPECT_STREQ(vx_last_error(), "The disk is full");
  EXPECT_THAT(outcomes(), ElementsAre(VX_FAILED));
}

TEST_F(CLifetime, HasItsNoticeThoughItGotNoFile) {
  configure([](vx_configuration& configuration) { configuration.filename = "none/at/all.mp4"; });
  ASSERT_EQ(append(0), VX_FAILED);
  EXPECT_EQ(vx_recorder_stop(recorder), VX_OK);
  EXPECT_EQ(vx_recorder_wait_until_done(recorder, 60'000), VX_FAILED);
  EXPECT_THAT(outcomes(), ElementsAre(VX_FAILED));
}

TEST_F(CLifetime, TellsWhenTheWriterCannotBeStopped) {
  useScriptedWriter();
  input->raisesOnFinish = vx::NSException(vx::NSInternalInconsistencyException, "not now");
  EXPECT_EQ(vx_recorder_stop(recorder), VX_EXCEPTION);
  EXPECT_THAT(vx_last_error(), HasSubstr("not now"));
  EXPECT_EQ(vx_recorder_wait_until_done(recorder, -1), VX_WRONG_STATE) << "it goes on";
  input->raisesOnFinish.reset();
  EXPECT_EQ(vx_recorder_stop(recorder), VX_OK);
}

TEST_F(CLifetime, EndsThoughItsLastFrameIsRefused) {
  useScriptedWriter();
  ASSERT_EQ(append(0), VX_OK);
  input->acceptsSamples = false;
  EXPECT_EQ(vx_recorder_stop(recorder), VX_OK);
  EXPECT_EQ(writer->finishHandlers.size(), 1u);
}

TEST_F(CLifetime, MayEndWithinTheLineOfAStopThatWasRefused) {
  useScriptedWriter();
  input->raisesOnFinish = vx::NSException(vx::NSInternalInconsistencyException, "not now");
  onLog = [&](const std::string&) { vx_recorder_destroy(std::exchange(recorder, nullptr)); };
  EXPECT_EQ(vx_recorder_stop(recorder), VX_EXCEPTION);
  EXPECT_EQ(recorder, nullptr);
}

TEST_F(CLifetime, MayEndWithoutAStop) {
  ASSERT_EQ(append(0), VX_OK);
  const std::weak_ptr<vx::AVAssetWriter> finishing = recorder->recorder->writer();
  vx_recorder_destroy(std::exchange(recorder, nullptr));
  while (!finishing.expired()) {
    std::this_thread::yield();
  }
  EXPECT_EQ(vx::test::readFile(folder / "c.mp4").videoTimesMs().size(), 1u);
  EXPECT_THAT(outcomes(), IsEmpty());
  EXPECT_THAT(lines().back(), EndsWith("started session in appendVideoSample"))
      << "what the stop itself says still arrives";
}

TEST_F(CLifetime, HasNoCallbackAfterItsEnd) {
  useScriptedWriter();
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  vx_recorder_destroy(std::exchange(recorder, nullptr));
  const std::size_t count = lines().size();
  writer->complete(vx::AVAssetWriterStatusCompleted);
  EXPECT_THAT(outcomes(), IsEmpty());
  EXPECT_EQ(lines().size(), count);
}

TEST_F(CLifetime, WaitsForACallbackThatRuns) {
  useScriptedWriter();
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  std::promise<void> entered, mayLeave;
  std::atomic<bool> hasLeft = false;
  onDone = [&] {
    entered.set_value();
    mayLeave.get_future().wait();
    hasLeft = true;
  };
  std::thread finishing([&] { writer->complete(vx::AVAssetWriterStatusCompleted); });
  entered.get_future().wait();
  std::thread destroying([&] {
    vx_recorder_destroy(recorder);
    EXPECT_TRUE(hasLeft);
  });
  mayLeave.set_value();
  destroying.join();
  finishing.join();
  recorder = nullptr;
}

TEST_F(CLifetime, MayEndWithinItsNotice) {
  std::promise<void> destroyed;
  onDone = [&] {
    EXPECT_EQ(vx_recorder_wait_until_done(recorder, 0), VX_WRONG_STATE);
    EXPECT_EQ(status().writer_status, VX_WRITER_COMPLETED);
    vx_recorder_destroy(std::exchange(recorder, nullptr));
    destroyed.set_value();
  };
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  destroyed.get_future().wait();
}

TEST_F(CLifetime, MayEndWithinItsNoticeWhileThatIsWaitedFor) {
  useScriptedWriter();
  ASSERT_EQ(append(0), VX_OK);
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  onDone = [&] { vx_recorder_destroy(recorder); };
  const long heldBefore = recorder->recorder.use_count();
  std::thread waiting([&] { EXPECT_EQ(vx_recorder_wait_until_done(recorder, -1), VX_OK); });
  for (bool isWaiting = false; !isWaiting;) {
    const auto held = recorder->recorder;  // this copy is one, the wait's is another
    isWaiting = held.use_count() > heldBefore + 1;
  }
  writer->complete(vx::AVAssetWriterStatusCompleted);
  waiting.join();
  recorder = nullptr;
}

TEST_F(CLifetime, MayEndWithinALineOfTheLog) {
  onLog = [&](const std::string&) {
    onLog = nullptr;
    vx_recorder_destroy(std::exchange(recorder, nullptr));
  };
  append(0);
  EXPECT_EQ(recorder, nullptr);
}

TEST_F(CLifetime, SurvivesACallbackThatThrows) {
  onLog = [](const std::string&) { throw std::runtime_error("from the host"); };
  EXPECT_EQ(append(0), VX_OK);
  onLog = nullptr;
}

TEST_F(CLifetime, NeedsNoCallbacksAtAll) {
  vx_recorder* silent = nullptr;
  const vx_callbacks none = VX_CALLBACKS_INIT;
  ASSERT_EQ(vx_recorder_create(&none, &silent), VX_OK);
  vx_configuration configuration = VX_CONFIGURATION_INIT;
  configuration.storage_path = folder.path().c_str();
  configuration.filename = "silent.mp4";
  EXPECT_EQ(vx_recorder_set_configuration(silent, &configuration), VX_OK);
  const CFrame frame;
  EXPECT_EQ(vx_recorder_append_frame(silent, &frame.frame), VX_OK);
  EXPECT_EQ(vx_recorder_stop(silent), VX_OK);
  EXPECT_EQ(vx_recorder_wait_until_done(silent, -1), VX_OK);
  vx_recorder_destroy(silent);
}

TEST_F(CLifetime, NeedsAPlaceForTheRecorder) {
  EXPECT_EQ(vx_recorder_create(nullptr, nullptr), VX_INVALID_ARGUMENT);
  vx_callbacks unsized = VX_CALLBACKS_INIT;
  unsized.size = 1;
  vx_recorder* none = recorder;
  EXPECT_EQ(vx_recorder_create(&unsized, &none), VX_INVALID_ARGUMENT);
  EXPECT_EQ(none, nullptr);
}

TEST_F(CLifetime, OfNoRecorderIsWrongAndHarmless) {
  vx_recorder_destroy(nullptr);
  vx_status status = VX_STATUS_INIT;
  EXPECT_EQ(vx_recorder_pause(nullptr), VX_INVALID_ARGUMENT);
  EXPECT_EQ(vx_recorder_stop(nullptr), VX_INVALID_ARGUMENT);
  EXPECT_EQ(vx_recorder_wait_until_done(nullptr, 0), VX_INVALID_ARGUMENT);
  EXPECT_EQ(vx_recorder_get_status(nullptr, &status), VX_INVALID_ARGUMENT);
  EXPECT_EQ(vx_recorder_append_audio(nullptr, nullptr), VX_INVALID_ARGUMENT);
}
