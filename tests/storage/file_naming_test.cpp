// The recorder's choice of its file.
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "support/program.h"
#include "support/recorder_peer.h"
#include "support/temporary_folder.h"
#include "support/unprivileged.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class FileNaming : public testing::Test {
 protected:
  std::string outputPath() {
    const std::optional<vx::NSURL> url = VXVideoRecorderPeer(*recorder).outputFileURL();
    return url ? url->path() : "(absent)";
  }

  TemporaryFolder home;
  ScopedEnvironment homeVariable{"HOME", home.path().c_str()};
  ScopedEnvironment configuration{"XDG_CONFIG_HOME", nullptr};
  TemporaryFolder storage;
  std::shared_ptr<RememberingDelegate> delegate = std::make_shared<RememberingDelegate>();
  std::shared_ptr<VXVideoRecorder> recorder = VXVideoRecorder::initWithDelegate(delegate);
};

TEST_F(FileNaming, IsDisplayOneInTheDefaultFolderAtFirst) {
  EXPECT_EQ(outputPath(), home / "Documents/Ondrel Works/Display_1.mp4");
  EXPECT_TRUE(fs::is_directory(home / "Documents/Ondrel Works"));
  EXPECT_FALSE(home.has("Documents/Ondrel Works/Display_1.mp4"));
}

TEST_F(FileNaming, FollowsTheUsersDocumentsFolder) {
  home.makeFolder(".config");
  std::ofstream(home / ".config/user-dirs.dirs") << "XDG_DOCUMENTS_DIR=\"$HOME/Texte\"\n";
  EXPECT_EQ(outputPath(), home / "Texte/Ondrel Works/Display_1.mp4");
}

TEST_F(FileNaming, PutsTheFileStraightIntoTheStorageFolder) {
  recorder->setStoragePath(storage.path());
  EXPECT_EQ(outputPath(), storage / "Display_1.mp4");
  EXPECT_FALSE(storage.has("Ondrel Works"));
  EXPECT_FALSE(home.has("Documents"));
}

TEST_F(FileNaming, MakesAllMissingParentsOfTheStorageFolder) {
  recorder->setStoragePath(storage / "a/b/c");
  EXPECT_EQ(outputPath(), storage / "a/b/c/Display_1.mp4");
  EXPECT_TRUE(fs::is_directory(storage / "a/b/c"));
}

TEST_F(FileNaming, PrintsTheIndexAsASignedNumber) {
  recorder->setStoragePath(storage.path());
  recorder->setIndex(0);
  EXPECT_EQ(outputPath(), storage / "Display_0.mp4");
  recorder->setFilename(std::nullopt);
  recorder->setIndex(4294967295);
  EXPECT_EQ(outputPath(), storage / "Display_-1.mp4");
}

TEST_F(FileNaming, KeepsTheNameOnceMade) {
  recorder->setStoragePath(storage.path());
  outputPath();
  EXPECT_EQ(recorder->filename(), "Display_1.mp4");
  recorder->setIndex(7);
  EXPECT_EQ(outputPath(), storage / "Display_1.mp4");
}

TEST_F(FileNaming, UsesAHostsNameUnchanged) {
  recorder->setStoragePath(storage.path());
  recorder->setFilename("Büro: no extension");
  EXPECT_EQ(outputPath(), storage / "Büro: no extension");
  EXPECT_EQ(recorder->filename(), "Büro: no extension");
}

TEST_F(FileNaming, TakesAnEmptyNameAsSet) {
  recorder->setStoragePath(storage.path());
  recorder->setFilename("");
  outputPath();
  EXPECT_EQ(recorder->filename(), "");
}

TEST_F(FileNaming, TakesANameWithFoldersAndMakesNone) {
  recorder->setStoragePath(storage.path());
  recorder->setFilename("sub/meeting.mp4");
  EXPECT_EQ(outputPath(), storage / "sub/meeting.mp4");
  EXPECT_FALSE(storage.has("sub"));
}

TEST_F(FileNaming, DeletesAnEarlierRecording) {
  storage.makeFile("Display_1.mp4", 100);
  recorder->setStoragePath(storage.path());
  outputPath();
  EXPECT_FALSE(storage.has("Display_1.mp4"));
}

TEST_F(FileNaming, DeletesAFolderThatStandsInTheWay) {
  storage.makeFolder("Display_1.mp4/sub");
  recorder->setStoragePath(storage.path());
  outputPath();
  EXPECT_FALSE(storage.has("Display_1.mp4"));
}

