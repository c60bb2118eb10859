// The quota in folders that resist: entries that cannot be removed, and others that write there.
#include "storage/folder_quota.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <thread>

namespace vx::storage {
namespace {

constexpr std::uint64_t kMB = 1000000;

/// Makes a file unchangeable, even for root, while it lives. Not every file system offers that.
class ImmutableFile {
 public:
  explicit ImmutableFile(const std::string& path)
      : _descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC)), _works(set(FS_IMMUTABLE_FL)) {}
  ~ImmutableFile() {
    set(0);
    ::close(_descriptor);
  }
  bool works() const { return _works; }

 private:
  bool set(int flag) const {
    int flags = 0;
    if (::ioctl(_descriptor, FS_IOC_GETFLAGS, &flags) != 0) return false;
    flags = (flags & ~FS_IMMUTABLE_FL) | flag;
    return ::ioctl(_descriptor, FS_IOC_SETFLAGS, &flags) == 0;
  }

  int _descriptor;
  bool _works;
};

TEST(FolderQuotaUnderResistance, GoesOnAfterAFileThatCannotBeRemoved) {
  const TemporaryFolder folder;
  folder.makeFile("now.mp4", 5 * kMB, 9);
  for (int i = 0; i < 3; ++i) folder.makeFile("rec" + std::to_string(i) + ".mp4", 10, i);
  const ImmutableFile immutable(folder / "rec1.mp4");
  if (!immutable.works()) {
    GTEST_SKIP() << "files cannot be made immutable here (needs root and a capable file system)";
  }
  applyFolderQuota(folder.path(), "rec", 1, "now.mp4");
  EXPECT_FALSE(folder.has("rec2.mp4"));
  EXPECT_TRUE(folder.has("rec1.mp4"));
  EXPECT_FALSE(folder.has("rec0.mp4"));
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

TEST(FolderQuotaUnderResistance, CountsWhatCannotBeRemoved) {
  const TemporaryFolder folder;
  folder.makeFile("now.mp4", 100000, 9);
  folder.makeFile("rec2.mp4", 800000, 2);
  folder.makeFile("rec1.mp4", 200000, 1);
  const ImmutableFile immutable(folder / "rec2.mp4");
  applyFolderQuota(folder.path(), "rec", 1, "now.mp4");
  EXPECT_TRUE(folder.has("rec2.mp4"));
  EXPECT_FALSE(folder.has("rec1.mp4"));
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
  std::thread swapper([&] {
    for (int swap = 0; swap < 1000000 && !end; ++swap) {
      if (swap % 2 == 0) std::ofstream(folder / "rec/1.mp4").close();
      ::renameat2(AT_FDCWD, (folder / "rec").c_str(), AT_FDCWD, (folder / "aside").c_str(),
                  RENAME_EXCHANGE);
    }
  });
  for (int round = 0; round < 2000; ++round) applyFolderQuota(folder.path(), "rec", 1, "now.mp4");
  end = true;
  swapper.join();
  EXPECT_TRUE(elsewhere.has("1.mp4"));
}

}  // namespace
}  // namespace vx::storage
