#include "platform/avfoundation/encoder/video_encoder.h"

#include "platform/avfoundation/bitstream/bits.h"
#include "platform/avfoundation/bitstream/nal_unit.h"
#include "platform/avfoundation/encoder/sps_timing.h"
#include "platform/foundation/sanitizers.h"

#include <gtest/gtest.h>

#if VX_ADDRESS_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

#include <random>
#include <thread>
#include <vector>

#include "coded_stream.h"

namespace vx {
namespace {

/// An encoder of noise pictures.
class Coding {
 public:
  explicit Coding(int width = 64, int height = 48) {
    settings.width = width;
    settings.height = height;
    settings.averageBitRate = 10485760;
    settings.maxKeyFrameInterval = 30;
    settings.expectedSourceFrameRate = 30;
    pixels.resize(static_cast<std::size_t>(width) * height * 3 / 2);
  }
  Status open() { return encoder->open(settings); }
  AccessUnit code(std::int64_t timeMs, bool forceKeyFrame = false) {
    for (std::uint8_t& pixel : pixels) {
      pixel = static_cast<std::uint8_t>(random());
    }
    PlanarPicture picture;
    picture.width = settings.width;
    picture.height = settings.height;
    const std::size_t luma = static_cast<std::size_t>(settings.width) * settings.height;
    picture.planes = {pixels.data(), pixels.data() + luma, pixels.data() + luma * 5 / 4};
    picture.bytesPerRow = {settings.width, settings.width / 2, settings.width / 2};
    AccessUnit unit;
    const Status status = encoder->encode(picture, {timeMs, durationMs, forceKeyFrame}, unit);
    EXPECT_TRUE(status.ok());
    return unit;
  }

