// What the recorder's calls do when there is no memory.
#include "recorder/memory_shortage.h"
#include "support/recorder_fixture.h"

#include <new>

using namespace vx;

namespace {

using testing::ElementsAre;

class MemoryShortage : public RecorderTest {
 protected:
  MemoryShortage() {
    useScriptedWriter();
    recorder->setStartedSession(true);
    appendAt(0);
    input->onAppend = [](CMSampleBufferRef) { throw std::bad_alloc(); };
    testing::internal::CaptureStderr();
  }
  /// The log is the delegate's alone.
  ~MemoryShortage() override { EXPECT_EQ(testing::internal::GetCapturedStderr(), ""); }

  RememberingDelegate::Line shortage(const std::string& whatIsLost) const {
    return {line(" There is not enough memory: " + whatIsLost), 2};
  }
};

TEST_F(MemoryShortage, LosesAFrameWithALine) {
  const std::uint32_t before = memoryShortages;
  EXPECT_NO_THROW(appendAt(40));
  EXPECT_EQ(memoryShortages, before + 1);
  EXPECT_THAT(delegate->lines(), ElementsAre(shortage("a frame is lost")));
  input->onAppend = nullptr;
  appendAt(80);
  appendAt(100);
  ASSERT_EQ(input->samples.size(), 2u);
  EXPECT_EQ(input->samples[1].duration.value, 100);
}

TEST_F(MemoryShortage, LosesAnAudioSampleWithALine) {
  recorder->setAudioWriterInput(input);
  recorder->setFirstVideoFrameTime(kCMTimeZero);
  CMSampleBufferRef sound = nullptr;
  AudioStreamBasicDescription stream;
  stream.mSampleRate = 44100.0;
  stream.mFormatID = kAudioFormatMPEG4AAC;
  stream.mFramesPerPacket = 1024;
  stream.mChannelsPerFrame = 2;
  sound = VXVideoRecorder::createAudioSampleBuffer("sound", 5, stream);
  EXPECT_NO_THROW(recorder->appendAudioSample(sound));
  CFRelease(sound);
  EXPECT_THAT(delegate->lines(), ElementsAre(shortage("an audio sample is lost")));
}

TEST_F(MemoryShortage, LeavesTheRecordingToBeStoppedAgainWithALine) {
  EXPECT_NO_THROW(recorder->stop());
  EXPECT_THAT(delegate->lines(), ElementsAre(shortage("the recording is not stopped yet")));
  EXPECT_TRUE(writer->finishHandlers.empty());
  input->onAppend = nullptr;
  recorder->stop();
  EXPECT_EQ(writer->finishHandlers.size(), 1u);
}

TEST_F(MemoryShortage, OfTheWritersFinishLeavesTheRecordingToBeStoppedAgain) {
  struct ShortAtTheFinish : ScriptedWriter {
    void finishWritingWithCompletionHandler(std::function<void()>) override {
      throw std::bad_alloc();
    }
  };
  input->onAppend = nullptr;
  recorder->setWriter(std::make_shared<ShortAtTheFinish>());
  recorder->setWriting(true);
  EXPECT_NO_THROW(recorder->stop());
  EXPECT_THAT(delegate->lines(), ElementsAre(shortage("the recording is not stopped yet")));
  EXPECT_TRUE(recorder->writing());
  recorder->setWriter(writer);
  recorder->stop();
  EXPECT_FALSE(recorder->writing());
}

TEST_F(MemoryShortage, LosesTheLineThatThereIsNoMemoryFor) {
  struct Deaf : VXVideoRecorderDelegate {
    void writeLog(const std::string&, std::int32_t) override { throw std::bad_alloc(); }
  };
  recorder->delegate = std::make_shared<Deaf>();
  EXPECT_NO_THROW(appendAt(40));
  recorder->delegate = delegate;
}

TEST_F(MemoryShortage, AnnouncesAFileWhoseLineIsLost) {
  struct DeafToLines : RememberingDelegate {
    void writeLog(const std::string& message, std::int32_t level) override {
      if (message.find(" Record ") != std::string::npos) {
        throw std::bad_alloc();
      }
      RememberingDelegate::writeLog(message, level);
    }
  };
  auto deaf = std::make_shared<DeafToLines>();
  recorder->delegate = deaf;
  input->onAppend = nullptr;
  recorder->stop();
  writer->complete(AVAssetWriterStatusCompleted);
  EXPECT_THAT(deaf->lines(), ElementsAre(shortage("a line of the log is lost")));
  EXPECT_EQ(deaf->filesDone(), 1);
}

TEST_F(MemoryShortage, OfALineFromWhichTheHostLetGoHarmsNobody) {
  struct LettingGo : VXVideoRecorderDelegate {
    std::shared_ptr<VXVideoRecorder>* host = nullptr;
    void writeLog(const std::string&, std::int32_t) override {
      host->reset();
      throw std::bad_alloc();
    }
  };
  auto lettingGo = std::make_shared<LettingGo>();
  lettingGo->host = &recorder;
  recorder->delegate = lettingGo;
  recorder->setStartedSession(false);
  EXPECT_NO_THROW(appendAt(40));
  EXPECT_EQ(recorder, nullptr);
}

}  // namespace
