// An asset writer of a file of its own, with a video input of 64 x 48 pixels and short words for
// samples.
#pragma once

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/cf_ref.h"
#include "support/recorder_fixture.h"

#include <future>

namespace vx {

class AssetWriterTest : public testing::Test {
 protected:
  AssetWriterTest() {
    writer = AVAssetWriter::initWithURL(NSURL::fileURLWithPath(path), AVFileTypeMPEG4, nullptr);
    input = makeInput(64, 48);
  }

  static std::shared_ptr<AVAssetWriterInput> makeInput(double width, double height) {
    auto recorder = VXVideoRecorder::initWithDelegate(nullptr);
    return AVAssetWriterInput::assetWriterInputWithMediaType(
        AVMediaTypeVideo, VXVideoRecorderPeer(*recorder).videoSettings(CGSizeMake(width, height)));
  }

  void start() {
    writer->addInput(input);
    ASSERT_TRUE(writer->startWriting());
  }
  void startSession() {
    start();
    writer->startSessionAtSourceTime(kCMTimeZero);
  }

  static CFRef<CMSampleBufferRef> sampleAt(CMTime time, std::int64_t durationMs = 40) {
    CFRef<CVPixelBufferRef> image;
    EXPECT_EQ(CVPixelBufferCreate(nullptr, 64, 48, kCVPixelFormatType_32BGRA, nullptr, image.out()),
              kCVReturnSuccess);
    CFRef<CMVideoFormatDescriptionRef> description;
    EXPECT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(nullptr, image.get(), description.out()),
              noErr);
    const CMSampleTimingInfo timing{CMTimeMake(durationMs, 1000), time, kCMTimeInvalid};
    CFRef<CMSampleBufferRef> sample;
    EXPECT_EQ(CMSampleBufferCreateReadyWithImageBuffer(nullptr, image.get(), description.get(),
                                                       &timing, sample.out()),
              noErr);
    return sample;
  }
  bool appendAt(std::int64_t ms) {
    return input->appendSampleBuffer(sampleAt(CMTimeMake(ms, 1000)).get());
  }

  /// Finishes and waits for the handler.
  void finish() {
    std::promise<void> finished;
    writer->finishWritingWithCompletionHandler([&] { finished.set_value(); });
    ASSERT_EQ(finished.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
  }

  TemporaryFolder folder;
  std::string path = folder / "recording.mp4";
  std::shared_ptr<AVAssetWriter> writer;
  std::shared_ptr<AVAssetWriterInput> input;
};

}  // namespace vx
