// Each allocation of a call fails in turn: the answer says so, and the call can be made again.
#include "c_recorder.h"
#include "support/failing_memory.h"
#include "support/recorder_peer.h"

using vx::test::FailingMemory;

namespace {

/// Makes the call with its first, second, ... allocation failing, until none does any more. Answers
/// how often it had no memory; `check` sees each answer.
int callWithEachAllocationFailing(const std::function<void()>& prepare,
                                  const std::function<vx_result()>& call,
                                  const std::function<void(vx_result)>& check) {
  int shortages = 0;
  for (std::int64_t k = 0;; ++k) {
    vx_result result = VX_OK;
    std::int64_t allocations = 0;
    prepare();
    {
      const FailingMemory failing(FailingMemory::Source::operatorNew, FailingMemory::Extent::one,
                                  k);
      result = call();
      allocations = FailingMemory::count();
    }
    shortages += result == VX_OUT_OF_MEMORY ? 1 : 0;
    check(result);
    if (allocations <= k) {
      return shortages;
    }
  }
}

}  // namespace

TEST(CMemory, ShortAtCreationLeavesNoRecorder) {
  vx_recorder* recorder = nullptr;
  const int shortages = callWithEachAllocationFailing(
      [] {}, [&] { return vx_recorder_create(nullptr, &recorder); },
      [&](vx_result result) {
        EXPECT_EQ(recorder == nullptr, result == VX_OUT_OF_MEMORY);
        EXPECT_TRUE(result == VX_OK || result == VX_OUT_OF_MEMORY) << result;
        vx_recorder_destroy(std::exchange(recorder, nullptr));
      });
  EXPECT_GE(shortages, 3) << "the handle, the host and the recorder take memory";
}

TEST(CMemory, ShortForTheReasonLeavesTheResult) {
  vx::capi::fail(VX_FAILED, "another reason");
  const std::string reason(10000, 'x');
  {
    const FailingMemory failing(FailingMemory::Source::operatorNew,
                                FailingMemory::Extent::allFromThere, 0);
    EXPECT_EQ(vx::capi::fail(VX_REFUSED, reason), VX_REFUSED);
  }
  EXPECT_STREQ(vx_last_error(), "");
}

TEST(CMemory, ShortAtTheFirstCallbackHindersNoNotice) {
  vx::capi::Host host(VX_CALLBACKS_INIT);
  {
    const FailingMemory failing(FailingMemory::Source::operatorNew,
                                FailingMemory::Extent::allFromThere, 0);
    host.writeVideoFileDone();
  }
  EXPECT_EQ(host.waitUntilDone(0), VX_FAILED) << "nobody knows of a file";
}

/// A recorder that is in the middle of a recording, as often as one is wanted.
class CMemoryOfARecording : public testing::Test {
 protected:
  void begin() {
    ASSERT_EQ(vx_recorder_create(nullptr, &recorder), VX_OK);
    writer = std::make_shared<ScriptedWriter>();
    input = std::make_shared<ScriptedInput>();
    recorder->recorder->setWriter(writer);
    recorder->recorder->setVideoWriterInput(input);
    recorder->recorder->setWriting(true);
    ASSERT_EQ(vx_recorder_append_frame(recorder, &first.frame), VX_OK);
  }
  void end() {
    writer->finishHandlers.clear();  // a scripted writer and its recorder hold each other
    vx_recorder_destroy(std::exchange(recorder, nullptr));
  }

  CFrame first{0};
  CFrame second{40, 32, 16};  // of a size of its own, so that it takes memory
  vx_recorder* recorder = nullptr;
  std::shared_ptr<ScriptedWriter> writer;
  std::shared_ptr<ScriptedInput> input;
};

TEST_F(CMemoryOfARecording, ShortAtAFrameIsTold) {
  const int shortages = callWithEachAllocationFailing(
      [&] { begin(); }, [&] { return vx_recorder_append_frame(recorder, &second.frame); },
      [&](vx_result result) {
        EXPECT_TRUE(result == VX_OK || result == VX_OUT_OF_MEMORY) << result;
        if (result == VX_OK) {
          EXPECT_EQ(input->samples.size(), 1u) << "the first frame is lost without a word";
          EXPECT_NE(VXVideoRecorderPeer(*recorder->recorder).buffer(), nullptr)
              << "the second frame is lost without a word";
        }
        EXPECT_EQ(vx_recorder_append_frame(recorder, &second.frame), VX_OK) << "it goes on";
        end();
      });
  EXPECT_GE(shortages, 3);
}

TEST_F(CMemoryOfARecording, ShortAtASoundIsTold) {
  const std::uint8_t units[] = {1, 2, 3, 4};
  const std::size_t lengths[] = {2, 2};
  const std::uint8_t config[] = {0x12, 0x10};
  vx_audio audio = VX_AUDIO_INIT;
  audio.data = units;
  audio.data_length = sizeof(units);
  audio.unit_lengths = lengths;
  audio.unit_count = 2;
  audio.config = config;
  audio.config_length = sizeof(config);
  audio.sample_rate = 44100;
  audio.channels = 2;
  std::shared_ptr<ScriptedInput> sound;
  const int shortages = callWithEachAllocationFailing(
      [&] {
        begin();
        sound = std::make_shared<ScriptedInput>(vx::AVMediaTypeAudio);
        recorder->recorder->setAudioWriterInput(sound);
        recorder->recorder->setFirstVideoFrameTime(vx::kCMTimeZero);
        recorder->recorder->setStartedSession(true);
        recorder->recorder->setFirstAudioBuffer(true);
      },
      [&] { return vx_recorder_append_audio(recorder, &audio); },
      [&](vx_result result) {
        EXPECT_TRUE(result == VX_OK || result == VX_OUT_OF_MEMORY) << result;
        EXPECT_EQ(vx_recorder_append_audio(recorder, &audio), VX_OK) << "it goes on";
        end();
      });
  EXPECT_GE(shortages, 6) << "the format, its bytes, the block, its bytes and the sample";
}

TEST_F(CMemoryOfARecording, ShortAtTheEndHindersNoNotice) {
  begin();
  ASSERT_EQ(vx_recorder_stop(recorder), VX_OK);
  {
    const FailingMemory failing(FailingMemory::Source::operatorNew,
                                FailingMemory::Extent::allFromThere, 0);
    writer->complete(vx::AVAssetWriterStatusCompleted);
  }
  EXPECT_EQ(vx_recorder_wait_until_done(recorder, 0), VX_OK);
  end();
}

TEST_F(CMemoryOfARecording, ShortAtTheStopLetsItBeStoppedAgain) {
  const int shortages = callWithEachAllocationFailing(
      [&] { begin(); }, [&] { return vx_recorder_stop(recorder); },
      [&](vx_result result) {
        if (result == VX_OUT_OF_MEMORY) {
          EXPECT_EQ(vx_recorder_wait_until_done(recorder, -1), VX_WRONG_STATE);
          EXPECT_EQ(vx_recorder_stop(recorder), VX_OK);
        } else {
          EXPECT_EQ(result, VX_OK);
        }
        EXPECT_EQ(writer->finishHandlers.size(), 1u);
        writer->complete(vx::AVAssetWriterStatusCompleted);
        EXPECT_EQ(vx_recorder_wait_until_done(recorder, -1), VX_OK);
        end();
      });
  EXPECT_GE(shortages, 1);
}
