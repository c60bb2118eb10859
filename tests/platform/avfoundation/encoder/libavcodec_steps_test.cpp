// The steps of an encoder of libavcodec that no encoder of this machine takes: pictures on a
// device, and every call that can fail. The program's calls go through those below (see
// CMakeLists.txt), which stand in for a device.
#include "platform/avfoundation/encoder/libavcodec_encoder.h"

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "coded_stream.h"
#include "platform/avfoundation/encoder/sps_timing.h"
#include "support/h264_source.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/hwcontext.h>
}

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string_view>

namespace {

using Bytes = std::vector<std::uint8_t>;

/// What the calls do, and what they were told.
struct Script {
  std::map<std::string_view, int> errors;  // of the calls that fail
  Bytes parameterSets;                     // that the encoder tells in advance
  Bytes packet;                            // what becomes of each picture

  AVHWFramesContext pool{};
  bool isPoolInUse = false;  // by the encoder that was opened
  Bytes onDevice;            // the pixels that were brought there last
  AVPixelFormat sentFormat = AV_PIX_FMT_NONE;
  std::vector<std::int64_t> sentTimes;
  std::vector<AVPictureType> sentTypes;
};
Script s_script;

int errorOf(std::string_view call) {
  const auto error = s_script.errors.find(call);
  return error == s_script.errors.end() ? 0 : error->second;
}

/// The rows of a picture in two planes, without what stands between them.
Bytes rowsOf(const AVFrame& frame) {
  Bytes bytes;
  for (int plane = 0; plane < 2; ++plane) {
    for (int y = 0; y < (plane == 0 ? frame.height : frame.height / 2); ++y) {
      const std::uint8_t* row = frame.data[plane] + std::ptrdiff_t{y} * frame.linesize[plane];
      bytes.insert(bytes.end(), row, row + frame.width);
    }
  }
  return bytes;
}

}  // namespace

