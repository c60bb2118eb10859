#include "VXVideoRecorder/platform/AVFoundation.h"
#include "movie_fixture.h"
#include "platform/avfoundation/mp4/output_file.h"
#include "support/small_disk.h"
#include "support/unprivileged.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

namespace vx::mp4::test {
namespace {

using vx::test::Decode;
using vx::test::FileSizeLimit;
using vx::test::readMovie;
using vx::test::readWholeFile;
using vx::test::SmallDisk;

NSError creationErrorOf(const std::string& path) {
  std::unique_ptr<OutputFile> file;
  const Status status = createPosixFile(path, file);
  if (status.ok()) return NSError("", 0, "it was created");
  EXPECT_NE(status.error().localizedDescription().find(path), std::string::npos);
  return status.error();
}

TEST(CreatePosixFile, NeverReplacesAFile) {
  TemporaryFolder folder;
  std::ofstream(folder / "a.mp4") << "precious";
  const NSError error = creationErrorOf(folder / "a.mp4");
  EXPECT_EQ(error.domain(), AVFoundationErrorDomain);
  EXPECT_EQ(error.code(), AVErrorFileAlreadyExists);
  EXPECT_EQ(readWholeFile(folder / "a.mp4").size(), 8u);
}

TEST(CreatePosixFile, RefusesAPathThatTheSystemWouldCut) {
  TemporaryFolder folder;
  const std::string cut = folder / "a.mp4";
  std::unique_ptr<OutputFile> file;
  EXPECT_FALSE(createPosixFile(cut + std::string("\0b", 2), file).ok());
  EXPECT_FALSE(std::filesystem::exists(cut));
}

TEST(CreatePosixFile, SaysThatAFolderHasTheName) {
  TemporaryFolder folder;
  const NSError error = creationErrorOf(folder.path());
  EXPECT_EQ(error.code(), AVErrorFileAlreadyExists);
  EXPECT_NE(error.localizedDescription().find("folder"), std::string::npos);
}

TEST(CreatePosixFile, DoesNotFollowALink) {
  TemporaryFolder folder;
  ASSERT_EQ(::symlink((folder / "target").c_str(), (folder / "link").c_str()), 0);
  EXPECT_EQ(creationErrorOf(folder / "link").code(), AVErrorFileAlreadyExists);
  EXPECT_FALSE(std::filesystem::exists(folder / "target"));
}

TEST(CreatePosixFile, SaysThatTheFolderIsMissing) {
  TemporaryFolder folder;
  const NSError error = creationErrorOf(folder / "none/a.mp4");
  EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
  EXPECT_EQ(error.code(), NSFileNoSuchFileError);
}

TEST(CreatePosixFile, SaysThatTheNameIsTooLong) {
  TemporaryFolder folder;
  const NSError error = creationErrorOf(folder / std::string(300, 'x'));
  EXPECT_EQ(error.domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(error.code(), ENAMETOOLONG);
}

TEST(CreatePosixFile, SaysThatThereIsNoPermission) {
  TemporaryFolder folder;
  ASSERT_EQ(::chmod(folder.path().c_str(), 0500), 0);
  const Unprivileged user(folder);
  EXPECT_EQ(creationErrorOf(folder / "a.mp4").code(), NSFileWriteNoPermissionError);
}

TEST(CreatePosixFile, LocksTheFileAndHidesItFromChildren) {
  TemporaryFolder folder;
  std::unique_ptr<OutputFile> file;
  ASSERT_TRUE(createPosixFile(folder / "a.mp4", file).ok());
  const int other = ::open((folder / "a.mp4").c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_NE(::flock(other, LOCK_SH | LOCK_NB), 0);
  const int own = other - 1;  // the lowest free number was taken each time
  EXPECT_NE(::fcntl(own, F_GETFD) & FD_CLOEXEC, 0);
  ASSERT_TRUE(file->close().ok());
  EXPECT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0);
  ::close(other);
}

TEST(PosixFile, GivesTheModeToTheProcesssMask) {
  TemporaryFolder folder;
  const mode_t before = ::umask(027);
  std::unique_ptr<OutputFile> file;
  ASSERT_TRUE(createPosixFile(folder / "a.mp4", file).ok());
  ::umask(before);
  struct stat status {};
  ASSERT_EQ(::stat((folder / "a.mp4").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640u);
}

TEST(PosixFile, ReservesWithoutGrowingAndGivesBackAtTheEnd) {
  TemporaryFolder folder;
  std::unique_ptr<OutputFile> file;
  ASSERT_TRUE(createPosixFile(folder / "a.mp4", file).ok());
  ASSERT_TRUE(file->writeAt(0, std::vector<std::uint8_t>(5000)).ok());
  ASSERT_TRUE(file->reserve(1 << 20).ok());
  struct stat status {};
  ::stat((folder / "a.mp4").c_str(), &status);
  EXPECT_EQ(status.st_size, 5000);
  ASSERT_TRUE(file->truncate(5000).ok());
  ASSERT_TRUE(file->close().ok());
  ::stat((folder / "a.mp4").c_str(), &status);
  EXPECT_EQ(status.st_size, 5000);
  EXPECT_LE(status.st_blocks * 512, 65536);
}

/// The room that a file has on its disk.
std::int64_t roomOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0);
  return std::int64_t{status.st_blocks} * 512;
}

TEST(PosixFile, ReservesOnWhenWhatIsAskedForGrows) {
  TemporaryFolder folder;
  std::unique_ptr<OutputFile> file;
  ASSERT_TRUE(createPosixFile(folder / "a.mp4", file).ok());
  ASSERT_TRUE(file->reserve(1 << 20).ok());
  if (roomOf(folder / "a.mp4") == 0) GTEST_SKIP() << "this file system sets nothing aside";
  ASSERT_TRUE(file->reserve(1 << 20).ok()) << "which is there already";
  ASSERT_TRUE(file->reserve(40 << 20).ok());
  EXPECT_GE(roomOf(folder / "a.mp4"), 40 << 20);
}

TEST(PosixFile, ReservesAnewBehindACut) {
  TemporaryFolder folder;
  std::unique_ptr<OutputFile> file;
  ASSERT_TRUE(createPosixFile(folder / "a.mp4", file).ok());
  ASSERT_TRUE(file->reserve(1 << 20).ok());
  if (roomOf(folder / "a.mp4") == 0) GTEST_SKIP() << "this file system sets nothing aside";
  ASSERT_TRUE(file->truncate(0).ok());
  EXPECT_LT(roomOf(folder / "a.mp4"), 1 << 20);
  ASSERT_TRUE(file->reserve(1 << 20).ok());
  EXPECT_GE(roomOf(folder / "a.mp4"), 1 << 20);
}

TEST(PosixFile, DiscardsNoFileButItsOwn) {
  TemporaryFolder folder;
  std::unique_ptr<OutputFile> file;
  ASSERT_TRUE(createPosixFile(folder / "a.mp4", file).ok());
  std::filesystem::rename(folder / "a.mp4", folder / "moved.mp4");
  std::ofstream(folder / "a.mp4") << "other";
  file->discard();
  EXPECT_TRUE(std::filesystem::exists(folder / "a.mp4"));
  EXPECT_TRUE(std::filesystem::exists(folder / "moved.mp4"));
  std::filesystem::rename(folder / "moved.mp4", folder / "a.mp4");
  file->discard();
  EXPECT_FALSE(std::filesystem::exists(folder / "a.mp4"));
}

TEST(PosixFile, NameThatCannotBeLookedUpIsNotHeldForMissing) {
  TemporaryFolder folder;
  const std::string sub = folder / "sub";
  std::filesystem::create_directory(sub);
  std::unique_ptr<OutputFile> file;
  ASSERT_TRUE(createPosixFile(sub + "/a.mp4", file).ok());
  std::filesystem::rename(sub, folder / "moved");
  EXPECT_FALSE(file->checkStillNamed().ok());
  std::filesystem::create_symlink(sub, sub);  // leads to itself
  EXPECT_TRUE(file->checkStillNamed().ok());
}

TEST(PosixFile, NoticesThatItsNameIsGone) {
  TemporaryFolder folder;
  std::unique_ptr<OutputFile> file;
  ASSERT_TRUE(createPosixFile(folder / "a.mp4", file).ok());
  EXPECT_TRUE(file->checkStillNamed().ok());
  std::ofstream(folder / "b.mp4") << "other";
  std::filesystem::rename(folder / "b.mp4", folder / "a.mp4");
  const Status status = file->checkStillNamed();
  ASSERT_FALSE(status.ok());
  EXPECT_NE(status.error().localizedDescription().find("removed or replaced"), std::string::npos);
}

// ---- no room -------------------------------------------------------------------------------

TEST(PosixFile, TurnsTheFileSizeLimitIntoAnErrorWithoutASignal) {
  TemporaryFolder folder;
  std::unique_ptr<OutputFile> file;
  ASSERT_TRUE(createPosixFile(folder / "a.mp4", file).ok());
  const FileSizeLimit limit(100000);
  const std::vector<std::uint8_t> bytes(200000);
  EXPECT_TRUE(isOutOfSpace(file->writeAt(0, bytes)));
  EXPECT_TRUE(isOutOfSpace(file->reserve(200000)));
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGXFSZ), 0);
}

