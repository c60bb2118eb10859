// The audio factory when there is no memory.
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "platform/cf_ref.h"
#include "support/audio_buffers.h"
#include "support/failing_memory.h"

#include <gtest/gtest.h>

#include <array>

using namespace vx;
using vx::test::FailingMemory;

namespace {

TEST(AudioFactoryWithoutMemory, MakesNoBufferOrOneWithoutDataWhicheverAllocationFails) {
  const std::array<std::uint8_t, 64> bytes{};
  const AudioStreamBasicDescription stream = test::aacStream();
  int missing = 0;
  int withoutData = 0;
  testing::internal::CaptureStderr();
  bool hasFailed = true;
  for (std::int64_t k = 0; hasFailed; ++k) {
    CFRef<CMSampleBufferRef> buffer;
    {
      const FailingMemory failing(FailingMemory::Source::operatorNew, FailingMemory::Extent::one,
                                  k);
      buffer = CFRef<CMSampleBufferRef>::adopt(
          VXVideoRecorder::createAudioSampleBuffer(bytes.data(), bytes.size(), stream));
      hasFailed = FailingMemory::count() > k;
    }
    missing += buffer ? 0 : 1;
    withoutData += buffer && !CMSampleBufferGetDataBuffer(buffer.get()) ? 1 : 0;
  }
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_GE(missing, 4) << "the copy, the format, the buffer and its timing take memory";
  EXPECT_EQ(withoutData, 2) << "the block and its bytes";
  EXPECT_NE(log.find("createAudioSampleBuffer exception : There is no memory for 64 bytes"),
            std::string::npos);
}

TEST(AudioFactoryWithoutMemory, SaysSoEvenIfThereIsNoneForTheReason) {
  const std::array<std::uint8_t, 64> bytes{};
  const AudioStreamBasicDescription stream = test::aacStream();
  testing::internal::CaptureStderr();
  CMSampleBufferRef buffer = nullptr;
  {
    const FailingMemory failing(FailingMemory::Source::operatorNew,
                                FailingMemory::Extent::allFromThere, 0);
    buffer = VXVideoRecorder::createAudioSampleBuffer(bytes.data(), bytes.size(), stream);
  }
  EXPECT_EQ(buffer, nullptr);
  EXPECT_NE(testing::internal::GetCapturedStderr().find(
                "There is not enough memory for an audio sample buffer."),
            std::string::npos);
}

}  // namespace
