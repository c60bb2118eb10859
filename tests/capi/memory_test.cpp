// Each allocation of a call fails in turn: the answer says so, and the call can be made again.
#include "c_recorder.h"
#include "support/failing_memory.h"

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

/// A recorder that is in the middle of a recording, as often as one is wanted.
class CMemoryOfARecording : public testing::Test {
 protected:
  void begin() {
    ASSERT_EQ(vx_recorder_create(nullptr, &recorder), VX_OK);
    writer = std::make_shared<ScriptedWriter>();
    recorder->recorder->setWriter(writer);
    recorder->recorder->setVideoWriterInput(std::make_shared<ScriptedInput>());
    recorder->recorder->setWriting(true);
    ASSERT_EQ(vx_recorder_append_frame(recorder, &first.frame), VX_OK);
  }
  void end() {
    writer->finishHandlers.clear();  // a scripted writer and its recorder hold each other
    vx_recorder_destroy(std::exchange(recorder, nullptr));
  }

  CFrame first{0};
  CFrame second{40};
  vx_recorder* recorder = nullptr;
  std::shared_ptr<ScriptedWriter> writer;
};

TEST_F(CMemoryOfARecording, ShortAtAFrameIsTold) {
  const int shortages = callWithEachAllocationFailing(
      [&] { begin(); }, [&] { return vx_recorder_append_frame(recorder, &second.frame); },
      [&](vx_result result) {
        EXPECT_TRUE(result == VX_OK || result == VX_OUT_OF_MEMORY || result == VX_REFUSED)
            << result;
        EXPECT_EQ(vx_recorder_append_frame(recorder, &second.frame), VX_OK) << "it goes on";
        end();
      });
  EXPECT_GE(shortages, 3);
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
