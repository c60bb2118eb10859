#include "VXVideoRecorder/platform/CoreMedia.h"
#include "VXVideoRecorder/platform/CoreVideo.h"
#include "platform/cf_ref.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

namespace vx {
namespace {

using SampleBuffer = CFRef<CMSampleBufferRef>;
using BlockBuffer = CFRef<CMBlockBufferRef>;
using FormatDescription = CFRef<CMFormatDescriptionRef>;

AudioStreamBasicDescription aac() {
  AudioStreamBasicDescription stream;
  stream.mSampleRate = 44100;
  stream.mFormatID = kAudioFormatMPEG4AAC;
  stream.mFramesPerPacket = 1024;
  stream.mChannelsPerFrame = 2;
  return stream;
}

FormatDescription audioFormat() {
  FormatDescription format;
  const AudioStreamBasicDescription stream = aac();
  EXPECT_EQ(CMAudioFormatDescriptionCreate(nullptr, &stream, 0, nullptr, 0, nullptr, nullptr,
                                           format.out()),
            noErr);
  return format;
}

BlockBuffer blockOf(std::string_view bytes) {
  BlockBuffer block;
  EXPECT_EQ(CMBlockBufferCreateWithBytes(nullptr, bytes.data(), bytes.size(), block.out()), noErr);
  return block;
}

CFRef<CVPixelBufferRef> picture() {
  CFRef<CVPixelBufferRef> buffer;
  EXPECT_EQ(CVPixelBufferCreate(nullptr, 6, 4, kCVPixelFormatType_32BGRA, nullptr, buffer.out()),
            kCVReturnSuccess);
  return buffer;
}

CMSampleTimingInfo timing(std::int64_t durationMs, std::int64_t presentationMs) {
  return {CMTimeMake(durationMs, 1000), CMTimeMake(presentationMs, 1000), kCMTimeInvalid};
}

/// The arguments of a creation, with the same times and sizes for all samples at first.
struct Creation {
  CMBlockBufferRef data = nullptr;
  CMItemCount samples = 1;
  std::vector<CMSampleTimingInfo> timings = {timing(20, 100)};
  std::vector<std::size_t> sizes = {};

  OSStatus into(SampleBuffer& buffer) const {
    const FormatDescription format = audioFormat();
    return CMSampleBufferCreate(nullptr, data, data != nullptr, nullptr, nullptr, format.get(),
                                samples, static_cast<CMItemCount>(timings.size()), timings.data(),
                                static_cast<CMItemCount>(sizes.size()), sizes.data(), buffer.out());
  }
  SampleBuffer made() const {
    SampleBuffer buffer;
    EXPECT_EQ(into(buffer), noErr);
    return buffer;
  }
  OSStatus status() const {
    SampleBuffer buffer;
    return into(buffer);
  }
};

// ---- format descriptions

TEST(FormatDescription, AudioKeepsStreamAndCookie) {
  const AudioStreamBasicDescription stream = aac();
  std::vector<std::uint8_t> cookie = {0x12, 0x10};
  FormatDescription format;
  ASSERT_EQ(CMAudioFormatDescriptionCreate(nullptr, &stream, 0, nullptr, cookie.size(),
                                           cookie.data(), nullptr, format.out()),
            noErr);
  cookie.assign(2, 0);
  EXPECT_EQ(CMFormatDescriptionGetMediaType(format.get()), kCMMediaType_Audio);
  EXPECT_EQ(CMFormatDescriptionGetMediaSubType(format.get()), kAudioFormatMPEG4AAC);
  EXPECT_EQ(*CMAudioFormatDescriptionGetStreamBasicDescription(format.get()), stream);
  std::size_t size = 0;
  const auto* kept =
      static_cast<const std::uint8_t*>(CMAudioFormatDescriptionGetMagicCookie(format.get(), &size));
  ASSERT_EQ(size, 2u);
  EXPECT_EQ(kept[0], 0x12);
}

TEST(FormatDescription, AudioWithoutCookieAnswersNull) {
  const FormatDescription format = audioFormat();
  std::size_t size = 7;
  EXPECT_EQ(CMAudioFormatDescriptionGetMagicCookie(format.get(), &size), nullptr);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(CMAudioFormatDescriptionGetMagicCookie(format.get(), nullptr), nullptr);
}

TEST(FormatDescription, AudioRefusesUnusableParameters) {
  const auto create = [](const AudioStreamBasicDescription* stream, std::size_t cookieSize) {
    FormatDescription format;
    return CMAudioFormatDescriptionCreate(nullptr, stream, 0, nullptr, cookieSize, nullptr, nullptr,
                                          format.out());
  };
  AudioStreamBasicDescription stream = aac();
  EXPECT_EQ(create(nullptr, 0), kCMFormatDescriptionError_InvalidParameter);
  EXPECT_EQ(create(&stream, 4), kCMFormatDescriptionError_InvalidParameter);
  EXPECT_EQ(
      CMAudioFormatDescriptionCreate(nullptr, &stream, 0, nullptr, 0, nullptr, nullptr, nullptr),
      kCMFormatDescriptionError_InvalidParameter);
  for (const double rate : {0.0, -44100.0, std::numeric_limits<double>::quiet_NaN(),
                            std::numeric_limits<double>::infinity()}) {
    stream.mSampleRate = rate;
    EXPECT_EQ(create(&stream, 0), kCMFormatDescriptionError_InvalidParameter) << rate;
  }
}

TEST(FormatDescription, VideoTellsSizeAndPixelFormat) {
  const auto buffer = picture();
  FormatDescription format;
  ASSERT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(nullptr, buffer.get(), format.out()),
            noErr);
  EXPECT_EQ(CMFormatDescriptionGetMediaType(format.get()), kCMMediaType_Video);
  EXPECT_EQ(CMFormatDescriptionGetMediaSubType(format.get()), kCVPixelFormatType_32BGRA);
  EXPECT_EQ(CMVideoFormatDescriptionGetDimensions(format.get()).width, 6);
  EXPECT_EQ(CMVideoFormatDescriptionGetDimensions(format.get()).height, 4);
  EXPECT_EQ(CMAudioFormatDescriptionGetStreamBasicDescription(format.get()), nullptr);
}

TEST(FormatDescription, VideoRefusesNull) {
  FormatDescription format;
  EXPECT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(nullptr, nullptr, format.out()),
            kCMFormatDescriptionError_InvalidParameter);
  EXPECT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(nullptr, picture().get(), nullptr),
            kCMFormatDescriptionError_InvalidParameter);
}

