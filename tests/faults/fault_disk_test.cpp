#include "faults/fault_disk.h"

#include "support/box_reader.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace vx::test {
namespace {

int create(const std::string& path) {
  return ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
}

ssize_t put(int file, std::string_view text, off_t offset) {
  return ::pwrite(file, text.data(), text.size(), offset);
}

std::vector<DiskCall> callsOf(const FaultDisk& disk) {
  std::vector<DiskCall> calls;
  for (const DiskRecord& record : disk.records()) calls.push_back(record.event.call);
  return calls;
}

class FaultDiskTest : public testing::Test {
 protected:
  TemporaryFolder folder;
  std::string path = folder / "file";
};

TEST_F(FaultDiskTest, LogsEveryCallOnAFileOfItsFolder) {
  FaultDisk disk(folder.path());
  const int file = create(path);
  EXPECT_EQ(put(file, "frames", 3), 6);
  EXPECT_EQ(::fallocate(file, FALLOC_FL_KEEP_SIZE, 0, 100), 0);
  EXPECT_EQ(::ftruncate(file, 5), 0);
  EXPECT_EQ(::fdatasync(file), 0);
  EXPECT_EQ(::close(file), 0);
  EXPECT_EQ(callsOf(disk), (std::vector{DiskCall::open, DiskCall::write, DiskCall::allocate,
                                        DiskCall::truncate, DiskCall::sync, DiskCall::close}));
  const DiskRecord write = disk.records()[1];
  EXPECT_EQ(write.event.offset, 3u);
  EXPECT_EQ(std::string(write.bytes.begin(), write.bytes.end()), "frames");
  EXPECT_EQ(readWholeFile(path).size(), 5u);
}

TEST_F(FaultDiskTest, LogsWritesAtTheFilesOwnPosition) {
  FaultDisk disk(folder.path());
  const int file = create(path);
  EXPECT_EQ(::write(file, "abc", 3), 3);
  EXPECT_EQ(::write(file, "de", 2), 2);
  ::close(file);
  EXPECT_EQ(disk.records()[2].event.offset, 3u);
}

TEST_F(FaultDiskTest, LogsThatTheFolderWasSynchronised) {
  FaultDisk disk(folder.path());
  const int file = ::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  EXPECT_EQ(::fsync(file), 0);
  ::close(file);
  EXPECT_EQ(callsOf(disk), std::vector{DiskCall::syncFolder});
}

TEST_F(FaultDiskTest, LeavesAllOtherFilesAlone) {
  TemporaryFolder other;
  FaultDisk disk(folder.path(), failCall(1, EIO, true));
  const int file = create(other / "file");
  EXPECT_EQ(put(file, "frames", 0), 6);
  EXPECT_EQ(::fdatasync(file), 0);
  EXPECT_EQ(::close(file), 0);
  EXPECT_EQ(disk.callCount(), 0u);
}

TEST_F(FaultDiskTest, FailsTheChosenCallOnce) {
  FaultDisk disk(folder.path(), failCall(2, ENOSPC, false));
  const int file = create(path);
  EXPECT_EQ(put(file, "frames", 0), -1);
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(put(file, "frames", 0), 6);
  ::close(file);
  EXPECT_EQ(disk.records()[1].error, ENOSPC);
}

TEST_F(FaultDiskTest, FailsTheChosenCallAndAllAfterIt) {
  FaultDisk disk(folder.path(), failCall(2, EIO, true));
  const int file = create(path);
  EXPECT_EQ(put(file, "frames", 0), -1);
  EXPECT_EQ(::fdatasync(file), -1);
  EXPECT_EQ(::close(file), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(::fcntl(file, F_GETFD), -1) << "a close that fails closes";
}

TEST_F(FaultDiskTest, InterruptsEachCallOnce) {
  FaultDisk disk(folder.path(), interruptEveryCall());
  EXPECT_EQ(create(path), -1);
  EXPECT_EQ(errno, EINTR);
  const int file = create(path);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(put(file, "frames", 0), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(put(file, "frames", 0), 6);
  }
  ::close(file);
}

TEST_F(FaultDiskTest, WritesHalf) {
  FaultDisk disk(folder.path(), shortenEveryWrite());
  const int file = create(path);
  EXPECT_EQ(put(file, "frames", 0), 3);
  EXPECT_EQ(put(file, "s", 0), 1);
  ::close(file);
}

TEST_F(FaultDiskTest, GoesOnWithoutFaultsWhenItIsGone) {
  int file = -1;
  {
    FaultDisk disk(folder.path());
    file = create(path);
    disk.answerWith(failCall(1, EIO, true));
    EXPECT_EQ(put(file, "frames", 0), -1);
  }
  EXPECT_EQ(put(file, "frames", 0), 6);
  ::close(file);
}

}  // namespace
}  // namespace vx::test
