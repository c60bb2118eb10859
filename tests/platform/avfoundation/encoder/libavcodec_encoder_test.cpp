#include "platform/avfoundation/encoder/libavcodec_encoder.h"

#include <gtest/gtest.h>

#include <latch>
#include <thread>

extern "C" {
#include <libavutil/log.h>
}

#include "coded_stream.h"

namespace vx {
namespace {

Status opened(const std::string& name) {
  return makeLibavcodecEncoder(name)->open(test::encoderSettings(320, 240));
}

TEST(LibavcodecEncoder, AnEncoderThatFFmpegLacksIsRefusedByName) {
  const Status status = opened("h264_of_nobody");
  ASSERT_FALSE(status.ok());
  EXPECT_NE(status.error().localizedDescription().find("h264_of_nobody"), std::string::npos);
}

TEST(LibavcodecEncoder, AnEncoderForOtherPixelsIsRefused) {
  EXPECT_FALSE(opened("libx264rgb").ok());
}

TEST(LibavcodecEncoder, AnEncoderWithoutParameterSetsIsRefused) {
  EXPECT_FALSE(opened("rawvideo").ok());
  const Status status = opened("ffv1");
  ASSERT_FALSE(status.ok());
  EXPECT_NE(status.error().localizedDescription().find("gives no parameter sets in advance"),
            std::string::npos);
}

TEST(LibavcodecEncoder, TwoOpenedAtOnceLeaveFFmpegAsLoudAsItWas) {
  const int before = av_log_get_level();
  ASSERT_NE(before, AV_LOG_QUIET);
  for (int round = 0; round < 500; ++round) {
    std::latch start(2);
    const auto open = [&start] {
      start.arrive_and_wait();
      EXPECT_FALSE(opened("h264_of_nobody").ok());
    };
    std::thread first(open);
    std::thread second(open);
    first.join();
    second.join();
    const int after = av_log_get_level();
    av_log_set_level(before);
    ASSERT_EQ(after, before);
  }
}

TEST(LibavcodecEncoder, OffersHardwareBeforeSoftware) {
  bool sawSoftware = false;
  for (const EncoderOffer& offer : libavcodecOffers()) {
    EXPECT_FALSE(offer.description.isHardware && sawSoftware) << offer.description.name;
    sawSoftware = sawSoftware || !offer.description.isHardware;
  }
}

}  // namespace
}  // namespace vx
