// Wrong use, inputs that cannot be opened, places that cannot be written.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "endtoend/vxrecord_run.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class VxrecordErrors : public testing::Test {
 protected:
  void expectRefused(const std::vector<std::string>& arguments, const std::string& why,
                     int status = 2) {
    const ProgramResult run = runVxrecord(arguments);
    EXPECT_EQ(run.status, status) << run.errors;
    EXPECT_THAT(run.errors, StartsWith("vxrecord: "));
    EXPECT_THAT(run.errors, HasSubstr(why));
  }

  TemporaryFolder folder;
};

TEST_F(VxrecordErrors, NoInput) { expectRefused({}, "no input given"); }

TEST_F(VxrecordErrors, TwoInputs) { expectRefused({"a", "b"}, "two inputs"); }

TEST_F(VxrecordErrors, UnknownOption) {
  expectRefused({"--speed", "test:64x48@10"}, "unknown option \"--speed\"");
}

TEST_F(VxrecordErrors, MissingFile) {
  expectRefused({folder / "none.mkv"}, "no such file");
  expectRefused({"100%.mkv"}, "no such file");
  expectRefused({"nothing:here.mkv"}, "\"nothing:\" is none");
}

TEST_F(VxrecordErrors, FolderAsInput) { expectRefused({folder.path()}, "is a folder"); }

TEST_F(VxrecordErrors, FileThatIsNoMedia) {
  std::ofstream(folder / "text.txt") << "just some words";
  expectRefused({folder / "text.txt"}, "cannot open");
  std::ofstream(folder / "empty.mp4");
  expectRefused({folder / "empty.mp4"}, "cannot open");
}

TEST_F(VxrecordErrors, FileWithoutVideo) {
  makeWithFFmpeg({"-f", "lavfi", "-i", "sine=duration=0.2", folder / "tone.wav"});
  expectRefused({folder / "tone.wav"}, "no video");
}

TEST_F(VxrecordErrors, NoDisplay) {
  expectRefused({"x11::987"}, "cannot open the display :987");
  expectRefused({"x11:"}, "is not a display");
  expectRefused({"x11::0+1,2,3"}, "is not a display");
}

TEST_F(VxrecordErrors, NoTestPicture) {
  for (const char* input : {"test:", "test:64x48", "test:0x48@10", "test:64x48@0", "test:64x48@-1",
                            "test:64x48@nan", "test:99999x9@1", "test:64x48@2000"}) {
    expectRefused({input}, "is not a test picture");
  }
}

TEST_F(VxrecordErrors, UnknownPixelFormat) {
  expectRefused({"--pixel-format", "nv12", "test:64x48@10"}, "y420, BGRA");
}

TEST_F(VxrecordErrors, BadNumbers) {
  expectRefused({"--duration", "soon", "test:64x48@10"}, "--duration takes a number of seconds");
  expectRefused({"--duration=-1", "test:64x48@10"}, "more than 0");
  expectRefused({"--duration=0", "test:64x48@10"}, "more than 0");
  expectRefused({"--index", "4294967296", "test:64x48@10"}, "0 to 4294967295");
  expectRefused({"--folder-limit=1.5", "test:64x48@10"}, "whole number");
  expectRefused({"--pause-at", "1", "test:64x48@10"}, "go together");
  expectRefused({"test:64x48@10", "--duration"}, "needs a value");
}

TEST_F(VxrecordErrors, FilenameWithAFolder) {
  expectRefused({"--filename", "a/b.mp4", "test:64x48@10"}, "without a folder");
  expectRefused({"--filename", "..", "test:64x48@10"}, "without a folder");
}

TEST_F(VxrecordErrors, FolderThatCannotBeMade) {
  std::ofstream(folder / "file");
  expectRefused({"--storage-path", folder / "file/sub", "test:64x48@10"}, "cannot record into", 1);
  expectRefused({"--storage-path", folder / "file", "test:64x48@10"}, "cannot record into", 1);
  expectRefused({"--storage-path", "/proc/none", "test:64x48@10"}, "cannot record into", 1);
}

TEST_F(VxrecordErrors, FolderUnderTheRecordingsNameIsLeftAlone) {
  folder.makeFolder("Display_1.mp4/precious");
  expectRefused({"--storage-path", folder.path(), "--duration=1", "test:64x48@10"}, "is not a file",
                1);
  EXPECT_TRUE(folder.has("Display_1.mp4/precious"));
}

TEST_F(VxrecordErrors, InputIsNotReplacedByItsOwnRecording) {
  makeWithFFmpeg(
      {"-f", "lavfi", "-i", "testsrc=size=64x48:rate=25:duration=0.2", folder / "movie.mp4"});
  const auto size = std::filesystem::file_size(folder / "movie.mp4");
  expectRefused({"--storage-path", folder.path(), "--filename", "movie.mp4", folder / "movie.mp4"},
                "replaced by its own recording");
  EXPECT_EQ(std::filesystem::file_size(folder / "movie.mp4"), size);
}

TEST_F(VxrecordErrors, NameThatIsTooLongForTheDisk) {
  expectRefused({"--storage-path", folder.path(), "--filename", std::string(300, 'n'),
                 "--duration=1", "--quiet", "test:64x48@10"},
                "name of the recording is too long", 1);
}

TEST_F(VxrecordErrors, JsonTellsTheErrorToo) {
  const ProgramResult run = runVxrecord({"--json", folder / "none.mkv"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(jsonValue(run.output, "outcome"), "failed");
  EXPECT_EQ(jsonValue(run.output, "file"), "null");
  EXPECT_THAT(jsonValue(run.output, "error"), StartsWith("no such file"));
}

TEST_F(VxrecordErrors, InputThatIsCutShortIsRecordedAsFarAsItGoes) {
  makeWithFFmpeg({"-f", "lavfi", "-i", "testsrc=size=160x120:rate=25:duration=4", "-c:v", "ffv1",
                  folder / "whole.mkv"});
  std::filesystem::resize_file(folder / "whole.mkv",
                               std::filesystem::file_size(folder / "whole.mkv") / 2);
  const ProgramResult run =
      runVxrecord({"--storage-path", folder.path(), "--json", folder / "whole.mkv"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_GT(jsonNumber(run.output, "frames"), 20);
}

}  // namespace
}  // namespace vx::test
