// The quota in folders that resist: entries that cannot be removed, and others that write there.
#include "storage/folder_quota.h"

#include "support/descriptor_limit.h"
#include "support/immutable_item.h"
#include "support/temporary_folder.h"
#include "support/unprivileged.h"

#include <gtest/gtest.h>

#include <sys/mount.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <thread>

namespace vx::storage {
namespace {

constexpr std::uint64_t kMB = 1000000;

TEST(FolderQuotaUnderResistance, GoesOnAfterAFileThatCannotBeRemoved) {
  const TemporaryFolder folder;
  folder.makeFile("now.mp4", 5 * kMB, 9);
  for (int i = 0; i < 3; ++i) folder.makeFile("rec" + std::to_string(i) + ".mp4", 10, i);
  const ImmutableItem immutable(folder / "rec1.mp4");
  if (!immutable.works()) {
    GTEST_SKIP() << "files cannot be made immutable here (needs root and a capable file system)";
  }
  applyFolderQuota(folder.path(), "rec", 1, "now.mp4");
  EXPECT_FALSE(folder.has("rec2.mp4"));
  EXPECT_TRUE(folder.has("rec1.mp4"));
  EXPECT_FALSE(folder.has("rec0.mp4"));
}

TEST(FolderQuotaUnderResistance, DeletesNothingWhenTheListMayLackEntries) {
  const TemporaryFolder folder;
  folder.makeFile("now.mp4", 5 * kMB, 9);
  folder.makeFile("rec1.mp4", 10, 1);
  folder.makeFolder("a/b/c/d/e/f/g/h/i/j");
  {
    const test::ScopedDescriptorLimit limit(test::lowestFreeDescriptor() + 7);
    applyFolderQuota(folder.path(), "rec", 1, "now.mp4");
  }
  EXPECT_TRUE(folder.has("rec1.mp4"));
  applyFolderQuota(folder.path(), "rec", 1, "now.mp4");
  EXPECT_FALSE(folder.has("rec1.mp4"));
}

TEST(FolderQuotaUnderResistance, GoesOnAfterAMountThatIsBusy) {
  const TemporaryFolder folder;
  folder.makeFile("now.mp4", 5 * kMB, 9);
  folder.makeFolder("rec2.mp4");
  folder.makeFile("rec1.mp4", 10, 1);
  if (::mount("none", (folder / "rec2.mp4").c_str(), "tmpfs", 0, "size=64k") != 0) {
    GTEST_SKIP() << "nothing can be mounted here (needs root)";
  }
  applyFolderQuota(folder.path(), "rec", 1, "now.mp4");
  EXPECT_TRUE(folder.has("rec2.mp4"));
  EXPECT_FALSE(folder.has("rec1.mp4"));
  EXPECT_EQ(::umount((folder / "rec2.mp4").c_str()), 0);
}

TEST(FolderQuotaUnderResistance, LeavesWhatIsMountedInAFolderNamedLikeARecording) {
  const TemporaryFolder folder;
  folder.makeFile("now.mp4", 5 * kMB, 9);
  folder.makeFolder("rec2.mp4");
  folder.makeFolder("rec1.mp4/mount");
  for (const char* mount : {"rec2.mp4", "rec1.mp4/mount"}) {
    if (::mount("none", (folder / mount).c_str(), "tmpfs", 0, "size=64k") != 0) {
      GTEST_SKIP() << "nothing can be mounted here (needs root)";
    }
  }
  folder.makeFile("rec2.mp4/film");
  folder.makeFile("rec1.mp4/mount/film");
  applyFolderQuota(folder.path(), "rec", 1, "now.mp4");
  EXPECT_TRUE(folder.has("rec2.mp4/film"));
  EXPECT_TRUE(folder.has("rec1.mp4/mount/film"));
  EXPECT_EQ(::umount((folder / "rec2.mp4").c_str()), 0);
  EXPECT_EQ(::umount((folder / "rec1.mp4/mount").c_str()), 0);
}

TEST(FolderQuotaUnderResistance, CountsWhatCannotBeRemoved) {
  const TemporaryFolder folder;
  folder.makeFile("now.mp4", 100000, 9);
  folder.makeFile("rec3.mp4", 500000, 3);
  folder.makeFile("rec2.mp4", 800000, 2);  // over the limit together with rec3
  folder.makeFile("rec1.mp4", 200000, 1);  // would fit beside rec3 alone
  const ImmutableItem immutable(folder / "rec2.mp4");
  if (!immutable.works()) {
    GTEST_SKIP() << "files cannot be made immutable here (needs root and a capable file system)";
  }
  applyFolderQuota(folder.path(), "rec", 1, "now.mp4");
  EXPECT_TRUE(folder.has("rec3.mp4"));
  EXPECT_TRUE(folder.has("rec2.mp4"));
  EXPECT_FALSE(folder.has("rec1.mp4"));
}

// A folder that may be listed but not entered shows names and hides sizes.
TEST(FolderQuotaUnderResistance, CountsASizeThatCannotBeReadAsNothing) {
  const TemporaryFolder folder;
  folder.makeFile("now.mp4", 500000, 9);
  folder.makeFolder("rec_hidden");
  folder.makeFile("rec_hidden/1.mp4", 5 * kMB, 8);
  folder.makeFile("rec1.mp4", 400000, 1);
  folder.makeFile("rec0.mp4", 200000, 0);
  std::filesystem::permissions(folder / "rec_hidden", std::filesystem::perms(0444));
  {
    const Unprivileged user(folder);
    applyFolderQuota(folder.path(), "rec", 1, "now.mp4");
  }
  std::filesystem::permissions(folder / "rec_hidden", std::filesystem::perms(0755));
  EXPECT_TRUE(folder.has("rec1.mp4"));
  EXPECT_FALSE(folder.has("rec0.mp4"));
  EXPECT_TRUE(folder.has("rec_hidden/1.mp4"));
}

TEST(FolderQuotaUnderResistance, PassesOverEntriesThatVanishWhileItRuns) {
  const TemporaryFolder folder;
  folder.makeFile("now.mp4", 500000, 9);
  folder.makeFile("rec1.mp4", 400000, 1);
  std::atomic<bool> end = false;
  std::thread vanishing([&] {
    for (int round = 0; round < 100000 && !end; ++round) {
      std::ofstream(folder / "recV.mp4").close();
      ::unlink((folder / "recV.mp4").c_str());
    }
  });
  for (int round = 0; round < 300; ++round) applyFolderQuota(folder.path(), "rec", 1, "now.mp4");
  end = true;
  vanishing.join();
  EXPECT_TRUE(folder.has("rec1.mp4"));
}

/// Makes, touches and removes recordings and folders in a thread of its own until it is told to
/// end; at most a fixed number of rounds.
class Turmoil {
 public:
  explicit Turmoil(const TemporaryFolder& folder) : _folder(folder), _thread([this] { run(); }) {}
  ~Turmoil() {
    _end = true;
    _thread.join();
  }

