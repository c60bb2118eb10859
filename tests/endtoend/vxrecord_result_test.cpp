// What vxrecord answers: files, JSON, signals.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "endtoend/vxrecord_run.h"
#include "support/media_reader.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

TEST(VxrecordResult, JsonTellsTheRecording) {
  const TemporaryFolder folder;
  const ProgramResult run =
      runVxrecord({"--json", "--storage-path=" + folder.path(), "--filename=\xC3\xBC \"x\".mp4",
                   "--duration=1", "--quiet", "test:160x120@20"});
  ASSERT_EQ(run.status, 0) << run.errors;
  const std::string path = folder / "\xC3\xBC \"x\".mp4";
  EXPECT_THAT(run.output, HasSubstr("\\\"x\\\".mp4\", \"outcome\": \"done\""));
  EXPECT_EQ(jsonNumber(run.output, "frames"), 20);
  EXPECT_EQ(jsonNumber(run.output, "dropped"), 0);
  EXPECT_EQ(jsonNumber(run.output, "durationMs"), 952);
  EXPECT_EQ(jsonNumber(run.output, "durationMs"), readFile(path).durationMs);
  EXPECT_EQ(jsonNumber(run.output, "bytes"),
            static_cast<std::int64_t>(std::filesystem::file_size(path)));
  EXPECT_EQ(jsonValue(run.output, "error"), "null");
  EXPECT_THAT(run.errors, IsEmpty());
}

TEST(VxrecordResult, DefaultNameCarriesTheIndex) {
  const TemporaryFolder folder;
  ASSERT_EQ(runVxrecord({"--storage-path", folder.path(), "--index", "7", "--duration", "0.2",
                         "test:64x48@10"})
                .status,
            0);
  EXPECT_TRUE(folder.has("Display_7.mp4"));
}

TEST(VxrecordResult, MissingFoldersAreMade) {
  const TemporaryFolder folder;
  ASSERT_EQ(
      runVxrecord({"--storage-path", folder / "a/b c/d", "--duration", "0.2", "test:64x48@10"})
          .status,
      0);
  EXPECT_TRUE(folder.has("a/b c/d/Display_1.mp4"));
}

TEST(VxrecordResult, DefaultFolderIsInDocuments) {
  const TemporaryFolder folder;
  const ProgramResult run =
      runProgram(vxrecordWith({"--duration", "0.2", "test:64x48@10"}),
                 {"HOME=" + folder.path(), "XDG_CONFIG_HOME=" + folder.path()});
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_TRUE(folder.has("Documents/Ondrel Works/Display_1.mp4"));
  EXPECT_THAT(run.output, HasSubstr("Documents/Ondrel Works/Display_1.mp4"));
}

TEST(VxrecordResult, FolderLimitDeletesOlderRecordings) {
  const TemporaryFolder folder;
  folder.makeFile("rec_monday_1.mp4", 5000000, 0);
  folder.makeFile("other_monday_1.mp4", 5000000, 0);
  const ProgramResult run = runVxrecord(
      {"--storage-path", folder.path(), "--folder-limit", "1", "--file-name-prefix", "rec_",
       "--filename", "rec_tuesday_1.mp4", "--duration", "0.5", "test:64x48@10"});
  ASSERT_EQ(run.status, 0);
  EXPECT_THAT(run.errors, testing::Not(HasSubstr("deletes nothing")));
  EXPECT_FALSE(folder.has("rec_monday_1.mp4"));
  EXPECT_TRUE(folder.has("other_monday_1.mp4"));
  EXPECT_TRUE(folder.has("rec_tuesday_1.mp4"));
}

TEST(VxrecordResult, FolderLimitWithoutAPrefixIsWarnedOf) {
  const TemporaryFolder folder;
  std::vector<std::string> words = {"--storage-path", folder.path(), "--folder-limit", "1",
                                    "--duration",     "0.2",         "test:64x48@10"};
  EXPECT_THAT(runVxrecord(words).errors, HasSubstr("--folder-limit deletes nothing without"));
  words.insert(words.begin(), "--quiet");
  EXPECT_THAT(runVxrecord(words).errors, IsEmpty());
}

TEST(VxrecordResult, AnswerThatCannotBePrintedIsAFailure) {
  const TemporaryFolder folder;
  const std::string recording =
      "--json --storage-path " + folder.path() + " --duration 0.2 test:64x48@10";
  for (const std::string& words : {std::string("--help"), std::string("--list-encoders"), recording,
                                   "verify " + (folder / "Display_1.mp4")}) {
    const ProgramResult run =
        runProgram({"sh", "-c", "exec \"$0\" " + words + " >/dev/full", vxrecordWith({}).front()});
    EXPECT_EQ(run.status, 1) << words;
    EXPECT_THAT(run.errors,
                HasSubstr("vxrecord: standard output cannot be written: No space left on device"));
  }
  EXPECT_TRUE(folder.has("Display_1.mp4"));
}

TEST(VxrecordResult, ProgressIsPlainLinesWithoutATerminal) {
  const TemporaryFolder folder;
  const ProgramResult run = runVxrecord(
      {"--storage-path", folder.path(), "--duration", "2.5", "--realtime", "test:64x48@10"});
  EXPECT_GE(lastProgressMs(run.errors), 1000);
  EXPECT_THAT(run.errors, testing::Not(HasSubstr("\r")));
  EXPECT_THAT(run.output, HasSubstr("recorded 25 frames, 2.402 s"));
}