// Records until there is no room, then finishes; the file must be whole. Returns the pictures
// taken.
std::size_t recordUntilFull(const std::string& path) {
  std::unique_ptr<RecordingFile> file;
  EXPECT_TRUE(RecordingFile::create(path, file).ok());
  EXPECT_TRUE(file->begin(videoTrack(smallSource(), 64, 48), true).ok());
  std::size_t committed = 0;
  Status status;
  for (std::size_t n = 0; status.ok() && n < 100000;) {
    for (int i = 0; i < 10 && status.ok(); ++i, ++n)
      status = file->appendVideo(picture(smallSource(), n, static_cast<std::int64_t>(n) * 16));
    if (status.ok()) status = file->commit();
    if (status.ok()) committed = n;
  }
  EXPECT_TRUE(isOutOfSpace(status));
  const Status finished = file->finish(std::nullopt);
  EXPECT_TRUE(isOutOfSpace(finished));
  if (!finished.ok()) {
    EXPECT_NE(finished.error().localizedDescription().find(path), std::string::npos);
  }
  return committed;
}

void expectWholePlainMovie(const std::string& path, std::size_t pictures) {
  const Bytes bytes = readWholeFile(path);
  const BoxNode root = vx::test::readBoxes(bytes);
  ASSERT_EQ(root.children.size(), 3u);
  EXPECT_EQ(root.children[2].type, "moov");
  const ReadMovie movie = readMovie(bytes);
  EXPECT_EQ(movie.complaints, std::vector<std::string>());
  EXPECT_GT(pictures, 0u);
  EXPECT_EQ(movie.video()->packets.size(), pictures);
}