// ---- block buffers

TEST(BlockBuffer, HoldsACopy) {
  std::string bytes = "abc";
  const BlockBuffer block = blockOf(bytes);
  bytes = "xyz";
  ASSERT_EQ(CMBlockBufferGetDataLength(block.get()), 3u);
  EXPECT_EQ(std::memcmp(CMBlockBufferGetBytes(block.get()), "abc", 3), 0);
}

TEST(BlockBuffer, RefusesUnusableParameters) {
  BlockBuffer block;
  EXPECT_EQ(CMBlockBufferCreateWithBytes(nullptr, "a", 0, block.out()),
            kCMBlockBufferBadLengthParameterErr);
  EXPECT_EQ(CMBlockBufferCreateWithBytes(nullptr, nullptr, 1, block.out()),
            kCMBlockBufferBadPointerParameterErr);
  EXPECT_EQ(CMBlockBufferCreateWithBytes(nullptr, "a", 1, nullptr),
            kCMBlockBufferBadPointerParameterErr);
}

// ---- sample buffers

TEST(SampleBuffer, AroundAPictureKeepsItAlive) {
  auto image = picture();
  FormatDescription format;
  ASSERT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(nullptr, image.get(), format.out()),
            noErr);
  const CMSampleTimingInfo time = timing(40, 80);
  SampleBuffer sample;
  ASSERT_EQ(CMSampleBufferCreateReadyWithImageBuffer(nullptr, image.get(), format.get(), &time,
                                                     sample.out()),
            noErr);
  EXPECT_EQ(CFGetRetainCount(image.get()), 2);
  EXPECT_EQ(CFGetRetainCount(format.get()), 2);
  EXPECT_EQ(CMSampleBufferGetImageBuffer(sample.get()), image.get());
  EXPECT_EQ(CMSampleBufferGetFormatDescription(sample.get()), format.get());
  EXPECT_EQ(CMSampleBufferGetNumSamples(sample.get()), 1);
  EXPECT_TRUE(CMSampleBufferDataIsReady(sample.get()));
  EXPECT_EQ(CMSampleBufferGetDataBuffer(sample.get()), nullptr);
  EXPECT_EQ(
      CMTimeCompare(CMSampleBufferGetPresentationTimeStamp(sample.get()), CMTimeMake(80, 1000)), 0);
  sample.reset();
  EXPECT_EQ(CFGetRetainCount(image.get()), 1);
}

