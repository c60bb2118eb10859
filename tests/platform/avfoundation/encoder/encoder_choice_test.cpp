#include "platform/avfoundation/encoder/encoder_choice.h"

#include "VXVideoRecorder/platform/AVFoundation.h"

#include <gtest/gtest.h>

#include <array>
#include <typeinfo>

namespace vx {
namespace {

/// What became of the encoders that a test made.
struct Fate {
  int opened = 0;
  int coded = 0;
};

class ScriptedEncoder final : public VideoEncoder {
 public:
  ScriptedEncoder(const char* name, Fate& fate, bool opens, bool codes, bool makesKeyFrames = true)
      : _name(name), _fate(fate), _opens(opens), _codes(codes), _makesKeyFrames(makesKeyFrames) {
    _sets.sps = {0x67};
  }
  Status open(const VideoEncoderSettings&) override {
    _fate.opened += 1;
    return _opens ? Status::success() : failure();
  }
  const ParameterSets& parameterSets() const override { return _sets; }
  Status encode(const PlanarPicture&, const PictureRequest& request, AccessUnit& unit) override {
    _fate.coded += 1;
    unit = {_byte, request.forceKeyFrame && _makesKeyFrames};
    return _codes ? Status::success() : failure();
  }

 private:
  Status failure() const { return NSError("test", 1, std::string("no device for ") + _name); }

  const char* _name;
  Fate& _fate;
  bool _opens;
  bool _codes;
  bool _makesKeyFrames;
  ParameterSets _sets;
  std::array<std::uint8_t, 1> _byte{0x65};
};

EncoderOffer offer(const char* name, bool isHardware, Fate& fate, bool opens = true,
                   bool codes = true) {
  return {{name, "", isHardware, ""}, [&fate, name, opens, codes] {
            return std::make_unique<ScriptedEncoder>(name, fate, opens, codes);
          }};
}

Status openAutomatic(std::vector<EncoderOffer> offers) {
  VideoEncoderSettings settings;
  settings.width = settings.height = 16;
  return makeAutomaticEncoder(std::move(offers))->open(settings);
}

TEST(AutomaticEncoder, HardwareThatCodesAPictureIsTakenAndOpenedAfresh) {
  Fate software, hardware;
  ASSERT_TRUE(openAutomatic({offer("s", false, software), offer("h", true, hardware)}).ok());
  EXPECT_EQ(hardware.opened, 2);
  EXPECT_EQ(hardware.coded, 1);
  EXPECT_EQ(software.opened, 0);
}

TEST(ProvenEncoder, GivesAKeyFrameOfSomeBytesAndParameterSets) {
  /// Codes nothing but what it is given.
  struct Given final : VideoEncoder {
    Status open(const VideoEncoderSettings&) override { return {}; }
    const ParameterSets& parameterSets() const override { return sets; }
    Status encode(const PlanarPicture&, const PictureRequest&, AccessUnit& unit) override {
      unit = {bytes, true};
      return {};
    }
    ParameterSets sets;
    std::vector<std::uint8_t> bytes;
  } encoder;
  VideoEncoderSettings settings;
  settings.width = settings.height = 16;
  encoder.sets.sps = {0x67};
  EXPECT_FALSE(proveEncoder(encoder, settings).ok()) << "no bytes";
  encoder.bytes = {0x65};
  EXPECT_TRUE(proveEncoder(encoder, settings).ok());
  encoder.sets.sps.clear();
  EXPECT_FALSE(proveEncoder(encoder, settings).ok()) << "no parameter set";
}

/// An encoder with levels.
class LevelledEncoder final : public VideoEncoder {
 public:
  explicit LevelledEncoder(int& level) : _level(level) { _sets.sps = {0x67, 1}; }
  Status open(const VideoEncoderSettings&) override { return {}; }
  const ParameterSets& parameterSets() const override { return _sets; }
  Status encode(const PlanarPicture&, const PictureRequest& request, AccessUnit& unit) override {
    unit = {_bytes, request.forceKeyFrame};
    return {};
  }
  EncoderSpeeds speeds() const override { return {{1, 2, 4}, 2}; }
  int firstSpeed() const override { return 1; }
  void setSpeed(int level) override { _level = level; }

