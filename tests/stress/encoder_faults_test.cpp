// An encoder that fails in one of the ways encoders do: the recording ends as failed within a
// bound, its committed part reads, and the next one works.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "stress/form.h"
#include "stress/recorder_with_parts.h"
#include "stress/stand_ins.h"
#include "support/frame_source.h"
#include "support/movie_checker.h"
#include "support/program.h"

namespace vx::test {
namespace {

constexpr std::chrono::seconds kPatience{1};

class EncoderFault : public testing::Test {
 protected:
  ~EncoderFault() override { script->letGo(); }

  /// Six frames through the scripted encoder; the file that is left.
  CheckedMovie record() {
    disk = std::make_shared<MemoryDisk>();
    ear = std::make_shared<RememberingDelegate>();
    const auto recorder = VXVideoRecorder::initWithDelegate(ear);
    recorder->setStoragePath("/");
    recorder->setFilename("fault.mp4");
    WriterParts parts = standInParts(script, disk);
    parts.encoderPatience = kPatience;
    startWithParts(*recorder, "/fault.mp4", parts, CGSizeMake(64, 48));
    for (std::uint32_t i = 0; i < 6; ++i) {
      recorder->appendVideoSample(
          {{"timestamp", i * 40},
           {"frameBuffer", NSData::dataWithBytesNoCopy(picture.bytes.data(), picture.bytes.size())},
           {"pixelFormatType", picture.format},
           {"width", picture.width},
           {"height", picture.height},
           {"bytesPerRow", picture.bytesPerRow}});
    }
    recorder->stop();
    EXPECT_TRUE(ear->waitForFilesDone());
    error = recorder->writer()->error();
    EXPECT_TRUE(disk->waitUntilClosed());
    return checkMovie(disk->bytes, FileEnd::mayBeTorn);
  }
  bool isAnnouncedAs(const char* outcome) const {
    const auto lines = ear->lines();
    return std::any_of(lines.begin(), lines.end(), [&](const RememberingDelegate::Line& line) {
      return line.message.ends_with(outcome);
    });
  }
  void expectTheNextToWork() {
    script = EncoderScript::make();
    const CheckedMovie movie = record();
    EXPECT_TRUE(isAnnouncedAs(" - done"));
    EXPECT_THAT(movie.findings, testing::IsEmpty());
    ASSERT_NE(movie.video(), nullptr);
    EXPECT_EQ(movie.video()->samples.size(), 6U);
  }

  std::shared_ptr<EncoderScript> script = EncoderScript::make();
  std::shared_ptr<MemoryDisk> disk;
  std::shared_ptr<RememberingDelegate> ear;
  std::optional<NSError> error;
  SourceFrame picture = makeSourceFrame(kCVPixelFormatType_32BGRA, 64, 48, quarters(64, 48));
};

TEST_F(EncoderFault, ThatDoesNotOpenFailsTheRecordingAlone) {
  script->opens = false;
  record();
  EXPECT_TRUE(isAnnouncedAs(" - failed"));
  EXPECT_EQ(error->code(), AVErrorEncoderNotFound);
  expectTheNextToWork();
  report("encoder that does not open | 1 recording | all of it; the next recording works");
}

TEST_F(EncoderFault, AtAnyPictureKeepsThoseBefore) {
  for (std::int64_t k = 0; k < 5; ++k) {
    script = EncoderScript::make();
    script->failsAt = k;
    const CheckedMovie movie = record();
    EXPECT_TRUE(isAnnouncedAs(" - failed"));
    EXPECT_EQ(error->code(), AVErrorEncodeFailed);
    EXPECT_THAT(movie.findings, testing::IsEmpty());
    ASSERT_NE(movie.video(), nullptr);
    EXPECT_EQ(movie.video()->samples.size(), static_cast<std::size_t>(k));
  }
  expectTheNextToWork();
  report(
      "encoder that fails at picture k | k = 1 to 5 | pictures from k on; the next recording "
      "works");
}

TEST_F(EncoderFault, ThatNeverReturnsIsGivenUpWithinABound) {
  const std::shared_ptr<EncoderScript> stuck = script;
  stuck->hangAt(3);
  const auto start = std::chrono::steady_clock::now();
  const CheckedMovie movie = record();
  const auto lasted = std::chrono::steady_clock::now() - start;
  EXPECT_TRUE(isAnnouncedAs(" - failed"));
  EXPECT_EQ(error->code(), AVErrorEncodeFailed);
  EXPECT_EQ(movie.form, MovieForm::plain);
  EXPECT_THAT(movie.findings, testing::IsEmpty());
  ASSERT_NE(movie.video(), nullptr);
  EXPECT_EQ(movie.video()->samples.size(), 3U);
  expectTheNextToWork();
  stuck->letGo();
  report("encoder that never returns, with a patience of " + std::to_string(kPatience.count()) +
         " s | 1 recording | what it had not given; an error after " +
         std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(lasted).count()) +
         " ms, the next recording works");
}

}  // namespace
}  // namespace vx::test