TEST(SampleBuffer, AroundAPictureRefusesMissingParameters) {
  const auto image = picture();
  const FormatDescription audio = audioFormat();
  const CMSampleTimingInfo time = timing(40, 80);
  SampleBuffer sample;
  EXPECT_EQ(
      CMSampleBufferCreateReadyWithImageBuffer(nullptr, nullptr, audio.get(), &time, sample.out()),
      kCMSampleBufferError_RequiredParameterMissing);
  EXPECT_EQ(
      CMSampleBufferCreateReadyWithImageBuffer(nullptr, image.get(), nullptr, &time, sample.out()),
      kCMSampleBufferError_RequiredParameterMissing);
  EXPECT_EQ(CMSampleBufferCreateReadyWithImageBuffer(nullptr, image.get(), audio.get(), nullptr,
                                                     sample.out()),
            kCMSampleBufferError_RequiredParameterMissing);
  EXPECT_EQ(CMSampleBufferCreateReadyWithImageBuffer(nullptr, image.get(), audio.get(), &time,
                                                     sample.out()),
            kCMSampleBufferError_InvalidMediaFormat);
  EXPECT_EQ(
      CMSampleBufferCreateReadyWithImageBuffer(nullptr, image.get(), audio.get(), &time, nullptr),
      kCMSampleBufferError_RequiredParameterMissing);
}

TEST(SampleBuffer, AroundAPictureRefusesTheDescriptionOfAnother) {
  const auto image = picture();
  const CMSampleTimingInfo time = timing(40, 80);
  const std::size_t width = CVPixelBufferGetWidth(image.get());
  const std::size_t height = CVPixelBufferGetHeight(image.get());
  const OSType format = CVPixelBufferGetPixelFormatType(image.get());
  struct Other {
    std::size_t width, height;
    OSType format;
  };
  for (const Other& each : {Other{width + 2, height, format}, Other{width, height + 2, format},
                            Other{width, height,
                                  format == kCVPixelFormatType_24RGB ? kCVPixelFormatType_32BGRA
                                                                     : kCVPixelFormatType_24RGB}}) {
    CVPixelBufferRef other = nullptr;
    ASSERT_EQ(CVPixelBufferCreate(nullptr, each.width, each.height, each.format, nullptr, &other),
              kCVReturnSuccess);
    FormatDescription description;
    EXPECT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(nullptr, other, description.out()),
              noErr);
    SampleBuffer sample;
    EXPECT_EQ(CMSampleBufferCreateReadyWithImageBuffer(nullptr, image.get(), description.get(),
                                                       &time, sample.out()),
              kCMSampleBufferError_InvalidMediaFormat);
    EXPECT_EQ(sample.get(), nullptr);
    CFRelease(other);
  }
}

TEST(SampleBuffer, OneTimingEntryServesAllSamples) {
  const SampleBuffer sample = Creation{.samples = 512}.made();
  CMSampleTimingInfo last{};
  ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(sample.get(), 511, &last), noErr);
  EXPECT_EQ(CMTimeCompare(last.presentationTimeStamp, CMTimeMake(100 + 511 * 20, 1000)), 0);
  EXPECT_EQ(CMTimeCompare(last.duration, CMTimeMake(20, 1000)), 0);
  EXPECT_TRUE(CMTIME_IS_INVALID(last.decodeTimeStamp));
  EXPECT_EQ(CMTimeCompare(CMSampleBufferGetDuration(sample.get()), CMTimeMake(512 * 20, 1000)), 0);
}

TEST(SampleBuffer, OneTimingEntryServesTheDecodeTimesToo) {
  const CMSampleTimingInfo first{CMTimeMake(20, 1000), CMTimeMake(100, 1000), CMTimeMake(90, 1000)};
  const SampleBuffer sample = Creation{.samples = 4, .timings = {first}}.made();
  CMSampleTimingInfo last{};
  ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(sample.get(), 3, &last), noErr);
  EXPECT_EQ(CMTimeCompare(last.presentationTimeStamp, CMTimeMake(160, 1000)), 0);
  EXPECT_EQ(CMTimeCompare(last.decodeTimeStamp, CMTimeMake(150, 1000)), 0);
}

