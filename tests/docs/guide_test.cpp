// The pieces of code that the guide shows, built and run. The blocks in docs/guide are kept equal
// to parts of this file by a test beside it.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <future>
#include <thread>

#include "VXVideoRecorder/VXRecordingRepair.h"
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "VXVideoRecorder/platform/AVVideoEncoder.h"
#include "support/media_reader.h"
#include "support/sound.h"
#include "support/temporary_folder.h"

namespace {

class Host : public VXVideoRecorderDelegate {
 public:
  void writeVideoFileDone() override { _done.set_value(); }
  void waitForFile() { _done.get_future().wait(); }

 private:
  std::promise<void> _done;
};

void show(VXVideoRecorder& recorder, const std::vector<std::uint32_t>& pixels, std::uint32_t ms) {
  recorder.appendVideoSample(
      {{"timestamp", ms},
       {"frameBuffer", vx::NSData::dataWithBytesNoCopy(pixels.data(), pixels.size() * 4)},
       {"pixelFormatType", vx::kCVPixelFormatType_32BGRA},
       {"width", 640u},
       {"height", 360u},
       {"bytesPerRow", 640u * 4}});
}

/// What each piece of the guide works on.
class Guide : public testing::Test {
 protected:
  std::shared_ptr<VXVideoRecorder> recorderFor(const std::string& name) {
    auto recorder = VXVideoRecorder::initWithDelegate(host);
    recorder->setStoragePath(folder.path());
    recorder->setFilename(name);
    return recorder;
  }
  vx::test::MediaFile fileNamed(const std::string& name) const {
    return vx::test::readFile(folder / name);
  }

  TemporaryFolder folder;
  std::shared_ptr<Host> host = std::make_shared<Host>();
  std::vector<std::uint32_t> pixels = std::vector<std::uint32_t>(640 * 360, 0xFF204060U);
};

TEST_F(Guide, FirstRecording) {
  const std::string recordings = folder.path();
  auto recorder = VXVideoRecorder::initWithDelegate(host);
  recorder->setStoragePath(recordings);
  recorder->setFilename("first.mp4");
  show(*recorder, pixels, 0);
  show(*recorder, pixels, 40);
  recorder->stop();
  host->waitForFile();
  EXPECT_EQ(fileNamed("first.mp4").videoTimesMs().size(), 2u);
}

TEST_F(Guide, Timing) {
  auto recorder = recorderFor("timing.mp4");
  show(*recorder, pixels, 70000);  // time 0 of the file
  show(*recorder, pixels, 70016);  // the first frame lasts 16 ms
  show(*recorder, pixels, 75016);  // the second one 5 s: nothing changed on the screen
  recorder->stop();                // the last one 1 ms
  host->waitForFile();
  EXPECT_EQ(fileNamed("timing.mp4").videoTimesMs(), (std::vector<std::int64_t>{0, 16, 5016}));
}

TEST_F(Guide, EveryFrameOfASourceThatWaits) {
  auto recorder = recorderFor("waits.mp4");
  for (std::uint32_t ms = 0; ms < 10000; ms += 40) {
    if (const auto& input = recorder->videoWriterInput()) {
      input->waitUntilReadyForMoreMediaData(std::chrono::seconds(10));
    }
    show(*recorder, pixels, ms);
  }
  recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::seconds(10));
  recorder->stop();
  host->waitForFile();
  EXPECT_EQ(fileNamed("waits.mp4").videoTimesMs().size(), 250u);
}

TEST_F(Guide, Pause) {
  auto recorder = recorderFor("pause.mp4");
  show(*recorder, pixels, 0);
  show(*recorder, pixels, 1000);
  recorder->pause();               // no frame is handed over from here on
  show(*recorder, pixels, 61000);  // the next one ends the pause: 1 s of black comes before it
  show(*recorder, pixels, 61500);
  recorder->stop();
  host->waitForFile();
  EXPECT_EQ(fileNamed("pause.mp4").videoTimesMs(),
            (std::vector<std::int64_t>{0, 1000, 2000, 2500}));
}

/// Owns a reference to one of the platform's objects.
template <typename Ref>
class Owned {
 public:
  ~Owned() {
    if (_object) vx::CFRelease(_object);
  }
  Ref* operator&() { return &_object; }
  operator Ref() const { return _object; }

 private:
  Ref _object = nullptr;
};

void hear(VXVideoRecorder& recorder, const std::vector<std::uint8_t>& unit,
          const std::vector<std::uint8_t>& config, std::int64_t time) {
  vx::AudioStreamBasicDescription stream;
  stream.mSampleRate = 44100;
  stream.mFormatID = vx::kAudioFormatMPEG4AAC;
  stream.mFormatFlags = vx::kMPEG4Object_AAC_LC;
  stream.mFramesPerPacket = 1024;
  stream.mChannelsPerFrame = 2;
  Owned<vx::CMAudioFormatDescriptionRef> format;
  vx::CMAudioFormatDescriptionCreate(vx::kCFAllocatorDefault, &stream, 0, nullptr, config.size(),
                                     config.data(), nullptr, &format);
  Owned<vx::CMBlockBufferRef> block;
  vx::CMBlockBufferCreateWithBytes(vx::kCFAllocatorDefault, unit.data(), unit.size(), &block);
  const vx::CMSampleTimingInfo timing{vx::CMTimeMake(1024, 44100), vx::CMTimeMake(time, 44100),
                                      vx::kCMTimeInvalid};
  const std::size_t size = unit.size();
  Owned<vx::CMSampleBufferRef> buffer;
  vx::CMSampleBufferCreateReady(vx::kCFAllocatorDefault, block, format, 1, 1, &timing, 1, &size,
                                &buffer);
  recorder.appendAudioSample(buffer);
}

