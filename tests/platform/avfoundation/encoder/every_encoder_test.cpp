// What the writer relies on, of every software encoder that this build can call.
#include "platform/avfoundation/encoder/encoder_choice.h"
#include "platform/avfoundation/encoder/sps_timing.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "coded_stream.h"

namespace vx {
namespace {

using test::CodedStream;
using test::encoderSettings;

std::vector<std::string> softwareNames() {
  std::vector<std::string> names;
  for (const EncoderOffer& offer : encoderOffers()) {
    if (!offer.description.isHardware) {
      names.push_back(offer.description.name);
    }
  }
  return names;
}

const EncoderOffer& offerNamed(const std::string& name) {
  return *std::ranges::find_if(
      encoderOffers(), [&](const EncoderOffer& offer) { return offer.description.name == name; });
}

class EveryEncoder : public testing::TestWithParam<std::string> {
 protected:
  static std::unique_ptr<VideoEncoder> make() { return offerNamed(GetParam()).make(); }
};

TEST_P(EveryEncoder, ProvesItself) {
  EXPECT_TRUE(proveEncoder(*make(), encoderSettings(640, 360)).ok());
  EXPECT_TRUE(AVVideoEncoder::isUsable(GetParam()));
}

TEST_P(EveryEncoder, GivesEveryPictureAtOnceAndDecodesStrictly) {
  CodedStream stream(make(), encoderSettings(320, 240));
  ASSERT_TRUE(stream.opened().ok());
  for (int i = 0; i < 70; ++i) {
    ASSERT_TRUE(stream.code(i % 5 == 0 ? 0 : 17)) << i;
  }
  const test::Decoding decoding = stream.decode();
  EXPECT_EQ(decoding.frames, 70);
  EXPECT_EQ(decoding.errors, 0) << testing::PrintToString(decoding.messages);
  EXPECT_EQ(decoding.namedFrameRate, 30);
}

TEST_P(EveryEncoder, MakesKeyFramesAtTheStartAtMostThirtyApartAndWhenAsked) {
  CodedStream stream(make(), encoderSettings(320, 240));
  ASSERT_TRUE(stream.opened().ok());
  for (int i = 0; i < 65; ++i) {
    ASSERT_TRUE(stream.code(33, i == 10));
  }
  EXPECT_TRUE(stream.keyFrames()[0]);
  EXPECT_FALSE(stream.keyFrames()[9]);
  EXPECT_TRUE(stream.keyFrames()[10]);
  int distance = 0;
  for (const bool isKeyFrame : stream.keyFrames()) {
    distance = isKeyFrame ? 0 : distance + 1;
    ASSERT_LT(distance, 30);
  }
}

TEST_P(EveryEncoder, ParameterSetsStandAloneAndNameAUsualFrameRateThatIsNotFixed) {
  CodedStream stream(make(), encoderSettings(320, 240));
  ASSERT_TRUE(stream.opened().ok());
  const ParameterSets& sets = stream.encoder().parameterSets();
  ASSERT_GT(sets.sps.size(), 4u);
  EXPECT_EQ(sets.sps[0] & 31, 7);
  EXPECT_EQ(sets.sps[1], 100) << "High profile";
  ASSERT_FALSE(sets.pps.empty());
  EXPECT_EQ(sets.pps[0] & 31, 8);
  EXPECT_EQ(withUsualFrameRate(sets.sps, 25), sets.sps);
  ASSERT_TRUE(stream.code());
  for (const int type : stream.unitTypes()) {
    EXPECT_TRUE(type != 7 && type != 8 && type != 9) << type;
  }
}

TEST_P(EveryEncoder, ParameterSetsTellTheColours) {
  const VideoEncoderSettings settings = encoderSettings(320, 240);
  CodedStream stream(make(), settings);
  ASSERT_TRUE(stream.opened().ok());
  ASSERT_TRUE(stream.code());
  const test::Track track = stream.track();
  EXPECT_EQ(track.colorPrimaries, settings.colour.primaries);
  EXPECT_EQ(track.colorTransfer, settings.colour.transfer);
  EXPECT_EQ(track.colorMatrix, settings.colour.matrix);
  constexpr int kVideoRange = 1;
  EXPECT_EQ(track.colorRange, kVideoRange);
}

TEST_P(EveryEncoder, LevelFollowsThePicturesSize) {
  const auto levelAt = [](int width, int height) {
    const auto encoder = make();
    EXPECT_TRUE(encoder->open(encoderSettings(width, height)).ok());
    return int{encoder->parameterSets().sps.at(3)};
  };
  EXPECT_LT(levelAt(320, 240), levelAt(1920, 1080));
  EXPECT_LT(levelAt(1920, 1080), levelAt(3840, 2160));
}

INSTANTIATE_TEST_SUITE_P(All, EveryEncoder, testing::ValuesIn(softwareNames()),
                         [](const auto& encoder) { return encoder.param; });

TEST(HardwareEncoders, WithoutADeviceSaySoAndAreNotUsable) {
  for (const EncoderOffer& offer : encoderOffers()) {
    if (!offer.description.isHardware || AVVideoEncoder::isUsable(offer.description.name)) {
      continue;
    }
    const Status status = proveEncoder(*offer.make(), encoderSettings(640, 360));
    ASSERT_FALSE(status.ok());
    EXPECT_NE(status.error().localizedDescription().find(offer.description.name),
              std::string::npos);
  }
}

}  // namespace
}  // namespace vx