TEST(SampleBuffer, OwnTimingEntriesAreReadOneByOne) {
  const SampleBuffer sample =
      Creation{.samples = 3, .timings = {timing(20, 0), timing(30, 20), timing(0, 50)}}.made();
  CMSampleTimingInfo second{};
  ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(sample.get(), 1, &second), noErr);
  EXPECT_EQ(CMTimeCompare(second.presentationTimeStamp, CMTimeMake(20, 1000)), 0);
  EXPECT_EQ(CMTimeCompare(CMSampleBufferGetDuration(sample.get()), CMTimeMake(50, 1000)), 0);
}

TEST(SampleBuffer, TimingOfAnIndexOutsideIsRefused) {
  const SampleBuffer sample = Creation{.samples = 2}.made();
  CMSampleTimingInfo info{};
  EXPECT_EQ(CMSampleBufferGetSampleTimingInfo(sample.get(), 2, &info),
            kCMSampleBufferError_SampleIndexOutOfRange);
  EXPECT_EQ(CMSampleBufferGetSampleTimingInfo(sample.get(), -1, &info),
            kCMSampleBufferError_SampleIndexOutOfRange);
  EXPECT_EQ(CMSampleBufferGetSampleTimingInfo(sample.get(), 0, nullptr),
            kCMSampleBufferError_RequiredParameterMissing);
}

TEST(SampleBuffer, WithoutTimingEntriesTimesAreInvalid) {
  const SampleBuffer sample = Creation{.timings = {}}.made();
  CMSampleTimingInfo info{};
  EXPECT_EQ(CMSampleBufferGetSampleTimingInfo(sample.get(), 0, &info),
            kCMSampleBufferError_BufferHasNoSampleTimingInfo);
  EXPECT_TRUE(CMTIME_IS_INVALID(CMSampleBufferGetPresentationTimeStamp(sample.get())));
  EXPECT_TRUE(CMTIME_IS_INVALID(CMSampleBufferGetDuration(sample.get())));
}

TEST(SampleBuffer, EntryCountsMustFitTheSamples) {
  EXPECT_EQ(Creation{.samples = -1}.status(), kCMSampleBufferError_InvalidEntryCount);
  EXPECT_EQ((Creation{.samples = 3, .timings = {timing(1, 0), timing(1, 1)}}.status()),
            kCMSampleBufferError_InvalidEntryCount);
  EXPECT_EQ((Creation{.samples = 3, .sizes = {1, 1}}.status()),
            kCMSampleBufferError_InvalidEntryCount);
}

TEST(SampleBuffer, NegativeEntryCountsAndNullArraysAreRefused) {
  SampleBuffer sample;
  const CMSampleTimingInfo time = timing(1, 0);
  const auto create = [&](CMItemCount timings, const CMSampleTimingInfo* timingArray,
                          CMItemCount sizes) {
    return CMSampleBufferCreateReady(nullptr, nullptr, nullptr, 1, timings, timingArray, sizes,
                                     nullptr, sample.out());
  };
  EXPECT_EQ(create(-1, &time, 0), kCMSampleBufferError_InvalidEntryCount);
  EXPECT_EQ(create(1, &time, -1), kCMSampleBufferError_InvalidEntryCount);
  EXPECT_EQ(create(1, nullptr, 0), kCMSampleBufferError_RequiredParameterMissing);
  EXPECT_EQ(create(1, &time, 1), kCMSampleBufferError_RequiredParameterMissing);
  EXPECT_EQ(CMSampleBufferCreateReady(nullptr, nullptr, nullptr, 1, 1, &time, 0, nullptr, nullptr),
            kCMSampleBufferError_RequiredParameterMissing);
}

TEST(SampleBuffer, SizesMustLieWithinTheBlock) {
  const BlockBuffer block = blockOf("0123456789");
  constexpr std::size_t kHuge = std::numeric_limits<std::size_t>::max();
  EXPECT_EQ((Creation{.data = block.get(), .samples = 2, .sizes = {5}}.status()), noErr);
  EXPECT_EQ((Creation{.data = block.get(), .samples = 2, .sizes = {6}}.status()),
            kCMSampleBufferError_InvalidSampleData);
  EXPECT_EQ((Creation{.data = block.get(), .samples = 2, .sizes = {4, 6}}.status()), noErr);
  EXPECT_EQ((Creation{.data = block.get(), .samples = 2, .sizes = {4, 7}}.status()),
            kCMSampleBufferError_InvalidSampleData);
  EXPECT_EQ((Creation{.data = block.get(), .samples = 2, .sizes = {kHuge, 2}}.status()),
            kCMSampleBufferError_InvalidSampleData);
}

