#include "VXVideoRecorder/platform/foundation/NSFileManager.h"
#include "support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <filesystem>

namespace vx {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsSubsetOf;
using testing::UnorderedElementsAre;

class FileManager : public testing::Test {
 protected:
  NSFileManager& files = NSFileManager::defaultManager();
  TemporaryFolder folder;
  std::optional<NSError> error;
};

TEST_F(FileManager, CreatesAllMissingParents) {
  EXPECT_TRUE(files.createDirectoryAtPath(folder / "a/b/c", true, &error));
  EXPECT_TRUE(fs::is_directory(folder / "a/b/c"));
  EXPECT_FALSE(error);
}

TEST_F(FileManager, CreatesAFolderWithClosingAndDoubledSeparators) {
  EXPECT_TRUE(files.createDirectoryAtPath(folder / "a//b//", true));
  EXPECT_TRUE(fs::is_directory(folder / "a/b"));
}

TEST_F(FileManager, CreatingAFolderThatExistsSucceedsWithParentsOnly) {
  EXPECT_TRUE(files.createDirectoryAtPath(folder.path(), true));
  EXPECT_FALSE(files.createDirectoryAtPath(folder.path(), false, &error));
  EXPECT_EQ(error->code(), NSFileWriteFileExistsError);
  EXPECT_EQ(error->domain(), NSCocoaErrorDomain);
}

TEST_F(FileManager, CreatingWithoutParentsFailsWhereOneIsMissing) {
  EXPECT_FALSE(files.createDirectoryAtPath(folder / "a/b", false, &error));
  EXPECT_EQ(error->code(), NSFileNoSuchFileError);
  EXPECT_FALSE(folder.has("a"));
}

TEST_F(FileManager, CreatingOverAFileIs516) {
  folder.makeFile("a");
  EXPECT_FALSE(files.createDirectoryAtPath(folder / "a", true, &error));
  EXPECT_EQ(error->code(), 516);
}

TEST_F(FileManager, CreatingBelowAFileIsNot516) {
  folder.makeFile("a");
  EXPECT_FALSE(files.createDirectoryAtPath(folder / "a/b", true, &error));
  EXPECT_NE(error->code(), 516);
}

TEST_F(FileManager, CreatingThroughALinkToAFolderSucceeds) {
  folder.makeFolder("real");
  fs::create_symlink(folder / "real", folder / "link");
  EXPECT_TRUE(files.createDirectoryAtPath(folder / "link", true));
  EXPECT_TRUE(files.createDirectoryAtPath(folder / "link/sub", true));
  EXPECT_TRUE(fs::is_directory(folder / "real/sub"));
}

TEST_F(FileManager, CreatingOverADeadLinkIs516) {
  fs::create_symlink(folder / "nowhere", folder / "link");
  EXPECT_FALSE(files.createDirectoryAtPath(folder / "link", true, &error));
  EXPECT_EQ(error->code(), 516);
}

TEST_F(FileManager, RefusesEmptyPathsAndZeroBytes) {
  const std::string cut = folder.path() + std::string("\0/x", 3);
  EXPECT_FALSE(files.createDirectoryAtPath("", true, &error));
  EXPECT_EQ(error->code(), NSFileNoSuchFileError);
  EXPECT_FALSE(files.createDirectoryAtPath(folder / std::string("a\0b", 3), true));
  EXPECT_FALSE(files.removeItemAtPath(cut));
  EXPECT_FALSE(files.removeItemAtPath(""));
  EXPECT_FALSE(files.fileExistsAtPath(cut));
  EXPECT_FALSE(files.attributesOfItemAtPath(cut));
  EXPECT_FALSE(files.attributesOfFileSystemForPath(cut));
  EXPECT_FALSE(files.subpathsAtPath(cut));
  EXPECT_FALSE(folder.has("a"));
  EXPECT_TRUE(fs::exists(folder.path()));
}

TEST_F(FileManager, RemovesAFolderWithItsContents) {
  files.createDirectoryAtPath(folder / "a/b/c", true);
  folder.makeFile("a/b/c/file", 10);
  EXPECT_TRUE(files.removeItemAtPath(folder / "a/", &error));
  EXPECT_FALSE(folder.has("a"));
}

TEST_F(FileManager, RemovesALinkAndNotWhatItNames) {
  folder.makeFolder("real");
  folder.makeFile("real/file");
  fs::create_directory_symlink(folder / "real", folder / "link");
  folder.makeFolder("holder");
  fs::create_directory_symlink(folder / "real", folder / "holder/link");
  EXPECT_TRUE(files.removeItemAtPath(folder / "link"));
  EXPECT_TRUE(files.removeItemAtPath(folder / "holder"));
  EXPECT_TRUE(folder.has("real/file"));
  EXPECT_FALSE(folder.has("link"));
}

TEST_F(FileManager, RemovingNothingIsAnError) {
  EXPECT_FALSE(files.removeItemAtPath(folder / "none", &error));
  EXPECT_EQ(error->code(), NSFileNoSuchFileError);
}

TEST_F(FileManager, RefusesToRemoveDotAndDotDotBeforeItTouchesTheirContents) {
  folder.makeFolder("a");
  folder.makeFile("a/file");
  EXPECT_FALSE(files.removeItemAtPath(folder / "a/."));
  EXPECT_FALSE(files.removeItemAtPath(folder / "a/.."));
  EXPECT_TRUE(folder.has("a/file"));
}

TEST_F(FileManager, RemovesAFolderOfManyEntries) {
  folder.makeFolder("many");
  for (int i = 0; i < 3000; ++i) {
    folder.makeFile("many/" + std::to_string(i));
  }
  EXPECT_TRUE(files.removeItemAtPath(folder / "many"));
  EXPECT_FALSE(folder.has("many"));
}

TEST_F(FileManager, TellsAnItemsAttributes) {
  folder.makeFile("a", 5000000000, 7);
  const std::optional<NSDictionary> item = files.attributesOfItemAtPath(folder / "a", &error);
  ASSERT_TRUE(item);
  EXPECT_EQ(item->objectForKey(NSFileSize)->number()->integerValue(), 5000000000);
  EXPECT_EQ(item->objectForKey(NSFileModificationDate)->date()->time.time_since_epoch(),
            std::chrono::seconds(1700000007));
  EXPECT_EQ(*item->objectForKey(NSFileType)->string(), NSFileTypeRegular);
}

TEST_F(FileManager, TellsTheAttributesOfALinkItself) {
  folder.makeFile("a", 5000);
  fs::create_symlink("a", folder / "link");
  const std::optional<NSDictionary> item = files.attributesOfItemAtPath(folder / "link");
  EXPECT_EQ(item->objectForKey(NSFileSize)->number()->integerValue(), 1);
  EXPECT_EQ(*item->objectForKey(NSFileType)->string(), NSFileTypeSymbolicLink);
}

TEST_F(FileManager, TellsAFoldersType) {
  const std::optional<NSDictionary> item = files.attributesOfItemAtPath(folder.path());
  EXPECT_EQ(*item->objectForKey(NSFileType)->string(), NSFileTypeDirectory);
}

TEST_F(FileManager, TellsNoTypeOfWhatIsNeitherFileNorFolderNorLink) {
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(*files.attributesOfItemAtPath(folder / "pipe")->objectForKey(NSFileType)->string(),
            "NSFileTypeUnknown");
}

TEST_F(FileManager, FailsWithAUsefulTextWhereNoItemIs) {
  EXPECT_FALSE(files.attributesOfItemAtPath(folder / "none", &error));
  EXPECT_EQ(error->code(), NSFileReadNoSuchFileError);
  EXPECT_THAT(error->localizedDescription(), AllOf(HasSubstr(folder / "none"), HasSubstr("Check")));
}

TEST_F(FileManager, TellsAVolumesSpace) {
  const std::optional<NSDictionary> volume = files.attributesOfFileSystemForPath(folder.path());
  ASSERT_TRUE(volume);
  struct ::statvfs expected {};
  ASSERT_EQ(::statvfs(folder.path().c_str(), &expected), 0);
  EXPECT_EQ(volume->objectForKey(NSFileSystemSize)->number()->unsignedLongLongValue(),
            expected.f_blocks * expected.f_frsize);
  constexpr double kWrittenMeanwhile = 64 << 20;  // by others
  EXPECT_NEAR(volume->objectForKey(NSFileSystemFreeSize)->number()->doubleValue(),
              static_cast<double>(expected.f_bavail) * static_cast<double>(expected.f_frsize),
              kWrittenMeanwhile);
}

TEST_F(FileManager, FailsToAskAVolumeWhereNothingIs) {
  EXPECT_FALSE(files.attributesOfFileSystemForPath(folder / "none", &error));
  EXPECT_EQ(error->domain(), "NSCocoaErrorDomain");
  EXPECT_EQ(error->code(), 260);
}

TEST_F(FileManager, ListsEntriesAtAnyDepthAndNoLinksContents) {
  files.createDirectoryAtPath(folder / "a/b", true);
  folder.makeFile("a/b/file");
  folder.makeFile(".hidden");
  fs::create_directory_symlink(folder / "a", folder / "link");
  EXPECT_THAT(*files.subpathsAtPath(folder.path()),
              UnorderedElementsAre("a", "a/b", "a/b/file", ".hidden", "link"));
}

TEST_F(FileManager, ListsAFolderBeforeWhatItHolds) {
  files.createDirectoryAtPath(folder / "a/b/c/d", true);
  EXPECT_EQ(*files.subpathsAtPath(folder.path()),
            (std::vector<std::string>{"a", "a/b", "a/b/c", "a/b/c/d"}));
}

TEST_F(FileManager, ListsTheFolderThatALinkNames) {
  folder.makeFolder("a");
  folder.makeFile("a/file");
  fs::create_directory_symlink(folder / "a", folder / "link");
  EXPECT_THAT(*files.subpathsAtPath(folder / "link"), UnorderedElementsAre("file"));
}

TEST_F(FileManager, ListsNothingOfAFileOrOfNothing) {
  folder.makeFile("a");
  EXPECT_FALSE(files.subpathsAtPath(folder / "a"));
  EXPECT_FALSE(files.subpathsAtPath(folder / "none"));
  EXPECT_FALSE(files.subpathsAtPath(""));
}

TEST_F(FileManager, SeesWhatExists) {
  folder.makeFile("a");
  fs::create_symlink(folder / "none", folder / "dead");
  EXPECT_TRUE(files.fileExistsAtPath(folder / "a"));
  EXPECT_FALSE(files.fileExistsAtPath(folder / "dead"));
}

}  // namespace
}  // namespace vx