TEST_F(Guide, Audio) {
  const vx::test::CodedSound sound = vx::test::encodeAac(vx::test::tone(44100));
  auto recorder = recorderFor("audio.mp4");
  recorder->setAudioEnabled(true);  // before the first frame
  show(*recorder, pixels, 0);
  show(*recorder, pixels, 40);  // now the first frame is written, and sound is taken
  std::int64_t time = 0;        // in samples; 0 is the first frame's moment
  for (const auto& unit : sound.units) {
    recorder->audioWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::seconds(10));
    hear(*recorder, unit, sound.config, time);
    time += 1024;
  }
  show(*recorder, pixels, 1000);
  recorder->stop();
  host->waitForFile();
  EXPECT_GE(vx::test::readSound(folder / "audio.mp4").units.size() + 1, sound.units.size());
}

TEST_F(Guide, Storage) {
  const std::string recordings = folder / "Recordings";
  auto recorder = VXVideoRecorder::initWithDelegate(host);
  recorder->setStoragePath(recordings);
  recorder->setFilename("meeting-2.mp4");
  recorder->setFileNamePrefix("meeting-");  // only such files may ever be deleted
  recorder->setFolderLimitSize(2000);       // megabytes
  show(*recorder, pixels, 0);
  show(*recorder, pixels, 1000);
  recorder->stop();
  host->waitForFile();  // the folder is within its quota now
  EXPECT_TRUE(folder.has("Recordings/meeting-2.mp4"));
}

TEST_F(Guide, Errors) {
  auto recorder = recorderFor("errors.mp4");
  show(*recorder, pixels, 0);
  if (recorder->writer() && recorder->writer()->status() == vx::AVAssetWriterStatusFailed) {
    std::fprintf(stderr, "%s\n", recorder->writer()->error()->localizedDescription().c_str());
  }
  recorder->stop();
  host->waitForFile();
  EXPECT_EQ(recorder->writer()->status(), vx::AVAssetWriterStatusCompleted);
}

TEST_F(Guide, Repair) {
  auto recorder = recorderFor("crashed.mp4");
  show(*recorder, pixels, 0);
  show(*recorder, pixels, 1000);
  recorder->stop();
  host->waitForFile();
  const std::string path = folder / "crashed.mp4";
  std::optional<vx::NSError> error;
  const auto found =
      VXRecordingRepair::inspectRecordingAtPath(path, VXInspectionDepth::index, &error);
  if (found && found->state() == VXRecordingState::interrupted) {
    VXRecordingRepair::repairRecordingAtPath(path, &error);
  }
  ASSERT_TRUE(found);
  EXPECT_EQ(found->state(), VXRecordingState::whole);
}

TEST_F(Guide, Threading) {
  auto recorder = recorderFor("threads.mp4");
  std::thread delivery([&] {
    for (std::uint32_t ms = 0; ms < 400; ms += 40) show(*recorder, pixels, ms);
  });
  delivery.join();   // no call may overlap another: the delivery has ended before this
  recorder->stop();  // returns at once; the file is completed on the writer's thread
  recorder.reset();  // may go at any moment, on any thread
  host->waitForFile();
  EXPECT_GT(fileNamed("threads.mp4").videoTimesMs().size(), 1u);
}

TEST_F(Guide, Encoder) {
  const std::string before = vx::AVVideoEncoder::preferredEncoderName();
  // Before the first frame of a recording; hardware where it works, software otherwise.
  vx::AVVideoEncoder::setPreferredEncoderName(vx::AVVideoEncoder::kAuto);
  auto recorder = recorderFor("encoder.mp4");
  show(*recorder, pixels, 0);
  show(*recorder, pixels, 40);
  recorder->stop();
  host->waitForFile();
  vx::AVVideoEncoder::setPreferredEncoderName(before);
  EXPECT_EQ(fileNamed("encoder.mp4").videoTimesMs().size(), 2u);
}

TEST_F(Guide, ManyFrames) {
  auto recorder = recorderFor("pixels.mp4");
  const std::size_t length =
      VXVideoRecorder::frameBufferLength(vx::kCVPixelFormatType_420YpCbCr8Planar, 1920, 1080, 0);
  std::vector<std::uint8_t> planes(length, 128);
  recorder->appendVideoSample(
      {{"timestamp", 0u},
       {"frameBuffer", vx::NSData::dataWithBytesNoCopy(planes.data(), planes.size())},
       {"pixelFormatType", vx::kCVPixelFormatType_420YpCbCr8Planar},
       {"width", 1920u},
       {"height", 1080u}});
  recorder->stop();
  host->waitForFile();
  EXPECT_EQ(fileNamed("pixels.mp4").video().width, 1920);
}

}  // namespace
