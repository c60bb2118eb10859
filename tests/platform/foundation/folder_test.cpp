#include "platform/foundation/folder.h"

#include "VXVideoRecorder/platform/foundation/NSError.h"
#include "platform/foundation/file_descriptor.h"
#include "platform/foundation/folder_chain.h"
#include "support/descriptor_limit.h"
#include "support/temporary_folder.h"
#include "support/unprivileged.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <limits>

namespace vx {
namespace {

namespace fs = std::filesystem;
using test::lowestFreeDescriptor;
using test::ScopedDescriptorLimit;

TEST(Folder, StaysTheSameFolderWhenItIsMoved) {
  const TemporaryFolder folder;
  folder.makeFolder("a");
  folder.makeFile("a/file", 3);
  const std::optional<Folder> open = Folder::open(folder / "a");
  ASSERT_TRUE(open);
  fs::rename(folder / "a", folder / "b");
  EXPECT_EQ(*open->subpaths(), std::vector<std::string>{"file"});
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

constexpr int kNameBytes = 200;

/// Nests so many folders that their whole path is longer than the system takes at once, with a
/// file of 7 bytes in the last.
void makeDeepFolders(const TemporaryFolder& folder, int levels) {
  const std::string name(kNameBytes, 'd');
  FileDescriptor level(::open(folder.path().c_str(), O_PATH | O_CLOEXEC));
  for (int i = 0; i < levels; ++i) {
    ASSERT_EQ(::mkdirat(level.get(), name.c_str(), 0700), 0);
    level = FileDescriptor(::openat(level.get(), name.c_str(), O_PATH | O_CLOEXEC));
  }
  const FileDescriptor file(::openat(level.get(), "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(::write(file.get(), "content", 7), 7);
}

TEST(Folder, ListsMeasuresAndRemovesBeyondTheLongestPath) {
  const TemporaryFolder folder;
  makeDeepFolders(folder, 40);
  const std::optional<Folder> open = Folder::open(folder.path());
  const std::vector<std::string> subpaths = *open->subpaths();
  ASSERT_EQ(subpaths.size(), 41U);
  EXPECT_EQ(subpaths.back().size(), 40U * (kNameBytes + 1) + 4);
  ASSERT_TRUE(open->statusOfItem(subpaths.back()));
  EXPECT_EQ(open->statusOfItem(subpaths.back())->sizeBytes, 7U);
  EXPECT_EQ(open->statusOfItem(subpaths[30])->kind, ItemKind::folder);
  EXPECT_TRUE(open->removeItem(subpaths.back()).ok());
  EXPECT_EQ(open->subpaths()->size(), 40U);
  EXPECT_TRUE(open->removeItem(subpaths.front()).ok());
  EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(Folder, ListsAndRemovesDeepFoldersWithFewDescriptors) {
  const TemporaryFolder folder;
  makeDeepFolders(folder, 500);
  const ScopedDescriptorLimit limit(FolderChain::kMaximumOpen + 32);
  const std::optional<Folder> open = Folder::open(folder.path());
  ASSERT_EQ(open->subpaths()->size(), 501U);
  EXPECT_TRUE(open->removeItem(std::string(kNameBytes, 'd')).ok());
  EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(Folder, ListsNothingRatherThanAPartForWantOfDescriptors) {
  const TemporaryFolder folder;
  makeDeepFolders(folder, 20);
  const std::optional<Folder> open = Folder::open(folder.path());
  for (rlim_t left = 0; left < 20; ++left) {
    const ScopedDescriptorLimit limit(lowestFreeDescriptor() + left);
    EXPECT_FALSE(open->subpaths()) << left << " descriptors left";
  }
  EXPECT_EQ(open->subpaths()->size(), 21U);
}

TEST(Folder, ListsSiblingsOfDeepFoldersUnderTheirOwnPaths) {
  const TemporaryFolder folder;
  // Whichever comes first, something is listed behind it.
  for (const char* each : {"a/b/c", "a/d/e", "f/g/h"}) folder.makeFolder(each);
  std::vector<std::string> subpaths = *Folder::open(folder.path())->subpaths();
  std::sort(subpaths.begin(), subpaths.end());
  EXPECT_EQ(subpaths,
            (std::vector<std::string>{"a", "a/b", "a/b/c", "a/d", "a/d/e", "f", "f/g", "f/g/h"}));
}

TEST(Folder, DoesNotMeasureBehindALinkInThePath) {
  const TemporaryFolder folder;
  folder.makeFolder("a/sub");
  folder.makeFolder("elsewhere");
  folder.makeFile("elsewhere/file", 5);
  fs::create_directory_symlink(folder / "elsewhere", folder / "a/link");
  fs::create_symlink("nowhere", folder / "a/sub/link");
  const std::optional<Folder> open = Folder::open(folder / "a");
  EXPECT_FALSE(open->statusOfItem("link/file"));
  folder.makeFile("a/sub/file", 5);
  fs::create_directory_symlink("sub", folder / "a/near");
  EXPECT_FALSE(open->statusOfItem("near/file")) << "not even within the folder";
  ASSERT_TRUE(open->statusOfItem("sub/link"));
  EXPECT_EQ(open->statusOfItem("sub/link")->kind, ItemKind::symbolicLink);
}

TEST(Folder, LeavesWhatIsMountedInAFolderThatItRemoves) {
  const TemporaryFolder folder;
  folder.makeFolder("a/mount");
  if (::mount("none", (folder / "a/mount").c_str(), "tmpfs", 0, "size=64k") != 0) {
    GTEST_SKIP() << "nothing can be mounted here (needs root)";
  }
  folder.makeFile("a/mount/file");
  const std::optional<Folder> open = Folder::open(folder.path());
  EXPECT_FALSE(open->removeItem("a/mount").ok());
  EXPECT_FALSE(open->removeItem("a").ok());
  EXPECT_TRUE(folder.has("a/mount/file"));
  EXPECT_EQ(::umount((folder / "a/mount").c_str()), 0);
}

TEST(Folder, LeavesAFolderOfTheSameVolumeThatIsMountedInOneThatItRemoves) {
  const TemporaryFolder folder;
  folder.makeFolder("a/mount");
  folder.makeFolder("elsewhere");
  folder.makeFile("elsewhere/file");
  if (::mount((folder / "elsewhere").c_str(), (folder / "a/mount").c_str(), nullptr, MS_BIND,
              nullptr) != 0) {
    GTEST_SKIP() << "nothing can be mounted here (needs root)";
  }
  EXPECT_FALSE(Folder::open(folder.path())->removeItem("a").ok());
  EXPECT_TRUE(folder.has("elsewhere/file"));
  EXPECT_EQ(::umount((folder / "a/mount").c_str()), 0);
}

TEST(Folder, RemovesAnEmptyFolderThatMayNotBeRead) {
  const TemporaryFolder folder;
  folder.makeFolder("a");
  fs::permissions(folder / "a", fs::perms::none);
  const Unprivileged user(folder);
  EXPECT_TRUE(Folder::open(folder.path())->removeItem("a").ok());
  EXPECT_FALSE(folder.has("a"));
}

TEST(Folder, LeavesAFolderThatMayNotBeReadAndHoldsSomething) {
  const TemporaryFolder folder;
  folder.makeFolder("a");
  folder.makeFile("a/file");
  fs::permissions(folder / "a", fs::perms::none);
  Status status;
  {
    const Unprivileged user(folder);
    status = Folder::open(folder.path())->removeItem("a");
  }
  fs::permissions(folder / "a", fs::perms::all);
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(status.error().code(), NSFileWriteNoPermissionError);
  EXPECT_TRUE(folder.has("a/file"));
}

TEST(Folder, IsLeftAsItIsWhenNoDescriptorIsToBeHad) {
  const TemporaryFolder folder;
  folder.makeFolder("a/b");
  const std::optional<Folder> open = Folder::open(folder.path());
  const FileDescriptor parent(::open(folder.path().c_str(), O_PATH | O_CLOEXEC));
  {
    const ScopedDescriptorLimit none(0);
    EXPECT_FALSE(open->subpaths());
    EXPECT_FALSE(open->removeItem("a").ok());
    EXPECT_EQ(removeEntry(parent.get(), "a"), EMFILE);
  }
  EXPECT_EQ(open->subpaths()->size(), 2U);
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

TEST(IdentitiesUpwards, AreTheFoldersAroundWhateverTheSpelling) {
  const TemporaryFolder folder;
  folder.makeFolder("a/b");
  folder.makeFile("file");
  fs::create_directory_symlink(folder / "a/b", folder / "link");
  const std::vector<ItemIdentity> identities = identitiesUpwards(folder / "a/b");
  ASSERT_GE(identities.size(), 4U);
  ItemStatus status;
  ASSERT_TRUE(readItemStatus(folder / "a", status).ok());
  EXPECT_EQ(identities[1], status.identity);
  ASSERT_TRUE(readItemStatus("/", status).ok());
  EXPECT_EQ(identities.back(), status.identity);
  EXPECT_EQ(std::count(identities.begin(), identities.end(), status.identity), 1);
  EXPECT_EQ(identitiesUpwards(folder / "link"), identities);
  EXPECT_EQ(identitiesUpwards(folder / "link/../b/"), identities);
  EXPECT_EQ(identitiesUpwards(folder / "file"), std::vector<ItemIdentity>{});
  EXPECT_EQ(identitiesUpwards(folder / "none"), std::vector<ItemIdentity>{});
  EXPECT_EQ(identitiesUpwards(""), std::vector<ItemIdentity>{});
}

TEST(FolderChain, DoesNotStepThroughALink) {
  const TemporaryFolder folder;
  folder.makeFolder("real");
  fs::create_directory_symlink("real", folder / "link");
  FolderChain chain(FileDescriptor(::open(folder.path().c_str(), O_PATH | O_CLOEXEC)));
  EXPECT_NE(chain.descend("link"), 0);
  EXPECT_EQ(chain.descend("real"), 0);
}

/// A way down that is two folders longer than what stays open.
FolderChain longChain(const TemporaryFolder& folder) {
  std::string path = "top";
  for (std::size_t i = 0; i < FolderChain::kMaximumOpen + 2; ++i) path += "/d";
  folder.makeFolder(path);
  FolderChain chain(FileDescriptor(::open((folder / "top").c_str(), O_PATH | O_CLOEXEC)));
  while (chain.depth() < FolderChain::kMaximumOpen + 2 && chain.descend("d") == 0) {
  }
  return chain;
}

/// Climbs until that fails or the top is reached.
int climb(FolderChain& chain) {
  int failure = 0;
  while (failure == 0 && chain.depth() > 0) failure = chain.ascend();
  return failure;
}

TEST(FolderChain, DoesNotClimbOutOfAFolderThatWasMoved) {
  const TemporaryFolder folder;
  folder.makeFolder("other");
  FolderChain chain = longChain(folder);
  fs::rename(folder / "top/d/d", folder / "other/d");
  EXPECT_EQ(climb(chain), ESTALE);
  EXPECT_EQ(chain.depth(), 2U);
}

TEST(FolderChain, StaysWhereTheWayUpCannotBeOpened) {
  const TemporaryFolder folder;
  FolderChain chain = longChain(folder);
  {
    const ScopedDescriptorLimit none(0);
    EXPECT_EQ(climb(chain), EMFILE);
  }
  EXPECT_EQ(chain.depth(), 3U);
  EXPECT_EQ(climb(chain), 0);
}

TEST(FolderChain, EndsAtItsTop) {
  const TemporaryFolder folder;
  FolderChain chain(FileDescriptor(::open(folder.path().c_str(), O_PATH | O_CLOEXEC)));
  EXPECT_TRUE(chain.staysOnVolume());
  EXPECT_EQ(chain.ascend(), EINVAL);
  EXPECT_TRUE(chain.valid());
}

}  // namespace
}  // namespace vx
