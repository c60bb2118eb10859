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

TEST(EncoderList, OneThatThisMachineCannotUseIsRefused) {
  const std::string before = AVVideoEncoder::preferredEncoderName();
  for (const auto& encoder : AVVideoEncoder::availableEncoders()) {
    if (!AVVideoEncoder::isUsable(encoder.name)) {
      EXPECT_THROW(chooseEncoder(encoder.name), UsageError) << encoder.name;
    }
  }
  chooseEncoder(before);
}

TEST(EncoderList, TellsWhichIsTheDefault) {
  const std::string lines = "\n" + encoderLines(false);
  const std::size_t line = lines.find("\n" + AVVideoEncoder::preferredEncoderName() + " ");
  ASSERT_NE(line, std::string::npos);
  const std::size_t end = lines.find('\n', line + 1);
  EXPECT_THAT(lines.substr(line, end - line), testing::EndsWith(" (default)"));
}

TEST(EncoderList, UnknownNameIsRefusedWithTheKnownOnes) {
  EXPECT_THAT([] { chooseEncoder("h265"); },
              testing::ThrowsMessage<UsageError>(HasSubstr(encoderNames())));
}

}  // namespace
}  // namespace vxrecord
