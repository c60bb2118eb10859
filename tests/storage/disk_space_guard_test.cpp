#include "storage/disk_space_guard.h"

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "storage/small_volume.h"
#include "support/recorder_peer.h"
#include "support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/statvfs.h>

#include <filesystem>
#include <limits>

namespace {

constexpr std::uint64_t kFloor = 100000000;
constexpr const char* kNoMount = "no volume can be mounted here (needs root and /dev/fuse)";
using testing::ElementsAre;
using testing::IsEmpty;

RememberingDelegate::Line failedQuery() {
  return {
      "[VXVideoRecorder] Error Obtaining System disk Info: Domain = NSCocoaErrorDomain, Code = 260",
      1};
}

class DiskSpaceGuard : public testing::Test {
 protected:
  bool keepsRecording(std::optional<std::string> path) {
    recorder->setStoragePath(std::move(path));
    return peer.checkDiskKeepRecStatus();
  }

  std::shared_ptr<RememberingDelegate> delegate = std::make_shared<RememberingDelegate>();
  std::shared_ptr<VXVideoRecorder> recorder = VXVideoRecorder::initWithDelegate(delegate);
  VXVideoRecorderPeer peer{*recorder};
};

TEST_F(DiskSpaceGuard, FindsExactlyTheFloorTooLittle) {
  const SmallVolume volume({.blockSize = 1, .freeBlocks = kFloor, .freeBlocksForUsers = kFloor});
  if (!volume.mounted()) GTEST_SKIP() << kNoMount;
  EXPECT_EQ(peer.diskFreeSpace(volume.path()), kFloor);
  EXPECT_FALSE(keepsRecording(volume.path()));
  EXPECT_THAT(delegate->lines(), IsEmpty());
}

TEST_F(DiskSpaceGuard, FindsOneByteMoreThanTheFloorEnough) {
  const SmallVolume volume(
      {.blockSize = 1, .freeBlocks = kFloor, .freeBlocksForUsers = kFloor + 1});
  if (!volume.mounted()) GTEST_SKIP() << kNoMount;
  EXPECT_TRUE(keepsRecording(volume.path()));
}

TEST_F(DiskSpaceGuard, CountsOnlyWhatThisUserMayFill) {
  const SmallVolume volume({.blockSize = 1, .freeBlocks = 2 * kFloor, .freeBlocksForUsers = 1});
  if (!volume.mounted()) GTEST_SKIP() << kNoMount;
  EXPECT_EQ(peer.diskFreeSpace(volume.path()), 1U);
  EXPECT_FALSE(keepsRecording(volume.path()));
}

TEST_F(DiskSpaceGuard, CountsLargeVolumesIn64Bits) {
  const SmallVolume volume(
      {.blockSize = 4096, .freeBlocks = 1ULL << 40, .freeBlocksForUsers = 1ULL << 40});
  if (!volume.mounted()) GTEST_SKIP() << kNoMount;
  EXPECT_EQ(peer.diskFreeSpace(volume.path()), 1ULL << 52);
}

TEST_F(DiskSpaceGuard, TakesASpaceBeyond64BitsAsTheLargestNumber) {
  const SmallVolume volume(
      {.blockSize = 4096, .freeBlocks = 1ULL << 60, .freeBlocksForUsers = 1ULL << 60});
  if (!volume.mounted()) GTEST_SKIP() << kNoMount;
  EXPECT_EQ(peer.diskFreeSpace(volume.path()), std::numeric_limits<std::uint64_t>::max());
}

TEST_F(DiskSpaceGuard, FollowsAVolumeThatFillsUp) {
  const TemporaryFolder folder;
  if (::mount("none", folder.path().c_str(), "tmpfs", 0, "size=104857600") != 0) {
    GTEST_SKIP() << "nothing can be mounted here (needs root)";
  }
  EXPECT_TRUE(keepsRecording(folder.path()));
  std::ofstream(folder / "film") << std::string(8000000, 'x');
  EXPECT_FALSE(keepsRecording(folder.path()));
  std::filesystem::remove(folder / "film");
  EXPECT_TRUE(keepsRecording(folder.path()));
  EXPECT_EQ(::umount(folder.path().c_str()), 0);
}

TEST_F(DiskSpaceGuard, AsksTheVolumeOfAFileToo) {
  const TemporaryFolder folder;
  folder.makeFile("file");
  EXPECT_GT(peer.diskFreeSpace(folder / "file"), 0U);
}

TEST_F(DiskSpaceGuard, LogsEveryFailedQueryOfAnAbsentFolder) {
  EXPECT_FALSE(keepsRecording(std::nullopt));
  EXPECT_FALSE(keepsRecording(std::nullopt));
  EXPECT_THAT(delegate->lines(), ElementsAre(failedQuery(), failedQuery()));
}

TEST_F(DiskSpaceGuard, LogsAFailedQueryOfAFolderThatIsNotThere) {
  const TemporaryFolder folder;
  EXPECT_FALSE(keepsRecording(folder / "none"));
  EXPECT_FALSE(keepsRecording(""));
  EXPECT_EQ(peer.diskFreeSpace(folder / "none"), 0U);
  EXPECT_THAT(delegate->lines(), ElementsAre(failedQuery(), failedQuery(), failedQuery()));
}

TEST_F(DiskSpaceGuard, FailsEvenWithAFloorOfZeroWhenTheQueryFails) {
  peer.limitFreeSpace() = 0;
  EXPECT_FALSE(keepsRecording(std::nullopt));
}

TEST_F(DiskSpaceGuard, HasAFloorOfAHundredMillionBytes) {
  EXPECT_EQ(peer.limitFreeSpace(), kFloor);
}

TEST(DiskSpaceRule, WantsStrictlyMoreThanTheFloor) {
  using vx::storage::isEnoughSpace;
  EXPECT_FALSE(isEnoughSpace(kFloor, kFloor));
  EXPECT_TRUE(isEnoughSpace(kFloor + 1, kFloor));
  EXPECT_FALSE(isEnoughSpace(0, 0));
  EXPECT_TRUE(isEnoughSpace(std::numeric_limits<std::uint64_t>::max(), 1));
}

TEST(DiskSpaceRule, NamesDomainAndSignedCodeInItsLine) {
  EXPECT_EQ(vx::storage::diskInformationErrorLine("C", "D", -7),
            "[C] Error Obtaining System disk Info: Domain = D, Code = -7");
}

}  // namespace