 private:
  int& _level;
  ParameterSets _sets;
  std::array<std::uint8_t, 2> _bytes{0x65, 7};
};

TEST(AutomaticEncoder, DoesWhatTheOneDoesThatItTook) {
  int level = -1;
  const EncoderOffer levelled{{"l", "", false, ""},
                              [&level] { return std::make_unique<LevelledEncoder>(level); }};
  const auto encoder = makeAutomaticEncoder({levelled});
  ASSERT_TRUE(encoder->open({}).ok());
  AccessUnit unit;
  ASSERT_TRUE(encoder->encode({}, {0, 33, true}, unit).ok());
  EXPECT_EQ(unit.bytes.size(), 2u);
  EXPECT_TRUE(unit.isKeyFrame);
  EXPECT_EQ(encoder->parameterSets().sps, (std::vector<std::uint8_t>{0x67, 1}));
  EXPECT_EQ(encoder->speeds().relativeCosts.size(), 3u);
  EXPECT_EQ(encoder->speeds().firstLevel, 2);
  EXPECT_EQ(encoder->firstSpeed(), 1);
  encoder->setSpeed(2);
  EXPECT_EQ(level, 2);
}

TEST(AutomaticEncoder, HardwareThatIsTakenIsLogged) {
  Fate fate;
  testing::internal::CaptureStderr();
  ASSERT_TRUE(openAutomatic({offer("h", true, fate)}).ok());
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Video is coded by h.\n"),
            std::string::npos);
  testing::internal::CaptureStderr();
  ASSERT_TRUE(openAutomatic({offer("s", false, fate)}).ok());
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(AutomaticEncoder, HardwareWhoseFirstPictureIsNoKeyFrameGivesWayToSoftware) {
  Fate software, broken;
  const EncoderOffer withoutKeyFrames{
      {"b", "", true, ""},
      [&broken] { return std::make_unique<ScriptedEncoder>("b", broken, true, true, false); }};
  ASSERT_TRUE(openAutomatic({offer("s", false, software), withoutKeyFrames}).ok());
  EXPECT_EQ(broken.coded, 1);
  EXPECT_EQ(software.opened, 1);
}

TEST(AutomaticEncoder, HardwareThatDoesNotWorkIsNotTakenForSoftware) {
  Fate broken, software;
  ASSERT_TRUE(
      openAutomatic({offer("b", true, broken, true, false), offer("s", false, software)}).ok());
  EXPECT_EQ(broken.opened, 1);
  EXPECT_EQ(software.opened, 1);
}

TEST(AutomaticEncoder, HardwareThatDoesNotOpenIsPassedOver) {
  Fate software, broken, hardware;
  ASSERT_TRUE(openAutomatic({offer("s", false, software), offer("b", true, broken, false),
                             offer("h", true, hardware)})
                  .ok());
  EXPECT_EQ(broken.opened, 1);
  EXPECT_EQ(hardware.opened, 2);
  EXPECT_EQ(software.opened, 0);
}

TEST(AutomaticEncoder, HardwareThatOpensButDoesNotCodeGivesWayToSoftware) {
  Fate software, broken;
  ASSERT_TRUE(
      openAutomatic({offer("s", false, software), offer("b", true, broken, true, false)}).ok());
  EXPECT_EQ(broken.coded, 1);
  EXPECT_EQ(software.opened, 1);
  EXPECT_EQ(software.coded, 0) << "software needs no proof";
}

TEST(AutomaticEncoder, SoftwareThatDoesNotOpenGivesWayToTheNext) {
  Fate first, second;
  ASSERT_TRUE(openAutomatic({offer("f", false, first, false), offer("s", false, second)}).ok());
  EXPECT_EQ(first.opened, 1);
  EXPECT_EQ(second.opened, 1);
}

TEST(AutomaticEncoder, WithoutAnySoftwareThatOpensTheFirstOnesReasonIsTold) {
  Fate first, second;
  const Status status =
      openAutomatic({offer("f", false, first, false), offer("s", false, second, false)});
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(status.error().localizedDescription(), "no device for f");
}

TEST(AutomaticEncoder, WithoutAnyEncoderTheErrorSaysSo) {
  Fate broken;
  const Status status = openAutomatic({offer("b", true, broken, false)});
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(status.error().code(), AVErrorEncoderNotFound);
}

/// Leaves the process's choice as it was.
class AVVideoEncoderChoice : public testing::Test {
 protected:
  ~AVVideoEncoderChoice() override { AVVideoEncoder::setPreferredEncoderName(_before); }
  const std::string _before = AVVideoEncoder::preferredEncoderName();
};

TEST_F(AVVideoEncoderChoice, TheFirstPreferenceIsAvailable) {
  EXPECT_TRUE(AVVideoEncoder::setPreferredEncoderName(_before));
  EXPECT_EQ(AVVideoEncoder::preferredEncoderName(), _before);
}

TEST_F(AVVideoEncoderChoice, EveryEncoderCanBeChosenByItsName) {
  for (const AVVideoEncoderDescription& encoder : AVVideoEncoder::availableEncoders()) {
    EXPECT_TRUE(AVVideoEncoder::setPreferredEncoderName(encoder.name));
    EXPECT_EQ(AVVideoEncoder::preferredEncoderName(), encoder.name);
    EXPECT_FALSE(encoder.description.empty());
    EXPECT_FALSE(encoder.licenceNote.empty());
  }
}

TEST_F(AVVideoEncoderChoice, TheOneThatWasChosenIsMade) {
  for (const EncoderOffer& offer : encoderOffers()) {
    ASSERT_TRUE(AVVideoEncoder::setPreferredEncoderName(offer.description.name));
    const std::unique_ptr<VideoEncoder> made = makePreferredEncoder();
    const std::unique_ptr<VideoEncoder> offered = offer.make();
    const VideoEncoder& chosen = *made;
    const VideoEncoder& named = *offered;
    EXPECT_TRUE(typeid(chosen) == typeid(named)) << offer.description.name;
  }
}

TEST_F(AVVideoEncoderChoice, AnEncoderIsUsableIfItProvesItself) {
  for (const EncoderOffer& offer : encoderOffers()) {
    VideoEncoderSettings settings;
    settings.width = 640;
    settings.height = 360;
    settings.averageBitRate = 1'000'000;
    settings.maxKeyFrameInterval = settings.expectedSourceFrameRate = 30;
    EXPECT_EQ(AVVideoEncoder::isUsable(offer.description.name),
              proveEncoder(*offer.make(), settings).ok())
        << offer.description.name;
  }
}

TEST_F(AVVideoEncoderChoice, AnUnknownNameChangesNothing) {
  ASSERT_TRUE(AVVideoEncoder::setPreferredEncoderName("auto"));
  EXPECT_FALSE(AVVideoEncoder::setPreferredEncoderName("abacus"));
  EXPECT_EQ(AVVideoEncoder::preferredEncoderName(), "auto");
  EXPECT_FALSE(AVVideoEncoder::isUsable("abacus"));
}

TEST_F(AVVideoEncoderChoice, ASoftwareEncoderIsListedFirstAndUsable) {
  const AVVideoEncoderDescription& first = AVVideoEncoder::availableEncoders().at(0);
  EXPECT_FALSE(first.isHardware);
  EXPECT_TRUE(AVVideoEncoder::isUsable(first.name));
  EXPECT_TRUE(AVVideoEncoder::isUsable("auto"));
}

}  // namespace
}  // namespace vx
