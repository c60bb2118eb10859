// Naming without a recorder.
#include "storage/file_naming.h"

#include "VXVideoRecorder/platform/Foundation.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <sys/mount.h>

#include <filesystem>

namespace vx::storage {
namespace {

namespace fs = std::filesystem;

TEST(DefaultFileName, HoldsTheIndexAsASignedNumber) {
  EXPECT_EQ(defaultFileName(1), "Display_1.mp4");
  EXPECT_EQ(defaultFileName(0), "Display_0.mp4");
  EXPECT_EQ(defaultFileName(2147483647), "Display_2147483647.mp4");
  EXPECT_EQ(defaultFileName(2147483648), "Display_-2147483648.mp4");
  EXPECT_EQ(defaultFileName(4294967295), "Display_-1.mp4");
}

TEST(WantedFolder, IsTheHostsAsItStandsElseTheDefault) {
  EXPECT_EQ(wantedFolder("/home/me/Documents", std::nullopt), "/home/me/Documents/Ondrel Works");
  EXPECT_EQ(wantedFolder("/home/me/Documents", "/a/"), "/a/");
  EXPECT_EQ(wantedFolder("/home/me/Documents", ""), "");
}

TEST(UsableFolder, IsTheWantedOneOnceItIsMade) {
  const TemporaryFolder folder;
  testing::internal::CaptureStderr();
  EXPECT_EQ(usableFolder(folder / "a/b", "/documents"), folder / "a/b");
  EXPECT_TRUE(folder.has("a/b"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(UsableFolder, IsTheWantedOneEvenIfAFileStandsThere) {
  const TemporaryFolder folder;
  folder.makeFile("a");
  testing::internal::CaptureStderr();
  EXPECT_EQ(usableFolder(folder / "a", "/documents"), folder / "a");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(UsableFolder, IsTheDocumentsFolderWithALogLineWhenItCannotBeMade) {
  const TemporaryFolder folder;
  folder.makeFile("a");
  std::optional<NSError> error;
  ASSERT_FALSE(NSFileManager::defaultManager().createDirectoryAtPath(folder / "a/b", true, &error));
  testing::internal::CaptureStderr();
  EXPECT_EQ(usableFolder(folder / "a/b", "/documents"), "/documents");
  const std::string log = testing::internal::GetCapturedStderr();
  const std::string_view line = log;
  // Behind the time, the program and its number: the error's description and nothing else.
  EXPECT_EQ(line.substr(line.find("] ") + 2), error->description() + "\n");
}

TEST(ClearPath, RemovesAFileALinkOrAFolder) {
  const TemporaryFolder folder;
  folder.makeFile("file");
  folder.makeFolder("full/sub");
  fs::create_symlink("file", folder / "link");
  clearPath(folder / "link", folder.path());
  EXPECT_TRUE(folder.has("file"));
  clearPath(folder / "file", folder.path());
  clearPath(folder / "full", folder.path());
  clearPath(folder / "none", folder.path());
  EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(ClearPath, NeverRemovesTheFolderItselfOrOneAroundIt) {
  const TemporaryFolder outer;
  outer.makeFolder("outer/folder/sub");
  outer.makeFile("outer/folder/old.mp4");
  fs::create_directory_symlink(outer / "outer", outer / "outer/folder/out");
  const std::string folder = outer / "outer/folder";
  for (const char* name : {"", "/", ".", "..", "../..", "sub/..", "../folder", "sub/../../folder",
                           "../../outer", "out/folder", "out/../outer/folder/."}) {
    clearPath(folder + "/" + name, folder);
    ASSERT_TRUE(outer.has("outer/folder/old.mp4")) << name;
  }
}

TEST(ClearPath, NeverRemovesTheLinkThatTheFolderIsGivenBy) {
  const TemporaryFolder outer;
  outer.makeFolder("real");
  fs::create_directory_symlink("real", outer / "link");
  for (const char* name : {"", "/", ".", "../link", "../real", "../link/", ".."}) {
    clearPath(outer / "link" + (*name == '\0' ? "" : "/") + name, outer / "link");
    ASSERT_TRUE(outer.has("link")) << name;
    ASSERT_TRUE(outer.has("real")) << name;
  }
}

// As a volume that does not tell cases apart spells it: another name, the same folder.
TEST(ClearPath, KnowsTheFolderUnderAnotherName) {
  const TemporaryFolder outer;
  outer.makeFolder("recordings");
  outer.makeFile("recordings/old.mp4");
  outer.makeFolder("Recordings");
  if (::mount((outer / "recordings").c_str(), (outer / "Recordings").c_str(), nullptr, MS_BIND,
              nullptr) != 0) {
    GTEST_SKIP() << "nothing can be mounted here (needs root)";
  }
  clearPath(outer / "recordings/../Recordings", outer / "recordings");
  EXPECT_TRUE(outer.has("recordings/old.mp4"));
  EXPECT_EQ(::umount((outer / "Recordings").c_str()), 0);
}

TEST(ClearPath, RemovesALinkToAnotherFolder) {
  const TemporaryFolder outer;
  outer.makeFolder("folder");
  outer.makeFolder("elsewhere");
  fs::create_directory_symlink(outer / "elsewhere", outer / "folder/1.mp4");
  clearPath(outer / "folder/1.mp4", outer / "folder");
  EXPECT_FALSE(outer.has("folder/1.mp4"));
  EXPECT_TRUE(outer.has("elsewhere"));
}

TEST(ClearPath, RemovesBesideTheFolderWhenTheNameLeadsThere) {
  const TemporaryFolder folder;
  folder.makeFolder("a");
  folder.makeFile("x.mp4");
  folder.makeFolder("ab");
  clearPath(folder / "a/../x.mp4", folder / "a");
  clearPath(folder / "a/../ab", folder / "a");
  EXPECT_FALSE(folder.has("x.mp4"));
  EXPECT_FALSE(folder.has("ab"));
}

}  // namespace
}  // namespace vx::storage
