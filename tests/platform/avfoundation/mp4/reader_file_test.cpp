// Recordings opened again: who holds them, and what is no recording's file.
#include "platform/avfoundation/mp4/reader_file.h"

#include "VXVideoRecorder/platform/Foundation.h"
#include "movie_fixture.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

namespace vx::mp4::test {
namespace {

class ReaderFile : public testing::Test {
 protected:
  void write(const std::string& text) { std::ofstream(path) << text; }
  /// As a recorder holds its file; closed with the test.
  void hold() {
    holder = FileDescriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(::flock(holder.get(), LOCK_EX | LOCK_NB), 0);
  }
  /// Whether somebody else could lock the file now.
  bool canBeLocked(int lock) const {
    const FileDescriptor other(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    return ::flock(other.get(), lock | LOCK_NB) == 0;
  }

  TemporaryFolder folder;
  std::string path = folder / "a.mp4";
  FileDescriptor holder;
  OpenedFile file;
};

TEST_F(ReaderFile, ReadsWhatIsThere) {
  write("0123456789");
  ASSERT_TRUE(openToRead(path, file).ok());
  EXPECT_EQ(file.input->sizeBytes(), 10u);
  EXPECT_EQ(file.output, nullptr);
  EXPECT_FALSE(file.isHeld);
  std::vector<std::uint8_t> bytes(8);
  EXPECT_EQ(file.input->read(7, bytes), 3u);
  EXPECT_EQ(bytes[0], '7');
  EXPECT_TRUE(file.input->status().ok());
}

TEST_F(ReaderFile, ReadingKeepsRepairsAwayAndOtherReadersNot) {
  write("something");
  ASSERT_TRUE(openToRead(path, file).ok());
  EXPECT_FALSE(canBeLocked(LOCK_EX));
  EXPECT_TRUE(canBeLocked(LOCK_SH));
}

TEST_F(ReaderFile, RepairingKeepsEverybodyAway) {
  write("something");
  ASSERT_TRUE(openToRepair(path, file).ok());
  ASSERT_NE(file.output, nullptr);
  EXPECT_FALSE(file.isHeld);
  EXPECT_FALSE(canBeLocked(LOCK_SH));
}

TEST_F(ReaderFile, FileOfARecorderIsHeld) {
  write("something");
  hold();
  ASSERT_TRUE(openToRead(path, file).ok());
  EXPECT_TRUE(file.isHeld);
  ASSERT_TRUE(openToRepair(path, file).ok());
  EXPECT_TRUE(file.isHeld);
  EXPECT_EQ(file.output, nullptr);
}

TEST_F(ReaderFile, EmptyFileIsLeftForTheRecorderThatIsAboutToLockIt) {
  write("");
  ASSERT_TRUE(openToRead(path, file).ok());
  EXPECT_FALSE(file.isHeld);
  EXPECT_TRUE(canBeLocked(LOCK_EX));
  hold();
  ASSERT_TRUE(openToRead(path, file).ok());
  EXPECT_FALSE(file.isHeld);
}

TEST_F(ReaderFile, LinkIsReadAndNotRepaired) {
  write("something");
  const std::string link = folder / "link.mp4";
  ASSERT_EQ(::symlink(path.c_str(), link.c_str()), 0);
  EXPECT_TRUE(openToRead(link, file).ok());
  const Status status = openToRepair(link, file);
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(status.error().code(), ELOOP);
  EXPECT_EQ(file.output, nullptr);
}

TEST_F(ReaderFile, WhatIsNoFileIsRefusedWithoutWaiting) {
  const std::string pipe = folder / "pipe.mp4";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& other : {pipe, folder.path()}) {
    const Status status = openToRead(other, file);
    ASSERT_FALSE(status.ok()) << other;
    EXPECT_EQ(status.error().code(), NSFileReadUnknownError);
  }
}

TEST_F(ReaderFile, MissingFileAndOneWhosePathWouldBeCutAreNotThere) {
  write("something");
  for (const std::string& other : {folder / "none.mp4", path + std::string("\0b", 2)}) {
    const Status status = openToRead(other, file);
    ASSERT_FALSE(status.ok());
    EXPECT_EQ(status.error().code(), NSFileReadNoSuchFileError);
  }
}

}  // namespace
}  // namespace vx::mp4::test