extern "C" {
AVCodecContext* __real_avcodec_alloc_context3(const AVCodec* codec);
AVCodecContext* __wrap_avcodec_alloc_context3(const AVCodec* codec) {
  return errorOf("avcodec_alloc_context3") ? nullptr : __real_avcodec_alloc_context3(codec);
}

AVPacket* __real_av_packet_alloc();
AVPacket* __wrap_av_packet_alloc() {
  return errorOf("av_packet_alloc") ? nullptr : __real_av_packet_alloc();
}

AVFrame* __real_av_frame_alloc();
AVFrame* __wrap_av_frame_alloc() {
  return errorOf("av_frame_alloc") ? nullptr : __real_av_frame_alloc();
}

int __real_av_frame_get_buffer(AVFrame* frame, int alignment);
int __wrap_av_frame_get_buffer(AVFrame* frame, int alignment) {
  const int error = errorOf("av_frame_get_buffer");
  return error ? error : __real_av_frame_get_buffer(frame, alignment);
}

int __real_av_frame_make_writable(AVFrame* frame);
int __wrap_av_frame_make_writable(AVFrame* frame) {
  const int error = errorOf("av_frame_make_writable");
  return error ? error : __real_av_frame_make_writable(frame);
}

int __wrap_av_hwdevice_ctx_create(AVBufferRef** device, AVHWDeviceType, const char*, AVDictionary*,
                                  int) {
  *device = errorOf("av_hwdevice_ctx_create") ? nullptr : av_buffer_allocz(1);
  return errorOf("av_hwdevice_ctx_create");
}

AVBufferRef* __wrap_av_hwframe_ctx_alloc(AVBufferRef*) {
  return errorOf("av_hwframe_ctx_alloc") ? nullptr : av_buffer_allocz(sizeof(AVHWFramesContext));
}

int __wrap_av_hwframe_ctx_init(AVBufferRef* pool) {
  s_script.pool = *reinterpret_cast<AVHWFramesContext*>(pool->data);
  return errorOf("av_hwframe_ctx_init");
}

int __wrap_avcodec_open2(AVCodecContext* context, const AVCodec*, AVDictionary**) {
  const Bytes& sets = s_script.parameterSets;
  context->extradata =
      static_cast<std::uint8_t*>(av_mallocz(sets.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  std::copy(sets.begin(), sets.end(), context->extradata);
  context->extradata_size = static_cast<int>(sets.size());
  s_script.isPoolInUse = context->hw_frames_ctx != nullptr;
  return errorOf("avcodec_open2");
}

int __wrap_av_hwframe_get_buffer(AVBufferRef*, AVFrame* frame, int) {
  frame->format = AV_PIX_FMT_VAAPI;
  return errorOf("av_hwframe_get_buffer");
}

int __wrap_av_hwframe_transfer_data(AVFrame* onDevice, const AVFrame* frame, int) {
  if (onDevice->format == AV_PIX_FMT_VAAPI && frame->format == AV_PIX_FMT_NV12) {
    s_script.onDevice = rowsOf(*frame);
  }
  return errorOf("av_hwframe_transfer_data");
}

int __wrap_avcodec_send_frame(AVCodecContext*, const AVFrame* frame) {
  s_script.sentFormat = static_cast<AVPixelFormat>(frame->format);
  s_script.sentTimes.push_back(frame->pts);
  s_script.sentTypes.push_back(frame->pict_type);
  return errorOf("avcodec_send_frame");
}

int __wrap_avcodec_receive_packet(AVCodecContext*, AVPacket* packet) {
  if (const int error = errorOf("avcodec_receive_packet")) return error;
  const int size = static_cast<int>(s_script.packet.size());
  const int status = av_new_packet(packet, size);
  std::copy(s_script.packet.begin(), s_script.packet.end(), packet->data);
  return status;
}
}

namespace vx {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr int kWidth = 64;
constexpr int kHeight = 48;

void appendUnit(Bytes& stream, const Bytes& unit) {
  stream.insert(stream.end(), {0, 0, 0, 1});
  stream.insert(stream.end(), unit.begin(), unit.end());
}

/// An encoder whose pictures lie on a device, and one picture.
class DeviceEncoder : public testing::Test {
 protected:
  DeviceEncoder() {
    s_script = Script();
    appendUnit(s_script.parameterSets, source.sps);
    appendUnit(s_script.parameterSets, source.pps);
    appendUnit(s_script.packet, {0x65, 0x88, 0x84});
  }
  void SetUp() override {
    if (avcodec_find_encoder_by_name("h264_vaapi") == nullptr) {
      GTEST_SKIP() << "this FFmpeg has no encoder for pictures on a device";
    }
  }
  ~DeviceEncoder() override { s_script = Script(); }

  Status open() { return encoder->open(test::encoderSettings(kWidth, kHeight)); }
  Status encode(AccessUnit& unit, std::int64_t timeMs = 0, bool forceKeyFrame = false) {
    return encoder->encode(noise.picture(0), {timeMs, 33, forceKeyFrame}, unit);
  }
  /// Of an encoder that is opened and codes a picture.
  NSError refusal() {
    AccessUnit unit;
    Status status = open();
    if (status) status = encode(unit);
    EXPECT_FALSE(status.ok());
    return status.ok() ? NSError("", 0, "") : status.error();
  }

  test::H264Source source = test::makeH264(kWidth, kHeight, 1);
  test::MovingNoise noise{kWidth, kHeight};
  std::unique_ptr<VideoEncoder> encoder = makeLibavcodecEncoder("h264_vaapi");
};

TEST_F(DeviceEncoder, IsOpenedWithPicturesThatItFinds) {
  ASSERT_TRUE(open().ok());
  EXPECT_EQ(s_script.pool.format, AV_PIX_FMT_VAAPI);
  EXPECT_EQ(s_script.pool.sw_format, AV_PIX_FMT_NV12);
  EXPECT_EQ(s_script.pool.width, kWidth);
  EXPECT_EQ(s_script.pool.height, kHeight);
  EXPECT_GT(s_script.pool.initial_pool_size, 0);
  EXPECT_TRUE(s_script.isPoolInUse);
  EXPECT_EQ(encoder->parameterSets().sps, withUsualFrameRate(source.sps, 30));
  EXPECT_EQ(encoder->parameterSets().pps, source.pps);
}

TEST_F(DeviceEncoder, CodesWhatWasBroughtToTheDevice) {
  ASSERT_TRUE(open().ok());
  AccessUnit unit;
  ASSERT_TRUE(encode(unit).ok());
  const PlanarPicture picture = noise.picture(0);
  constexpr std::size_t kLuma = std::size_t{kWidth} * kHeight;
  ASSERT_EQ(s_script.onDevice.size(), kLuma + kLuma / 2);
  EXPECT_TRUE(std::equal(picture.planes[0], picture.planes[0] + kLuma, s_script.onDevice.begin()));
  EXPECT_EQ(s_script.onDevice[kLuma], picture.planes[1][0]);
  EXPECT_EQ(s_script.onDevice[kLuma + 1], picture.planes[2][0]);
  EXPECT_EQ(s_script.sentFormat, AV_PIX_FMT_VAAPI);
  EXPECT_THAT(unit.bytes, ElementsAre(0, 0, 0, 3, 0x65, 0x88, 0x84));
  EXPECT_TRUE(unit.isKeyFrame);
}

TEST_F(DeviceEncoder, IsToldRisingTimesAndWhichPictureIsToStandAlone) {
  ASSERT_TRUE(open().ok());
  AccessUnit unit;
  ASSERT_TRUE(encode(unit, 40, true).ok());
  ASSERT_TRUE(encode(unit, 30).ok());
  EXPECT_THAT(s_script.sentTimes, ElementsAre(40, 41));
  EXPECT_THAT(s_script.sentTypes, ElementsAre(AV_PICTURE_TYPE_I, AV_PICTURE_TYPE_NONE));
}

struct Failure {
  const char* call;
  std::int64_t code;
  const char* text;
  int error = AVERROR(EIO);
};

class FailureOfADeviceEncoder : public DeviceEncoder,
                                public testing::WithParamInterface<Failure> {};

TEST_P(FailureOfADeviceEncoder, IsToldWithTheEncodersName) {
  s_script.errors[GetParam().call] = GetParam().error;
  const NSError error = refusal();
  EXPECT_EQ(error.code(), GetParam().code);
  EXPECT_EQ(error.localizedDescription(),
            std::string("The video encoder h264_vaapi ") + GetParam().text +
                "; choose another one, or \"auto\" to use what works.");
}

constexpr const char* kNotHere = "cannot be opened on this machine";
constexpr const char* kNotTaken = "could not take a picture";
constexpr const char* kNotCoded = "could not code a picture";

INSTANTIATE_TEST_SUITE_P(
    All, FailureOfADeviceEncoder,
    testing::Values(Failure{"avcodec_alloc_context3", AVErrorOutOfMemory, "got no memory"},
                    Failure{"av_packet_alloc", AVErrorOutOfMemory, "got no memory"},
                    Failure{"av_hwdevice_ctx_create", AVErrorEncoderNotFound, kNotHere},
                    Failure{"av_hwframe_ctx_alloc", AVErrorEncoderNotFound, kNotHere},
                    Failure{"av_hwframe_ctx_init", AVErrorEncoderNotFound, kNotHere},
                    Failure{"avcodec_open2", AVErrorEncoderNotFound, kNotHere},
                    Failure{"av_frame_alloc", AVErrorEncoderNotFound, kNotHere},
                    Failure{"av_frame_get_buffer", AVErrorEncoderNotFound, kNotHere},
                    Failure{"av_frame_make_writable", AVErrorEncodeFailed, kNotTaken},
                    Failure{"av_hwframe_get_buffer", AVErrorEncodeFailed, kNotTaken},
                    Failure{"av_hwframe_transfer_data", AVErrorEncodeFailed, kNotTaken},
                    Failure{"avcodec_send_frame", AVErrorEncodeFailed, kNotCoded},
                    Failure{"avcodec_receive_packet", AVErrorEncodeFailed, kNotCoded},
                    Failure{"avcodec_receive_packet", AVErrorEncodeFailed,
                            "keeps pictures inside, where a crash would lose them",
                            AVERROR(EAGAIN)}));

TEST_F(DeviceEncoder, WithoutParameterSetsInAdvanceIsRefused) {
  s_script.parameterSets.clear();
  EXPECT_THAT(refusal().localizedDescription(), HasSubstr("gives no parameter sets in advance"));
  encoder = makeLibavcodecEncoder("h264_vaapi");
  appendUnit(s_script.parameterSets, source.sps);
  EXPECT_THAT(refusal().localizedDescription(), HasSubstr("gives no parameter sets in advance"));
}

TEST_F(DeviceEncoder, WhosePacketsHoldNoUnitsIsRefused) {
  s_script.packet = {1, 2, 3};
  EXPECT_THAT(refusal().localizedDescription(), HasSubstr("gave a picture in an unknown form"));
}

}  // namespace
}  // namespace vx
