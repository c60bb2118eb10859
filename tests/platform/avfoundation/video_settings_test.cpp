#include "platform/avfoundation/video_settings.h"

#include "VXVideoRecorder/platform/AVFoundation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace vx {
namespace {

NSMutableDictionary compression() {
  NSMutableDictionary properties;
  properties.setObject(5'000'000, AVVideoAverageBitRateKey);
  properties.setObject(12, AVVideoMaxKeyFrameIntervalKey);
  properties.setObject(25, AVVideoExpectedSourceFrameRateKey);
  properties.setObject(AVVideoProfileLevelH264HighAutoLevel, AVVideoProfileLevelKey);
  return properties;
}

NSMutableDictionary settingsFor(double width, double height) {
  NSMutableDictionary settings;
  settings.setObject(AVVideoCodecH264, AVVideoCodecKey);
  settings.setObject(width, AVVideoWidthKey);
  settings.setObject(height, AVVideoHeightKey);
  settings.setObject(AVVideoScalingModeResizeAspect, AVVideoScalingModeKey);
  settings.setObject(NSDictionary(compression()), AVVideoCompressionPropertiesKey);
  return settings;
}

TEST(VideoSettings, NumbersComeFromTheDictionary) {
  VideoTrackSettings read;
  ASSERT_TRUE(readVideoSettings(settingsFor(1920, 1080), read).ok());
  EXPECT_EQ(read.width, 1920);
  EXPECT_EQ(read.height, 1080);
  EXPECT_EQ(read.encoder.averageBitRate, 5'000'000);
  EXPECT_EQ(read.encoder.maxKeyFrameInterval, 12);
  EXPECT_EQ(read.encoder.expectedSourceFrameRate, 25);
}

TEST(VideoSettings, OddSidesAreCodedEven) {
  VideoTrackSettings read;
  ASSERT_TRUE(readVideoSettings(settingsFor(1, 767), read).ok());
  EXPECT_EQ(read.width, 1);
  EXPECT_EQ(read.height, 767);
  EXPECT_EQ(read.encoder.width, 2);
  EXPECT_EQ(read.encoder.height, 768);
}

TEST(VideoSettings, FractionOfAPixelIsDropped) {
  VideoTrackSettings read;
  ASSERT_TRUE(readVideoSettings(settingsFor(640.9, 480.5), read).ok());
  EXPECT_EQ(read.width, 640);
  EXPECT_EQ(read.height, 480);
}

TEST(VideoSettings, SidesReachFrom1To16384) {
  VideoTrackSettings read;
  EXPECT_TRUE(readVideoSettings(settingsFor(16384, 1), read).ok());
  EXPECT_TRUE(readVideoSettings(settingsFor(1, 16384), read).ok());
}

class UnusableSide : public testing::TestWithParam<double> {};

TEST_P(UnusableSide, IsNamedInTheError) {
  VideoTrackSettings read;
  const Status status = readVideoSettings(settingsFor(64, GetParam()), read);
  ASSERT_FALSE(status.ok());
  EXPECT_THAT(status.error().localizedDescription(), testing::HasSubstr(AVVideoHeightKey));
}

INSTANTIATE_TEST_SUITE_P(All, UnusableSide,
                         testing::Values(0.0, 0.5, -3.0, 16385.0, 1e300,
                                         std::numeric_limits<double>::infinity(),
                                         std::numeric_limits<double>::quiet_NaN()));

TEST(VideoSettings, EveryMissingKeyIsNamedInTheError) {
  for (const std::string_view key : {AVVideoCodecKey, AVVideoWidthKey, AVVideoHeightKey,
                                     AVVideoScalingModeKey, AVVideoCompressionPropertiesKey}) {
    NSMutableDictionary settings = settingsFor(64, 48);
    settings.removeObjectForKey(key);
    VideoTrackSettings read;
    const Status status = readVideoSettings(settings, read);
    ASSERT_FALSE(status.ok()) << key;
    EXPECT_THAT(status.error().localizedDescription(), testing::HasSubstr(key));
  }
}

TEST(VideoSettings, EveryMissingCompressionKeyIsNamedInTheError) {
  for (const std::string_view key : {AVVideoAverageBitRateKey, AVVideoMaxKeyFrameIntervalKey,
                                     AVVideoExpectedSourceFrameRateKey, AVVideoProfileLevelKey}) {
    NSMutableDictionary properties = compression();
    properties.removeObjectForKey(key);
    NSMutableDictionary settings = settingsFor(64, 48);
    settings.setObject(NSDictionary(properties), AVVideoCompressionPropertiesKey);
    VideoTrackSettings read;
    const Status status = readVideoSettings(settings, read);
    ASSERT_FALSE(status.ok()) << key;
    EXPECT_THAT(status.error().localizedDescription(), testing::HasSubstr(key));
  }
}

}  // namespace
}  // namespace vx
