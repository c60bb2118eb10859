// The audio factory: what a block of bytes becomes, and what it says when it cannot.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>
#include <regex>
#include <thread>
#include <type_traits>

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "platform/cf_ref.h"
#include "support/audio_buffers.h"

using namespace vx;
using test::aacStream;

namespace {

using Buffer = CFRef<CMSampleBufferRef>;

Buffer makeWithFactory(std::int32_t length, const AudioStreamBasicDescription& stream) {
  static const std::vector<std::uint8_t> bytes(4096, 0x55);
  return Buffer::adopt(VXVideoRecorder::createAudioSampleBuffer(bytes.data(), length, stream));
}

TEST(AudioFactory, TakesTheTypesOfThePlatform) {
  using Make = CMSampleBufferRef (*)(const void*, std::int32_t, AudioStreamBasicDescription);
  static_assert(std::is_same_v<decltype(&VXVideoRecorder::createAudioSampleBuffer), Make>);
  const AudioStreamBasicDescription inOrder{44100.0, 1, 2, 3, 4, 5, 6, 7, 8};
  std::uint32_t numbers[8] = {};
  static_assert(sizeof inOrder == sizeof(double) + sizeof numbers);
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(&inOrder);
  std::memcpy(numbers, bytes + sizeof(double), sizeof numbers);
  EXPECT_EQ(inOrder.mSampleRate, 44100.0);
  EXPECT_THAT(numbers, testing::ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
  EXPECT_EQ(inOrder.mFormatID, 1u);
  EXPECT_EQ(inOrder.mFormatFlags, 2u);
  EXPECT_EQ(inOrder.mBytesPerPacket, 3u);
  EXPECT_EQ(inOrder.mFramesPerPacket, 4u);
  EXPECT_EQ(inOrder.mBytesPerFrame, 5u);
  EXPECT_EQ(inOrder.mChannelsPerFrame, 6u);
  EXPECT_EQ(inOrder.mBitsPerChannel, 7u);
  EXPECT_EQ(inOrder.mReserved, 8u);
}

TEST(AudioFactory, CopiesTheBytesIntoABufferOfTheStream) {
  std::vector<std::uint8_t> bytes{1, 2, 3, 4, 5};
  const AudioStreamBasicDescription stream = aacStream(48000, 1);
  const Buffer buffer =
      Buffer::adopt(VXVideoRecorder::createAudioSampleBuffer(bytes.data(), 5, stream));
  bytes.assign(5, 0);
  ASSERT_TRUE(buffer);
  EXPECT_TRUE(CMSampleBufferDataIsReady(buffer.get()));
  const CMBlockBufferRef block = CMSampleBufferGetDataBuffer(buffer.get());
  ASSERT_EQ(CMBlockBufferGetDataLength(block), 5u);
  EXPECT_EQ(CMBlockBufferGetBytes(block)[0], 1);
  EXPECT_EQ(CMBlockBufferGetBytes(block)[4], 5);
  EXPECT_EQ(*CMAudioFormatDescriptionGetStreamBasicDescription(
                CMSampleBufferGetFormatDescription(buffer.get())),
            stream);
}

TEST(AudioFactory, ClaimsAlways512SamplesFromTimeZeroOn) {
  for (const std::int32_t length : {1, 512, 4096}) {
    const Buffer buffer = makeWithFactory(length, aacStream());
    ASSERT_TRUE(buffer);
    EXPECT_EQ(CMSampleBufferGetNumSamples(buffer.get()), 512);
    EXPECT_EQ(CMTimeCompare(CMSampleBufferGetPresentationTimeStamp(buffer.get()), kCMTimeZero), 0);
  }
}

TEST(AudioFactory, GivesOneTimingToAllSamplesAndNoSizes) {
  const Buffer buffer = makeWithFactory(100, aacStream(44100));
  CMSampleTimingInfo timing;
  ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(buffer.get(), 0, &timing), noErr);
  EXPECT_EQ(timing.duration.value, 1024);
  EXPECT_EQ(timing.duration.timescale, 44100);
  EXPECT_TRUE(CMTIME_IS_INVALID(timing.decodeTimeStamp));
  EXPECT_EQ(CMSampleBufferGetSampleSize(buffer.get(), 0), 0u);
}

TEST(AudioFactory, CutsTheFractionOffTheRateForTheTimescale) {
  for (const double rate : {22050.5, 22050.9}) {
    const Buffer buffer = makeWithFactory(100, aacStream(rate));
    CMSampleTimingInfo timing;
    ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(buffer.get(), 0, &timing), noErr);
    EXPECT_EQ(timing.duration.timescale, 22050);
    EXPECT_EQ(CMAudioFormatDescriptionGetStreamBasicDescription(
                  CMSampleBufferGetFormatDescription(buffer.get()))
                  ->mSampleRate,
              rate);
  }
}