TEST(SampleBuffer, SizesAreToldOneByOne) {
  const BlockBuffer block = blockOf("0123456789");
  const SampleBuffer own = Creation{.data = block.get(), .samples = 2, .sizes = {4, 6}}.made();
  EXPECT_EQ(CMSampleBufferGetSampleSize(own.get(), 1), 6u);
  EXPECT_EQ(CMSampleBufferGetSampleSize(own.get(), 2), 0u);
  const SampleBuffer common = Creation{.data = block.get(), .samples = 2, .sizes = {5}}.made();
  EXPECT_EQ(CMSampleBufferGetSampleSize(common.get(), 1), 5u);
  const SampleBuffer unknown = Creation{.data = block.get(), .samples = 2}.made();
  EXPECT_EQ(CMSampleBufferGetSampleSize(unknown.get(), 0), 0u);
}

TEST(SampleBuffer, KeepsItsDataAlive) {
  BlockBuffer block = blockOf("0123456789");
  const SampleBuffer sample = Creation{.data = block.get()}.made();
  EXPECT_EQ(CFGetRetainCount(block.get()), 2);
  block.reset();
  EXPECT_EQ(CMBlockBufferGetDataLength(CMSampleBufferGetDataBuffer(sample.get())), 10u);
}

TEST(SampleBuffer, NullAnswersNothing) {
  EXPECT_EQ(CMSampleBufferGetImageBuffer(nullptr), nullptr);
  EXPECT_EQ(CMSampleBufferGetDataBuffer(nullptr), nullptr);
  EXPECT_EQ(CMSampleBufferGetFormatDescription(nullptr), nullptr);
  EXPECT_FALSE(CMSampleBufferDataIsReady(nullptr));
  EXPECT_EQ(CMSampleBufferGetNumSamples(nullptr), 0);
  EXPECT_TRUE(CMTIME_IS_INVALID(CMSampleBufferGetPresentationTimeStamp(nullptr)));
  EXPECT_TRUE(CMTIME_IS_INVALID(CMSampleBufferGetDuration(nullptr)));
  EXPECT_EQ(CMGetAttachment(nullptr, "key", nullptr), nullptr);
  CMSetAttachment(nullptr, "key", 1, kCMAttachmentMode_ShouldPropagate);
  EXPECT_EQ(CMBlockBufferGetBytes(nullptr), nullptr);
  EXPECT_EQ(CMBlockBufferGetDataLength(nullptr), 0u);
  EXPECT_EQ(CMFormatDescriptionGetMediaSubType(nullptr), 0u);
  std::size_t cookieBytes = 1;
  EXPECT_EQ(CMAudioFormatDescriptionGetMagicCookie(nullptr, &cookieBytes), nullptr);
  EXPECT_EQ(cookieBytes, 0u);
  EXPECT_EQ(CMVideoFormatDescriptionGetDimensions(nullptr).width, 0);
}

// ---- audio buffer lists

AudioBufferList listOf(std::string& bytes) {
  AudioBufferList list{};
  list.mNumberBuffers = 1;
  list.mBuffers[0] = {2, static_cast<std::uint32_t>(bytes.size()), bytes.data()};
  return list;
}

OSStatus setData(const SampleBuffer& sample, const AudioBufferList* list) {
  return CMSampleBufferSetDataBufferFromAudioBufferList(sample.get(), nullptr, nullptr, 0, list);
}

TEST(AudioBufferListData, IsCopiedAndMakesTheBufferReady) {
  const SampleBuffer sample = Creation{.samples = 512}.made();
  EXPECT_FALSE(CMSampleBufferDataIsReady(sample.get()));
  std::string bytes = "sound";
  const AudioBufferList list = listOf(bytes);
  ASSERT_EQ(setData(sample, &list), noErr);
  bytes = "noise";
  EXPECT_TRUE(CMSampleBufferDataIsReady(sample.get()));
  const CMBlockBufferRef block = CMSampleBufferGetDataBuffer(sample.get());
  ASSERT_EQ(CMBlockBufferGetDataLength(block), 5u);
  EXPECT_EQ(std::memcmp(CMBlockBufferGetBytes(block), "sound", 5), 0);
  EXPECT_EQ(CFGetRetainCount(block), 1);
}