TEST_F(FileNaming, DeletesALinkInTheWayAndNotWhatItNames) {
  home.makeFile("film.mp4", 10);
  fs::create_symlink(home / "film.mp4", storage / "Display_1.mp4");
  recorder->setStoragePath(storage.path());
  outputPath();
  EXPECT_FALSE(storage.has("Display_1.mp4"));
  EXPECT_TRUE(home.has("film.mp4"));
}

TEST_F(FileNaming, LeavesAReaderOfTheEarlierRecordingItsContents) {
  std::ofstream(storage / "Display_1.mp4") << "earlier";
  // Another process opens the file, says so, and reads it once it is told to.
  ASSERT_EQ(::mkfifo((storage / "go").c_str(), 0600), 0);
  vx::test::Program reader({"sh", "-c",
                            "exec 3<\"$0\"; echo open >\"$1\"; read go <\"$2\"; cat <&3",
                            storage / "Display_1.mp4", storage / "said", storage / "go"});
  ASSERT_TRUE(vx::test::waitUntil([&] { return storage.has("said"); }));
  recorder->setStoragePath(storage.path());
  outputPath();
  std::ofstream(storage / "Display_1.mp4") << "later";
  std::ofstream(storage / "go") << "go\n";
  EXPECT_EQ(reader.wait(), 0);
  EXPECT_EQ(reader.output(), "earlier");
}

TEST_F(FileNaming, NeverDeletesTheStorageFolderItself) {
  storage.makeFile("old.mp4");
  recorder->setStoragePath(storage.path());
  for (const char* name : {"", ".", "/", "sub/../.."}) {
    recorder->setFilename(name);
    outputPath();
    EXPECT_TRUE(storage.has("old.mp4")) << name;
  }
}

TEST_F(FileNaming, FallsBackToTheDocumentsFolderItselfWithALineInTheSystemLog) {
  storage.makeFile("file");
  recorder->setStoragePath(storage / "file/below");
  testing::internal::CaptureStderr();
  EXPECT_EQ(outputPath(), home / "Documents/Display_1.mp4");
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Error Domain="));
  EXPECT_FALSE(home.has("Documents"));
  EXPECT_THAT(delegate->lines(), testing::IsEmpty());
}

TEST_F(FileNaming, FallsBackWhenNothingCanBeMadeInTheParentFolder) {
  storage.makeFolder("locked");
  fs::permissions(storage / "locked", fs::perms(0555));
  const Unprivileged user(storage);
  recorder->setStoragePath(storage / "locked/below");
  testing::internal::CaptureStderr();
  EXPECT_EQ(outputPath(), home / "Documents/Display_1.mp4");
  const std::string systemLog = testing::internal::GetCapturedStderr();
  EXPECT_THAT(systemLog, HasSubstr("Error Domain=NSCocoaErrorDomain Code=513"));
  EXPECT_THAT(systemLog, HasSubstr(storage / "locked/below"));
  EXPECT_THAT(delegate->lines(), testing::IsEmpty());
}

TEST_F(FileNaming, TakesAnEmptyStorageFolderAsSet) {
  recorder->setStoragePath("");
  testing::internal::CaptureStderr();
  EXPECT_EQ(outputPath(), home / "Documents/Display_1.mp4");
  EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

TEST_F(FileNaming, KeepsAStorageFolderThatTurnsOutToBeAFile) {
  storage.makeFile("file");
  recorder->setStoragePath(storage / "file");
  testing::internal::CaptureStderr();
  EXPECT_EQ(outputPath(), storage / "file/Display_1.mp4");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(storage.has("file"));
}

TEST_F(FileNaming, ClearsThePathInTheFolderThatItFellBackTo) {
  home.makeFolder("Documents");
  home.makeFile("Documents/Display_1.mp4");
  recorder->setStoragePath("");
  testing::internal::CaptureStderr();
  outputPath();
  testing::internal::GetCapturedStderr();
  EXPECT_FALSE(home.has("Documents/Display_1.mp4"));
}

TEST_F(FileNaming, MakesARelativeStorageFolderAbsoluteInTheURL) {
  const fs::path before = fs::current_path();
  fs::current_path(storage.path());
  recorder->setStoragePath("relative");
  EXPECT_EQ(outputPath(), fs::canonical(storage.path()).string() + "/relative/Display_1.mp4");
  fs::current_path(before);
}

}  // namespace