TEST(AudioFactory, CountsTheFramesOfAPacketWithoutSign) {
  AudioStreamBasicDescription stream = aacStream();
  stream.mFramesPerPacket = 4294967295u;
  const Buffer buffer = makeWithFactory(100, stream);
  CMSampleTimingInfo timing;
  ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(buffer.get(), 0, &timing), noErr);
  EXPECT_EQ(timing.duration.value, 4294967295);
}

TEST(AudioFactory, HandsItsOnlyReferenceToTheCaller) {
  // A leak checker fails this test if anything else is kept.
  for (int i = 0; i < 100; ++i) {
    makeWithFactory(64, aacStream());
  }
}

struct BadRate {
  const char* name;
  double rate;
};
class AudioFactoryRates : public testing::TestWithParam<BadRate> {};
INSTANTIATE_TEST_SUITE_P(
    All, AudioFactoryRates,
    testing::Values(BadRate{"Zero", 0}, BadRate{"Negative", -44100},
                    BadRate{"NotANumber", std::numeric_limits<double>::quiet_NaN()},
                    BadRate{"Infinite", std::numeric_limits<double>::infinity()}),
    [](const auto& test) { return test.param.name; });

TEST_P(AudioFactoryRates, MakeNoBufferAndNoLogLine) {
  testing::internal::CaptureStderr();
  EXPECT_FALSE(makeWithFactory(64, aacStream(GetParam().rate)));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(AudioFactory, TakesARateThatNoTimescaleHolds) {
  for (const double rate : {0.5, 1e300}) {
    const Buffer buffer = makeWithFactory(64, aacStream(rate));
    EXPECT_TRUE(buffer);
  }
}

TEST(AudioFactory, ReturnsABufferWithoutDataWhenThereIsNothingToAttach) {
  testing::internal::CaptureStderr();
  const Buffer buffer = makeWithFactory(0, aacStream());
  const std::string log = testing::internal::GetCapturedStderr();
  ASSERT_TRUE(buffer);
  EXPECT_EQ(CMSampleBufferGetDataBuffer(buffer.get()), nullptr);
  EXPECT_FALSE(CMSampleBufferDataIsReady(buffer.get()));
  EXPECT_NE(log.find(" Failed to convert audio buffer list into sample buffer (" +
                     std::to_string(kCMSampleBufferError_InvalidSampleData) + ")\n"),
            std::string::npos)
      << log;
}

TEST(AudioFactory, NeedsNoPlaceForNoBytes) {
  EXPECT_TRUE(Buffer::adopt(VXVideoRecorder::createAudioSampleBuffer(nullptr, 0, aacStream())));
}

TEST(AudioFactory, LogsWhatIsRaisedAndMakesNoBuffer) {
  for (const std::int32_t length : {-1, std::numeric_limits<std::int32_t>::min()}) {
    testing::internal::CaptureStderr();
    EXPECT_FALSE(makeWithFactory(length, aacStream()));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(std::regex_search(log, std::regex(" createAudioSampleBuffer exception : .+\\.\n$")))
        << log;
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
  }
}

TEST(AudioFactory, CopiesTheBytesBeforeItLooksAtTheStream) {
  testing::internal::CaptureStderr();
  EXPECT_FALSE(makeWithFactory(-1, aacStream(0)));  // a rate that alone fails in silence
  EXPECT_NE(testing::internal::GetCapturedStderr().find(" createAudioSampleBuffer exception : "),
            std::string::npos);
}

TEST(AudioFactory, LogsALengthWithoutBytes) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(VXVideoRecorder::createAudioSampleBuffer(nullptr, 16, aacStream()), nullptr);
  EXPECT_NE(testing::internal::GetCapturedStderr().find(" createAudioSampleBuffer exception : "),
            std::string::npos);
}

TEST(AudioFactory, RunsOnAnyThread) {
  std::vector<std::thread> threads;
  std::atomic<int> made = 0;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int k = 0; k < 50; ++k) {
        made += makeWithFactory(k + 1, aacStream()).get() != nullptr;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(made, 200);
}

}  // namespace