TEST(AudioBufferListData, OfSeveralBuffersStandsOneBehindTheOther) {
  struct {
    AudioBufferList list;
    AudioBuffer second;
  } lists{};
  std::string left = "left", right = "right";
  lists.list.mNumberBuffers = 2;
  lists.list.mBuffers[0] = {1, 4, left.data()};
  lists.second = {1, 5, right.data()};
  const SampleBuffer sample = Creation{}.made();
  ASSERT_EQ(setData(sample, &lists.list), noErr);
  const CMBlockBufferRef block = CMSampleBufferGetDataBuffer(sample.get());
  ASSERT_EQ(CMBlockBufferGetDataLength(block), 9u);
  EXPECT_EQ(std::memcmp(CMBlockBufferGetBytes(block), "leftright", 9), 0);
}

TEST(AudioBufferListData, IsRefusedASecondTime) {
  const SampleBuffer sample = Creation{}.made();
  std::string bytes = "sound";
  const AudioBufferList list = listOf(bytes);
  ASSERT_EQ(setData(sample, &list), noErr);
  EXPECT_EQ(setData(sample, &list), kCMSampleBufferError_AlreadyHasDataBuffer);
}

TEST(AudioBufferListData, RefusesUnusableParameters) {
  std::string bytes = "sound";
  AudioBufferList list = listOf(bytes);
  const SampleBuffer sample = Creation{}.made();
  EXPECT_EQ(setData(SampleBuffer(), &list), kCMSampleBufferError_RequiredParameterMissing);
  EXPECT_EQ(setData(sample, nullptr), kCMSampleBufferError_RequiredParameterMissing);
  list.mBuffers[0].mData = nullptr;
  EXPECT_EQ(setData(sample, &list), kCMSampleBufferError_RequiredParameterMissing);
  list.mBuffers[0].mDataByteSize = 0;
  EXPECT_EQ(setData(sample, &list), kCMSampleBufferError_InvalidSampleData);
  EXPECT_EQ(CMSampleBufferGetDataBuffer(sample.get()), nullptr);
  EXPECT_FALSE(CMSampleBufferDataIsReady(sample.get()));
}

TEST(AudioBufferListData, RefusesFewerBytesThanTheSamplesNeed) {
  std::string bytes = "sound";
  const AudioBufferList list = listOf(bytes);
  const SampleBuffer sample = Creation{.samples = 2, .sizes = {3}}.made();
  EXPECT_EQ(setData(sample, &list), kCMSampleBufferError_InvalidSampleData);
}

TEST(AudioBufferListData, RefusesAFormatThatIsNotAudio) {
  SampleBuffer sample;
  const CMSampleTimingInfo time = timing(1, 0);
  ASSERT_EQ(CMSampleBufferCreate(nullptr, nullptr, false, nullptr, nullptr, nullptr, 1, 1, &time, 0,
                                 nullptr, sample.out()),
            noErr);
  std::string bytes = "sound";
  const AudioBufferList list = listOf(bytes);
  EXPECT_EQ(setData(sample, &list), kCMSampleBufferError_InvalidMediaFormat);
}

// ---- attachments

TEST(Attachments, AreFoundUnderTheirKeyWithTheirMode) {
  const SampleBuffer sample = Creation{}.made();
  CMSetAttachment(sample.get(), kCMSampleBufferAttachmentKey_ForceKeyFrame, kCFBooleanTrue,
                  kCMAttachmentMode_ShouldPropagate);
  CMAttachmentMode mode = 7;
  const Object* value =
      CMGetAttachment(sample.get(), kCMSampleBufferAttachmentKey_ForceKeyFrame, &mode);
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(*value, Object(true));
  EXPECT_EQ(mode, kCMAttachmentMode_ShouldPropagate);
  EXPECT_EQ(CMGetAttachment(sample.get(), "other", nullptr), nullptr);
}

TEST(Attachments, AreReplacedUnderTheSameKey) {
  const SampleBuffer sample = Creation{}.made();
  CMSetAttachment(sample.get(), "key", 1, kCMAttachmentMode_ShouldPropagate);
  CMSetAttachment(sample.get(), "key", "two", kCMAttachmentMode_ShouldNotPropagate);
  CMAttachmentMode mode = 7;
  const Object* value = CMGetAttachment(sample.get(), "key", &mode);
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(*value, Object("two"));
  EXPECT_EQ(mode, kCMAttachmentMode_ShouldNotPropagate);
}

}  // namespace
}  // namespace vx
