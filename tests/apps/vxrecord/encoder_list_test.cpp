#include "encoder_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "VXVideoRecorder/platform/AVVideoEncoder.h"
#include "options.h"

namespace vxrecord {
namespace {

using testing::HasSubstr;
using vx::AVVideoEncoder;

TEST(EncoderList, EveryEncoderHasALine) {
  const std::string lines = "\n" + encoderLines(false);
  EXPECT_THAT(lines, HasSubstr("\nauto "));
  for (const auto& encoder : AVVideoEncoder::availableEncoders()) {
    EXPECT_THAT(lines, HasSubstr("\n" + encoder.name + " "));
    EXPECT_THAT(lines, testing::Not(HasSubstr(encoder.licenceNote)));
  }
}

TEST(EncoderList, LicencesAreToldOnDemand) {
  for (const auto& encoder : AVVideoEncoder::availableEncoders()) {
    EXPECT_THAT(encoderLines(true), HasSubstr(encoder.licenceNote));
  }
}

TEST(EncoderList, NameBecomesTheChoice) {
  const std::string before = AVVideoEncoder::preferredEncoderName();
  chooseEncoder("auto");
  EXPECT_EQ(AVVideoEncoder::preferredEncoderName(), "auto");
  chooseEncoder(before);
  EXPECT_EQ(AVVideoEncoder::preferredEncoderName(), before);
}

TEST(EncoderList, UnknownNameIsRefusedWithTheKnownOnes) {
  try {
    chooseEncoder("h265");
    FAIL();
  } catch (const UsageError& error) {
    EXPECT_THAT(error.what(), HasSubstr(encoderNames()));
  }
}

}  // namespace
}  // namespace vxrecord
