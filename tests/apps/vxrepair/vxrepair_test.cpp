// Recordings of vxrecord that were killed, and vxrepair run on them, both as programs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>

#include "stress/form.h"
#include "stress/outside_readers.h"
#include "support/media_reader.h"
#include "support/movie_checker.h"
#include "support/program.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

ProgramResult runVxrepair(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), VXREPAIR_PROGRAM);
  return runProgram(arguments);
}

std::uintmax_t sizeOf(const std::string& path) {
  std::error_code missing;
  const std::uintmax_t size = std::filesystem::file_size(path, missing);
  return missing ? 0 : size;
}

/// A live recording with sound, turned, of an odd size.
struct LiveRecording {
  TemporaryFolder folder;
  std::string path = folder / "Display_1.mp4";
  Program program{{VXRECORD_PROGRAM, "--storage-path", folder.path(), "--realtime", "--audio",
                   "--rotate", "test:161x121@30"}};

  void waitForBytes(std::uintmax_t sizeBytes) {
    ASSERT_TRUE(waitUntil([&] { return sizeOf(path) > sizeBytes; }));
  }
  void kill() {
    program.signal(SIGKILL);
    EXPECT_EQ(program.wait(), 128 + SIGKILL);
  }
};

/// The file is a plain movie of all that could be read before, and perhaps of one fragment more,
/// which was whole but not published when the recorder died.
void expectComplete(const std::string& path, const MediaFile& before) {
  const CheckedMovie checked = checkMovieFile(path);
  EXPECT_EQ(checked.form, MovieForm::plain);
  EXPECT_THAT(checked.findings, IsEmpty());
  const MediaFile after = readFile(path);
  std::vector<std::int64_t> times = after.videoTimesMs();
  expectReadByAll(path, static_cast<std::int64_t>(times.size()));
  ASSERT_GE(times.size(), before.videoTimesMs().size());
  times.resize(before.videoTimesMs().size());
  EXPECT_EQ(times, before.videoTimesMs());
  EXPECT_GE(after.packetsOf(TrackKind::audio).size(), before.packetsOf(TrackKind::audio).size());
  EXPECT_EQ(after.video().rotationDegrees, before.video().rotationDegrees);
  EXPECT_EQ(after.video().width, 161);
  EXPECT_EQ(after.video().height, 121);
}

TEST(Vxrepair, CompletesKilledRecordings) {
  Chance chance;
  const int kills = rounds(3, 100);
  for (int i = 0; i < kills && !HasFailure(); ++i) {
    LiveRecording live;
    live.waitForBytes(static_cast<std::uintmax_t>(chance.between(2000, 60000)));
    live.kill();
    const MediaFile before = readFile(live.path);
    const ProgramResult run = runVxrepair({live.path});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("was broken off and is complete now"));
    expectComplete(live.path, before);

    const Bytes once = readWholeFile(live.path);
    const ProgramResult again = runVxrepair({live.path});
    EXPECT_EQ(again.status, 0);
    EXPECT_THAT(again.output, HasSubstr("is complete, nothing to do"));
    EXPECT_EQ(readWholeFile(live.path), once);
  }
  report(
      "SIGKILL of `vxrecord`, then `vxrepair` twice | " + std::to_string(kills) +
      " recordings | nothing that could be read; all plain movies then, the same bytes after the "
      "second repair");
}

TEST(Vxrepair, RefusesARecordingThatIsBeingWritten) {
  LiveRecording live;
  live.waitForBytes(15000);
  const ProgramResult run = runVxrepair({live.path});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.errors, HasSubstr("is being written right now"));
  live.program.signal(SIGTERM);
  EXPECT_EQ(live.program.wait(), 0);
  EXPECT_THAT(checkMovieFile(live.path).findings, IsEmpty());
}

TEST(Vxrepair, SaysInADryRunWhatItWouldRecover) {
  LiveRecording live;
  live.waitForBytes(15000);
  live.kill();
  const Bytes before = readWholeFile(live.path);
  const ProgramResult run = runVxrepair({"--dry-run", "--json", live.path});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(readWholeFile(live.path), before);
  EXPECT_THAT(run.output, HasSubstr("\"outcome\": \"repairable\", \"state\": \"interrupted\""));
  ASSERT_EQ(runVxrepair({live.path}).status, 0);
  const std::size_t frames = readFile(live.path).videoTimesMs().size();
  EXPECT_THAT(run.output, HasSubstr("\"frames\": " + std::to_string(frames) + ","));
}

TEST(Vxrepair, RefusesWhatIsNoRecordingAndGoesOn) {
  const TemporaryFolder folder;
  const std::string text = folder / "notes.txt";
  std::ofstream(text) << "This is no recording, and longer than the first box of one would be.";
  const Bytes before = readWholeFile(text);
  std::filesystem::create_symlink(text, folder / "link.mp4");
  const ProgramResult run =
      runVxrepair({text, folder / "missing.mp4", folder.path(), folder / "link.mp4"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(readWholeFile(text), before);
  EXPECT_THAT(run.errors, HasSubstr("is not a recording"));
  EXPECT_THAT(run.errors, HasSubstr("There is no file"));
  EXPECT_THAT(run.errors, HasSubstr("is not a file"));
  EXPECT_THAT(run.errors, HasSubstr("is a link"));
}

TEST(Vxrepair, LeavesTheRecordingReadableWhenTheDiskIsFull) {
  LiveRecording live;
  live.waitForBytes(15000);
  live.kill();
  const MediaFile before = readFile(live.path);
  const std::uintmax_t limit = sizeOf(live.path) + 500;
  const ProgramResult run =
      runProgram({"prlimit", "--fsize=" + std::to_string(limit), VXREPAIR_PROGRAM, live.path});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.errors, HasSubstr("largest size"));
  EXPECT_EQ(readFile(live.path).videoTimesMs(), before.videoTimesMs());
  EXPECT_EQ(runVxrepair({live.path}).status, 0);
  expectComplete(live.path, before);
}

TEST(Vxrepair, FailsWhenItsAnswerCannotBePrinted) {
  LiveRecording live;
  live.waitForBytes(15000);
  live.kill();
  ASSERT_EQ(runVxrepair({live.path}).status, 0);  // nothing else is left to fail
  for (const std::string words : {"--help", "--version", "--json"}) {
    const ProgramResult run = runProgram(
        {"sh", "-c", "exec \"$0\" \"$1\" \"$2\" >/dev/full", VXREPAIR_PROGRAM, words, live.path});
    EXPECT_EQ(run.status, 1) << words;
    EXPECT_THAT(run.errors,
                HasSubstr("vxrepair: standard output cannot be written: No space left on device"));
  }
}

TEST(Vxrepair, TellsWrongUse) {
  EXPECT_EQ(runVxrepair({}).status, 2);
  EXPECT_EQ(runVxrepair({"--fix", "a.mp4"}).status, 2);
  EXPECT_THAT(runVxrepair({"--json"}).output, HasSubstr("\"outcome\": \"failed\""));
  EXPECT_THAT(runVxrepair({"--version"}).output, HasSubstr("vxrepair 1.0"));
}

}  // namespace
}  // namespace vx::test
