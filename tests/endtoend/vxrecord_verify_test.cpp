// Recordings of vxrecord, verified by it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "endtoend/vxrecord_run.h"
#include "support/box_reader.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// Four seconds with a pause in the middle and sound.
struct VerifiedRecording {
  TemporaryFolder folder;
  std::string path = folder / "a.mp4";
  VerifiedRecording() {
    const ProgramResult run =
        runVxrecord({"--storage-path", folder.path(), "--filename", "a.mp4", "--audio",
                     "--duration", "4", "--pause-at", "1", "--pause-for", "2", "test:64x48@25"});
    EXPECT_EQ(run.status, 0) << run.errors;
  }
  ProgramResult verify(const std::vector<std::string>& options = {}) const {
    std::vector<std::string> words = {"verify"};
    words.insert(words.end(), options.begin(), options.end());
    words.push_back(path);
    return runVxrecord(words);
  }
};

TEST(VxrecordVerify, TellsWhatIsInARecording) {
  const VerifiedRecording recording;
  const ProgramResult run = recording.verify();
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(run.output, StartsWith(recording.path + ": whole\n"));
  EXPECT_THAT(run.output, HasSubstr("frames, 64x48, "));
  EXPECT_THAT(run.output, HasSubstr("black      1000 ms at 0:0"));
  EXPECT_THAT(run.output, HasSubstr("longest    1000 ms at 0:0"));
  EXPECT_THAT(run.output, HasSubstr("sound      44100 Hz, 2 channels"));
}

TEST(VxrecordVerify, TellsProgramsTheSame) {
  const VerifiedRecording recording;
  const ProgramResult run = recording.verify({"--json"});
  EXPECT_EQ(jsonValue(run.output, "state"), "whole");
  EXPECT_EQ(jsonValue(run.output, "isWhole"), "true");
  EXPECT_EQ(jsonNumber(run.output, "frames"),
            static_cast<std::int64_t>(readFile(recording.path).videoTimesMs().size()));
  EXPECT_EQ(jsonNumber(run.output, "longestFrameMs"), 1000);
  EXPECT_EQ(jsonNumber(run.output, "damagedParts"), 0);
}

TEST(VxrecordVerify, DrawsTheTimeline) {
  const VerifiedRecording recording;
  const std::string svg = recording.folder / "timeline.svg";
  EXPECT_EQ(recording.verify({"--svg", svg}).status, 0);
  const Bytes bytes = readWholeFile(svg);
  const std::string picture(bytes.begin(), bytes.end());
  EXPECT_THAT(picture, StartsWith("<svg xmlns="));
  EXPECT_THAT(picture, HasSubstr("black for 1000 ms"));
  EXPECT_THAT(picture, HasSubstr("sound from 0:00.000"));
}

TEST(VxrecordVerify, FindsAByteThatChanged) {
  const VerifiedRecording recording;
  Bytes bytes = readWholeFile(recording.path);
  bytes[bytes.size() / 2] ^= 1;
  std::ofstream(recording.path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  const ProgramResult run = recording.verify();
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.output, HasSubstr(": damaged\n"));
}

TEST(VxrecordVerify, TellsWhatIsNoRecording) {
  const TemporaryFolder folder;
  std::ofstream(folder / "a.txt") << "no recording";
  EXPECT_EQ(runVxrecord({"verify", folder / "a.txt"}).status, 1);
  EXPECT_EQ(runVxrecord({"verify", folder / "missing.mp4"}).status, 2);
  EXPECT_EQ(runVxrecord({"verify"}).status, 2);
}

}  // namespace
}  // namespace vx::test