TEST(VxrecordResult, VerboseShowsTheRecordersLog) {
  const TemporaryFolder folder;
  const ProgramResult run = runVxrecord(
      {"--storage-path", folder.path(), "--duration", "0.2", "--verbose", "test:64x48@10"});
  EXPECT_THAT(run.errors, HasSubstr("Record Display_1.mp4 - done"));
}

TEST(VxrecordResult, HelpAndVersionNeedNoInput) {
  EXPECT_THAT(runVxrecord({"--help"}).output, HasSubstr("--storage-path"));
  const ProgramResult version = runVxrecord({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.output, "vxrecord 1.0\n");
}

class Signals : public testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(Ends, Signals, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_P(Signals, EndTheRecordingCleanly) {
  const TemporaryFolder folder;
  Program program(
      vxrecordWith({"--storage-path", folder.path(), "--realtime", "--json", "test:160x120@30"}));
  ASSERT_TRUE(waitUntil([&] { return lastProgressMs(program.errors()) > 0; }));
  program.signal(GetParam());
  EXPECT_EQ(program.wait(), 0) << program.errors();
  EXPECT_EQ(jsonValue(program.output(), "outcome"), "done");
  const std::vector<std::int64_t> numbers = frameNumbers(folder / "Display_1.mp4");
  EXPECT_EQ(static_cast<std::int64_t>(numbers.size()), jsonNumber(program.output(), "frames"));
}

TEST(VxrecordResult, Usr2PausesAndResumes) {
  const TemporaryFolder folder;
  Program program(vxrecordWith({"--storage-path", folder.path(), "--realtime", "test:160x120@30"}));
  ASSERT_TRUE(waitUntil([&] { return lastProgressMs(program.errors()) > 0; }));
  const auto count = [&](const std::string& text) {
    const std::string errors = program.errors();
    return errors.find(text, std::max(errors.rfind("frames"), std::size_t{40}) - 40);
  };
  program.signal(SIGUSR2);
  ASSERT_TRUE(waitUntil([&] { return count("paused") != std::string::npos; }));
  program.signal(SIGUSR2);
  ASSERT_TRUE(waitUntil([&] { return count("paused") == std::string::npos; }));
  program.signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0) << program.errors();
  const std::vector<std::int64_t> numbers = frameNumbers(folder / "Display_1.mp4");
  EXPECT_EQ(std::count(numbers.begin(), numbers.end(), -1), 1);
}

TEST(VxrecordResult, WishesToEndWithinASecondAreOne) {
  const TemporaryFolder folder;
  Program program(
      vxrecordWith({"--storage-path", folder.path(), "--realtime", "--json", "test:160x120@30"}));
  ASSERT_TRUE(waitUntil([&] { return lastProgressMs(program.errors()) > 0; }));
  for (const int signal : {SIGINT, SIGINT, SIGTERM, SIGHUP}) {
    program.signal(signal);
  }
  EXPECT_EQ(program.wait(), 0) << program.errors();
  EXPECT_EQ(static_cast<std::int64_t>(frameNumbers(folder / "Display_1.mp4").size()),
            jsonNumber(program.output(), "frames"));
}

TEST(VxrecordResult, HangUpIsIgnoredWhereItWasBefore) {
  const TemporaryFolder folder;
  std::vector<std::string> words =
      vxrecordWith({"--storage-path", folder.path(), "--realtime", "test:160x120@30"});
  words.insert(words.begin(), "nohup");
  Program program(words);
  ASSERT_TRUE(waitUntil([&] { return lastProgressMs(program.errors()) > 0; }));
  program.signal(SIGHUP);
  const std::int64_t before = lastProgressMs(program.errors());
  EXPECT_TRUE(waitUntil([&] { return lastProgressMs(program.errors()) > before + 1000; }));
  program.signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
}

TEST(VxrecordResult, EncoderIsChosenByName) {
  const TemporaryFolder folder;
  const ProgramResult wrong = runVxrecord({"--encoder", "none", "test:64x48@10"});
  EXPECT_EQ(wrong.status, 2);
  EXPECT_THAT(wrong.errors, HasSubstr("unknown encoder \"none\""));
  const ProgramResult list = runVxrecord({"--list-encoders"});
  EXPECT_EQ(list.status, 0);
  EXPECT_THAT(list.output, testing::StartsWith("auto "));
  EXPECT_EQ(runVxrecord({"--storage-path", folder.path(), "--encoder", "auto", "--duration", "0.2",
                         "test:64x48@10"})
                .status,
            0);
}

TEST(VxrecordResult, EndlessInputWithoutPacingEndsOnASignalToo) {
  const TemporaryFolder folder;
  Program program(vxrecordWith({"--storage-path", folder.path(), "test:160x120@30"}));
  ASSERT_TRUE(waitUntil([&] { return lastProgressMs(program.errors()) > 0; }));
  program.signal(SIGINT);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(decodeStrictly(folder / "Display_1.mp4", nullptr).errors, 0);
}

}  // namespace
}  // namespace vx::test
