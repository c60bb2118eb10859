#include "platform/foundation/folder.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

namespace vx {
namespace {

namespace fs = std::filesystem;

TEST(Folder, StaysTheSameFolderWhenItIsMoved) {
  const TemporaryFolder folder;
  folder.makeFolder("a");
  folder.makeFile("a/file", 3);
  const std::optional<Folder> open = Folder::open(folder / "a");
  ASSERT_TRUE(open);
  fs::rename(folder / "a", folder / "b");
  EXPECT_EQ(open->subpaths(), std::vector<std::string>{"file"});
  EXPECT_EQ(open->statusOfItem("file")->sizeBytes, 3U);
}

TEST(Folder, DoesNotRemoveBehindALinkInThePath) {
  const TemporaryFolder folder;
  folder.makeFolder("a");
  folder.makeFolder("elsewhere");
  folder.makeFile("elsewhere/file");
  fs::create_directory_symlink(folder / "elsewhere", folder / "a/link");
  EXPECT_FALSE(Folder::open(folder / "a")->removeItem("link/file").ok());
  EXPECT_TRUE(folder.has("elsewhere/file"));
}

TEST(Folder, DoesNotRemoveOutsideItself) {
  const TemporaryFolder folder;
  folder.makeFolder("a");
  folder.makeFile("file");
  const std::optional<Folder> open = Folder::open(folder / "a");
  for (const char* subpath : {"../file", "..", ".", "", "/", "x/../../file"}) {
    EXPECT_FALSE(open->removeItem(subpath).ok()) << subpath;
  }
  EXPECT_FALSE(open->removeItem(folder / "file").ok());
  EXPECT_TRUE(folder.has("file"));
  EXPECT_TRUE(folder.has("a"));
}

TEST(Folder, RemovesAnItemInASubfolder) {
  const TemporaryFolder folder;
  folder.makeFolder("a/b");
  folder.makeFile("a/b/file");
  EXPECT_TRUE(Folder::open(folder.path())->removeItem("a/b/file").ok());
  EXPECT_FALSE(folder.has("a/b/file"));
  EXPECT_TRUE(folder.has("a/b"));
}

// A chain of folders whose whole path the system could not take at once.
TEST(Folder, RemovesAndListsFoldersNestedBeyondTheLongestPath) {
  const TemporaryFolder folder;
  const std::string name(200, 'd');
  FileDescriptor level(::open(folder.path().c_str(), O_PATH | O_CLOEXEC));
  for (int i = 0; i < 40; ++i) {
    ASSERT_EQ(::mkdirat(level.get(), name.c_str(), 0700), 0);
    level = FileDescriptor(::openat(level.get(), name.c_str(), O_PATH | O_CLOEXEC));
  }
  const std::optional<Folder> open = Folder::open(folder.path());
  EXPECT_GE(open->subpaths().size(), 15U);
  EXPECT_TRUE(open->removeItem(name).ok());
  EXPECT_FALSE(folder.has(name));
}

TEST(Folder, RemovesAnEmptyFolderThatMayNotBeRead) {
  const TemporaryFolder folder;
  folder.makeFolder("a");
  fs::permissions(folder / "a", fs::perms::none);
  EXPECT_TRUE(Folder::open(folder.path())->removeItem("a").ok());
  EXPECT_FALSE(folder.has("a"));
}

TEST(Folder, HasNoStatusForWhatIsNotThere) {
  const TemporaryFolder folder;
  const std::optional<Folder> open = Folder::open(folder.path());
  EXPECT_FALSE(open->statusOfItem("none"));
  EXPECT_FALSE(open->statusOfItem(""));
}

TEST(ItemStatus, KeepsNanosecondsAndTheNearestEndOfTheRange) {
  struct ::stat status {};
  status.st_mtim = {5, 7};
  EXPECT_EQ(itemStatusFrom(status).modificationTime.time_since_epoch().count(), 5000000007);
  status.st_mtim = {-5, 7};
  EXPECT_EQ(itemStatusFrom(status).modificationTime.time_since_epoch().count(), -4999999993);
  status.st_mtim = {std::numeric_limits<std::int64_t>::max(), 0};
  EXPECT_EQ(itemStatusFrom(status).modificationTime, FileTime::max());
  status.st_mtim = {std::numeric_limits<std::int64_t>::min(), 0};
  EXPECT_EQ(itemStatusFrom(status).modificationTime, FileTime::min());
}

TEST(CanonicalPath, ResolvesAllButTheLastComponent) {
  const TemporaryFolder folder;
  const std::string real = fs::canonical(folder.path());
  folder.makeFolder("a/b");
  fs::create_directory_symlink(folder / "a/b", folder / "link");
  EXPECT_EQ(canonicalPathOfItem(folder / "link/../x"), real + "/a/x");
  EXPECT_EQ(canonicalPathOfItem(folder / "link"), real + "/link");
  EXPECT_EQ(canonicalPathOfItem(folder / "link/."), real + "/a/b");
  EXPECT_EQ(canonicalPathOfItem(folder / "link/.."), real + "/a");
  EXPECT_EQ(canonicalPathOfItem(folder / "a//"), real + "/a");
  EXPECT_EQ(canonicalPathOfItem("/x"), "/x");
  EXPECT_EQ(canonicalPathOfItem("//"), "/");
  EXPECT_EQ(canonicalPathOfItem("x"), fs::current_path().string() + "/x");
  EXPECT_EQ(canonicalPathOfItem(folder / "none/x"), std::nullopt);
  EXPECT_EQ(canonicalPathOfItem(""), std::nullopt);
}

TEST(CanonicalPath, LiesBelowWholeComponentsOnly) {
  EXPECT_TRUE(isSameOrBelow("/a/b", "/a"));
  EXPECT_TRUE(isSameOrBelow("/a", "/a"));
  EXPECT_TRUE(isSameOrBelow("/a", "/"));
  EXPECT_FALSE(isSameOrBelow("/ab", "/a"));
  EXPECT_FALSE(isSameOrBelow("/a", "/a/b"));
}

}  // namespace
}  // namespace vx