  VideoEncoderSettings settings;
  std::unique_ptr<VideoEncoder> encoder = makeX264Encoder();
  std::int64_t durationMs = 33;  // of every picture
  std::vector<std::uint8_t> pixels;
  std::minstd_rand random{1};
};

int unitType(std::uint8_t firstByte) { return firstByte & 31; }

TEST(X264Encoder, ParameterSetsAreOfHighProfileWithoutPrefixes) {
  for (const auto& [width, height] : {std::pair{2, 2}, {640, 480}, {1920, 1080}, {3840, 2160}}) {
    Coding coding(width, height);
    ASSERT_TRUE(coding.open().ok());
    const ParameterSets& sets = coding.encoder->parameterSets();
    ASSERT_GT(sets.sps.size(), 4u);
    EXPECT_EQ(unitType(sets.sps[0]), 7);
    EXPECT_EQ(sets.sps[1], 100) << "profile_idc of " << width << "x" << height;
    ASSERT_GT(sets.pps.size(), 1u);
    EXPECT_EQ(unitType(sets.pps[0]), 8);
  }
}

TEST(X264Encoder, EveryPictureComesOutAtOnceBehindLengthPrefixes) {
  Coding coding;
  ASSERT_TRUE(coding.open().ok());
  for (int i = 0; i < 40; ++i) {
    const AccessUnit unit = coding.code(i * 33);
    std::size_t at = 0;
    while (at + 4 <= unit.bytes.size()) {
      const std::size_t length = static_cast<std::size_t>(unit.bytes[at]) << 24 |
                                 unit.bytes[at + 1] << 16 | unit.bytes[at + 2] << 8 |
                                 unit.bytes[at + 3];
      at += 4 + length;
    }
    EXPECT_EQ(at, unit.bytes.size());
    EXPECT_GT(at, 4u);
  }
}

TEST(X264Encoder, KeyFramesAreAtMostThirtyApart) {
  Coding coding;
  ASSERT_TRUE(coding.open().ok());
  int sinceKeyFrame = 0;
  for (int i = 0; i < 100; ++i) {
    const bool isKeyFrame = coding.code(i * 16).isKeyFrame;
    EXPECT_EQ(isKeyFrame || i != 0, true);
    sinceKeyFrame = isKeyFrame ? 0 : sinceKeyFrame + 1;
    ASSERT_LT(sinceKeyFrame, 30);
  }
}

TEST(X264Encoder, ForcedKeyFrameIsOne) {
  Coding coding;
  ASSERT_TRUE(coding.open().ok());
  coding.code(0);
  EXPECT_FALSE(coding.code(33).isKeyFrame);
  EXPECT_TRUE(coding.code(66, true).isKeyFrame);
}

TEST(X264Encoder, TimesMayRepeatStepBackAndLeap) {
  Coding coding;
  ASSERT_TRUE(coding.open().ok());
  for (const std::int64_t time : {0LL, 0LL, 40LL, 30LL, 30LL, 4294967295LL, 5LL, 8589934590LL}) {
    EXPECT_FALSE(coding.code(time).bytes.empty());
  }
}

TEST(X264Encoder, EverySpeedDecodesStrictlyByTheSameParameterSets) {
  test::CodedStream stream(makeX264Encoder(), test::encoderSettings(320, 240));
  ASSERT_TRUE(stream.opened().ok());
  const int levels = static_cast<int>(stream.encoder().speeds().relativeCosts.size());
  ASSERT_GT(levels, 1);
  for (int i = 0; i < 100; ++i) {
    stream.encoder().setSpeed(i * 3 / 2 % levels);
    ASSERT_TRUE(stream.code());
  }
  const test::Decoding decoding = stream.decode();
  EXPECT_EQ(decoding.frames, 100);
  EXPECT_EQ(decoding.errors, 0) << testing::PrintToString(decoding.messages);
}

TEST(X264Encoder, FirstSpeedIsFasterForLargerPictures) {
  const auto firstLevel = [](int width, int height) {
    auto encoder = makeX264Encoder();
    EXPECT_TRUE(encoder->open(test::encoderSettings(width, height)).ok());
    return encoder->speeds().firstLevel;
  };
  EXPECT_GT(firstLevel(640, 360), 0);
  EXPECT_GE(firstLevel(640, 360), firstLevel(3840, 2160));
}

TEST(X264Encoder, EncodersThatShareTheCoresStartFaster) {
  const VideoEncoderSettings settings = test::encoderSettings(1280, 720);
  std::vector<std::unique_ptr<VideoEncoder>> encoders;
  const auto open = [&] {
    encoders.push_back(makeX264Encoder());
    EXPECT_TRUE(encoders.back()->open(settings).ok());
    return encoders.front()->firstSpeed();
  };
  const int alone = open();
  int crowded = alone;
  for (unsigned i = 0; i < 2 + std::thread::hardware_concurrency(); ++i) {
    crowded = open();
  }
  EXPECT_LT(crowded, alone) << "of the encoder that was open first";
  encoders.resize(1);
  EXPECT_EQ(encoders.front()->firstSpeed(), alone);
}

TEST(X264Encoder, TheAverageHoldsAtAnyFrameRate) {
  for (const std::int64_t intervalMs : {16, 33, 100}) {
    VideoEncoderSettings settings = test::encoderSettings(320, 240);
    settings.averageBitRate = 300'000;
    test::CodedStream stream(makeX264Encoder(), settings);
    for (std::int64_t timeMs = 0; timeMs < 8000; timeMs += intervalMs) {
      ASSERT_TRUE(stream.code(intervalMs));
    }
    EXPECT_NEAR(stream.bitsPerSecond() / settings.averageBitRate, 1, 0.1) << intervalMs << " ms";
  }
}

TEST(X264Encoder, ParameterSetsDoNotDependOnTheBitRate) {
  const auto setsAt = [](int bitRate) {
    VideoEncoderSettings settings = test::encoderSettings(320, 240);
    settings.averageBitRate = bitRate;
    auto encoder = makeX264Encoder();
    EXPECT_TRUE(encoder->open(settings).ok());
    return encoder->parameterSets();
  };
  EXPECT_EQ(setsAt(100'000).sps, setsAt(20'000'000).sps);
  EXPECT_EQ(setsAt(100'000).pps, setsAt(20'000'000).pps);
}

// se(v): ITU-T H.264, 9.1.1
int signedGolomb(BitReader& bits) {
  const auto code = static_cast<int>(bits.exponentialGolomb());
  return code % 2 != 0 ? code / 2 + 1 : -(code / 2);
}

/// ITU-T H.264, 7.3.2.1.1, of the High profile
int frameNumberBits(const std::vector<std::uint8_t>& sps) {
  const std::vector<std::uint8_t> payload = payloadOf(sps);
  BitReader bits(payload);
  bits.get(24);                                          // profile, constraints, level
  for (int i = 0; i < 4; ++i) bits.exponentialGolomb();  // set, format, depths
  bits.get(2);                                           // bypass, scaling matrices
  return static_cast<int>(bits.exponentialGolomb()) + 4;
}

/// ITU-T H.264, 7.3.2.2
int firstQuantizer(const std::vector<std::uint8_t>& pps) {
  const std::vector<std::uint8_t> payload = payloadOf(pps);
  BitReader bits(payload);
  for (int i = 0; i < 2; ++i) bits.exponentialGolomb();  // sets
  bits.get(2);                                           // entropy coding, picture order
  for (int i = 0; i < 3; ++i) bits.exponentialGolomb();  // slice groups, references
  bits.get(3);                                           // weighted prediction
  return 26 + signedGolomb(bits);
}

/// Of the first slice of an IDR picture. ITU-T H.264, 7.3.3
int quantizerOf(const AccessUnit& unit, const ParameterSets& sets) {
  const std::vector<std::uint8_t> payload = payloadOf(unit.bytes.subspan(4));
  BitReader bits(payload);
  for (int i = 0; i < 3; ++i) bits.exponentialGolomb();  // place, type, set
  bits.get(frameNumberBits(sets.sps));
  bits.exponentialGolomb();  // number of the IDR picture
  bits.get(2);               // what becomes of other pictures
  return firstQuantizer(sets.pps) + signedGolomb(bits);
}

TEST(X264Encoder, StoresNoFinerStepsThanAreSeen) {
  VideoEncoderSettings settings = test::encoderSettings(64, 48);
  auto encoder = makeX264Encoder();
  ASSERT_TRUE(encoder->open(settings).ok());
  const std::vector<std::uint8_t> gray(64 * 48, 128);
  AccessUnit unit;
  ASSERT_TRUE(encoder
                  ->encode({64, 48, {gray.data(), gray.data(), gray.data()}, {64, 32, 32}},
                           {0, 33, true}, unit)
                  .ok());
  ASSERT_EQ(unit.bytes[4] & 31, 5) << "an IDR picture comes first";
  EXPECT_EQ(quantizerOf(unit, encoder->parameterSets()), 10);
}

TEST(X264Encoder, ParameterSetsClaimNoFixedFrameRate) {
  Coding coding;
  ASSERT_TRUE(coding.open().ok());
  const auto& sps = coding.encoder->parameterSets().sps;
  EXPECT_EQ(withUsualFrameRate(sps, 30), sps);
}

TEST(X264Encoder, TellsWhyItCouldNotBeOpened) {
  Coding coding(63, 48);
#if VX_ADDRESS_SANITIZER
  const __lsan::ScopedDisabler x264LeaksItsOwnCopyOfWhatItRefuses;
#endif
  const Status status = coding.open();
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(status.error().localizedDescription(),
            "The H.264 encoder could not be opened; a smaller picture or more free memory may help "
            "(width not divisible by 2 (63x48))");
}

TEST(X264Encoder, OpensTheLongestSide) {
  Coding coding(16384, 2);
  ASSERT_TRUE(coding.open().ok());
  EXPECT_TRUE(coding.code(0).isKeyFrame);
}

}  // namespace
}  // namespace vx
