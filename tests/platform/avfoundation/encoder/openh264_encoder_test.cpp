// What openh264 refuses.
#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/encoder/video_encoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "coded_stream.h"

namespace vx {
namespace {

TEST(OpenH264Encoder, RefusesSizesThatItDoesNotTakeAndNamesThoseItTakes) {
  for (const auto& [width, height] : {std::pair{14, 64}, {64, 14}, {4096, 2320}}) {
    const Status status = makeOpenH264Encoder()->open(test::encoderSettings(width, height));
    ASSERT_FALSE(status.ok()) << width << "x" << height;
    EXPECT_EQ(status.error().code(), AVErrorEncoderNotFound);
    EXPECT_THAT(status.error().localizedDescription(),
                testing::HasSubstr("from 16x16 on, of at most as many pixels as 4096x2304"));
  }
}

TEST(OpenH264Encoder, OpensTheSmallestAndTheLargestSize) {
  for (const auto& [width, height] : {std::pair{16, 16}, {4096, 2304}}) {
    EXPECT_TRUE(makeOpenH264Encoder()->open(test::encoderSettings(width, height)).ok())
        << width << "x" << height;
  }
}

TEST(OpenH264Encoder, SaysSoWhenItCannotCodeAPicture) {
  const auto encoder = makeOpenH264Encoder();
  ASSERT_TRUE(encoder->open(test::encoderSettings(64, 48)).ok());
  test::MovingNoise tooSmall(8, 8);
  AccessUnit unit;
  const Status status = encoder->encode(tooSmall.picture(0), {0, 33, false}, unit);
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(status.error().code(), AVErrorEncodeFailed);
  EXPECT_EQ(status.error().localizedDescription(), "The H.264 encoder could not code a picture.");
}

}  // namespace
}  // namespace vx