 private:
  static constexpr int kMaximumRounds = 20000;

  void run() {
    for (int round = 0; round < kMaximumRounds && !_end; ++round) {
      const std::string number = std::to_string(round % 97);
      std::error_code ignored;
      std::ofstream(_folder / ("recX" + number + ".mp4")) << round;
      std::filesystem::create_directories(_folder / ("recD" + number + ".mp4/sub"), ignored);
      std::ofstream(_folder / ("recD" + number + ".mp4/sub/file")) << round;
      const timespec times[2] = {{round, 0}, {1700000000 + (round * 7919) % 1000, 0}};
      ::utimensat(AT_FDCWD, (_folder / ("rec" + number + ".mp4")).c_str(), times, 0);
      std::filesystem::remove(_folder / ("recX" + std::to_string((round + 50) % 97) + ".mp4"),
                              ignored);
    }
  }

  const TemporaryFolder& _folder;
  std::atomic<bool> _end = false;
  std::thread _thread;
};

TEST(FolderQuotaUnderResistance, StaysSafeWhileFilesComeAndGoAndChangeTheirTimes) {
  const TemporaryFolder folder;
  folder.makeFile("now.mp4", 2 * kMB);
  folder.makeFile("other.mp4", 10);
  for (int i = 0; i < 97; ++i) folder.makeFile("rec" + std::to_string(i) + ".mp4", 20000, i);
  {
    const Turmoil turmoil(folder);
    for (int round = 0; round < 10; ++round) applyFolderQuota(folder.path(), "rec", 3, "now.mp4");
  }
  applyFolderQuota(folder.path(), "rec", 1, "now.mp4");
  EXPECT_TRUE(folder.has("now.mp4"));
  EXPECT_TRUE(folder.has("other.mp4"));
  std::size_t left = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    left += entry.exists() ? 1 : 0;
  }
  EXPECT_EQ(left, 2U);
}

// A sub-folder that turns into a link between listing and deleting must not lead outside.
TEST(FolderQuotaUnderResistance, NeverReachesOutsideWhileAFolderTurnsIntoALink) {
  const TemporaryFolder folder;
  const TemporaryFolder elsewhere;
  elsewhere.makeFile("1.mp4", 10);
  folder.makeFile("now.mp4", 2 * kMB);
  folder.makeFolder("rec");
  std::filesystem::create_directory_symlink(elsewhere.path(), folder / "aside");
  std::atomic<bool> end = false;
  int swaps = 0;
  std::thread swapper([&] {
    for (int round = 0; round < 1000000 && !end; ++round) {
      if (round % 2 == 0) std::ofstream(folder / "rec/1.mp4").close();
      swaps += ::renameat2(AT_FDCWD, (folder / "rec").c_str(), AT_FDCWD, (folder / "aside").c_str(),
                           RENAME_EXCHANGE) == 0;
    }
  });
  for (int round = 0; round < 2000; ++round) applyFolderQuota(folder.path(), "rec", 1, "now.mp4");
  end = true;
  swapper.join();
  EXPECT_TRUE(elsewhere.has("1.mp4"));
  if (swaps == 0) {
    GTEST_SKIP() << "this file system cannot exchange two names in one step";
  }
}

}  // namespace
}  // namespace vx::storage