TEST(PosixFile, LetsARecordingFinishAtTheFileSizeLimit) {
  TemporaryFolder folder;
  const FileSizeLimit limit(1000000);
  const std::size_t pictures = recordUntilFull(folder / "a.mp4");
  expectWholePlainMovie(folder / "a.mp4", pictures);
}

TEST(PosixFile, LetsARecordingFinishAtTheFileSizeLimitInMemory) {
  const SmallDisk disk("size=40m");
  if (!disk.isMounted()) GTEST_SKIP() << "mounting a small disk needs root";
  const FileSizeLimit limit(1000000);
  const std::size_t pictures = recordUntilFull(disk.file("a.mp4"));
  expectWholePlainMovie(disk.file("a.mp4"), pictures);
}

TEST(PosixFile, LetsARecordingFinishOnAFullDisk) {
  const SmallDisk disk("size=2m");
  if (!disk.isMounted()) GTEST_SKIP() << "mounting a small disk needs root";
  const std::size_t pictures = recordUntilFull(disk.file("a.mp4"));
  expectWholePlainMovie(disk.file("a.mp4"), pictures);
}

TEST(PosixFile, LetsARecordingFinishWhenOthersFillTheDisk) {
  const SmallDisk disk("size=40m");
  if (!disk.isMounted()) GTEST_SKIP() << "mounting a small disk needs root";
  std::unique_ptr<RecordingFile> file;
  ASSERT_TRUE(RecordingFile::create(disk.file("a.mp4"), file).ok());
  ASSERT_TRUE(file->begin(videoTrack(smallSource(), 64, 48), true).ok());
  for (std::size_t n = 0; n < 50; ++n)
    ASSERT_TRUE(file->appendVideo(picture(smallSource(), n, static_cast<std::int64_t>(n))).ok());
  ASSERT_TRUE(file->commit().ok());
  disk.fill();
  EXPECT_TRUE(file->finish(50).ok());
  expectWholePlainMovie(disk.file("a.mp4"), 50);
}

TEST(PosixFile, SaysThatTheDiskIsReadOnly) {
  const SmallDisk disk("size=1m,ro");
  if (!disk.isMounted()) GTEST_SKIP() << "mounting a small disk needs root";
  EXPECT_EQ(creationErrorOf(disk.file("a.mp4")).code(), NSFileWriteVolumeReadOnlyError);
}

}  // namespace
}  // namespace vx::mp4::test
