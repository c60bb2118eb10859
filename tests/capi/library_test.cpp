// What concerns the library as a whole: its version, its encoders.
#include "VXVideoRecorder/capi.h"
#include "VXVideoRecorder/platform/AVVideoEncoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

using testing::HasSubstr;
using testing::StrEq;

namespace {

/// Gives the process its choice back.
struct KeptChoice {
  ~KeptChoice() { vx_set_preferred_encoder(name.c_str()); }
  const std::string name = vx_preferred_encoder();
};

}  // namespace

TEST(Version, IsTheSameInTheHeaderTheLibraryAndTheBuild) {
  EXPECT_EQ(vx_version(), std::uint32_t{VX_VERSION});
  const std::string ofHeader = std::to_string(VX_VERSION_MAJOR) + "." +
                               std::to_string(VX_VERSION_MINOR) + "." +
                               std::to_string(VX_VERSION_PATCH);
  EXPECT_EQ(vx_version_text(), ofHeader);  // the text comes from the build
}

TEST(Encoders, AreListedAsTheLibraryKnowsThem) {
  const auto& known = vx::AVVideoEncoder::availableEncoders();
  ASSERT_EQ(vx_encoder_count(), known.size());
  for (std::size_t i = 0; i < known.size(); ++i) {
    vx_encoder encoder = VX_ENCODER_INIT;
    ASSERT_EQ(vx_encoder_get(i, &encoder), VX_OK);
    EXPECT_EQ(encoder.name, known[i].name);
    EXPECT_EQ(encoder.description, known[i].description);
    EXPECT_EQ(encoder.licence_note, known[i].licenceNote);
    EXPECT_EQ(encoder.is_hardware, known[i].isHardware);
  }
}

TEST(Encoders, BeyondTheListAreRefused) {
  vx_encoder encoder = VX_ENCODER_INIT;
  EXPECT_EQ(vx_encoder_get(vx_encoder_count(), &encoder), VX_INVALID_ARGUMENT);
  EXPECT_EQ(vx_last_error(), "there are only " + std::to_string(vx_encoder_count()) + " encoders");
  EXPECT_EQ(vx_encoder_get(0, nullptr), VX_INVALID_ARGUMENT);
}

TEST(Encoders, AreChosenByName) {
  const KeptChoice kept;
  EXPECT_EQ(vx_set_preferred_encoder("auto"), VX_OK);
  EXPECT_THAT(vx_preferred_encoder(), StrEq("auto"));
  EXPECT_EQ(vx_set_preferred_encoder("crayon"), VX_INVALID_ARGUMENT);
  EXPECT_THAT(vx_last_error(), HasSubstr("crayon"));
  EXPECT_EQ(vx_set_preferred_encoder(nullptr), VX_INVALID_ARGUMENT);
  EXPECT_THAT(vx_preferred_encoder(), StrEq("auto"));
}

TEST(Encoders, KeepTheNameOfTheChoiceForTheThreadThatAskedForIt) {
  const KeptChoice kept;
  ASSERT_EQ(vx_set_preferred_encoder("auto"), VX_OK);
  const char* const name = vx_preferred_encoder();
  vx_encoder encoder = VX_ENCODER_INIT;
  ASSERT_EQ(vx_encoder_get(0, &encoder), VX_OK);
  ASSERT_EQ(vx_set_preferred_encoder(encoder.name), VX_OK);
  std::thread([&] { EXPECT_THAT(vx_preferred_encoder(), StrEq(encoder.name)); }).join();
  EXPECT_THAT(name, StrEq("auto"));
}

TEST(Encoders, TellWhetherTheyCanBeUsed) {
  vx_encoder encoder = VX_ENCODER_INIT;
  ASSERT_EQ(vx_encoder_get(0, &encoder), VX_OK);
  bool isUsable = false;
  EXPECT_EQ(vx_encoder_is_usable(encoder.name, &isUsable), VX_OK);
  EXPECT_TRUE(isUsable);
  EXPECT_EQ(vx_encoder_is_usable("crayon", &isUsable), VX_OK);
  EXPECT_FALSE(isUsable);
  EXPECT_EQ(vx_encoder_is_usable(nullptr, &isUsable), VX_INVALID_ARGUMENT);
  EXPECT_EQ(vx_encoder_is_usable(encoder.name, nullptr), VX_INVALID_ARGUMENT);
}
