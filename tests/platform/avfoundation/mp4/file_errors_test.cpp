// What a person reads when the system refuses something.
#include "platform/avfoundation/mp4/file_errors.h"

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "movie_fixture.h"
#include "platform/avfoundation/mp4/output_file.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace vx::mp4::test {
namespace {

struct Refusal {
  int error;
  std::string_view domain;
  std::int64_t code;
  const char* text;
};

constexpr const char* kPath = "/movies/a.mp4";

void expectRefusals(Status (*describe)(int, const std::string&),
                    const std::vector<Refusal>& refusals) {
  for (const Refusal& refusal : refusals) {
    const Status status = describe(refusal.error, kPath);
    ASSERT_FALSE(status.ok());
    EXPECT_EQ(status.error().domain(), refusal.domain) << refusal.error;
    EXPECT_EQ(status.error().code(), refusal.code) << refusal.error;
    EXPECT_EQ(status.error().localizedDescription(), refusal.text);
  }
}

TEST(FileErrors, OfCreating) {
  const std::string_view here = AVFoundationErrorDomain;
  expectRefusals(
      creationError,
      {{EEXIST, here, AVErrorFileAlreadyExists,
        "The recording's file exists already: \"/movies/a.mp4\". Choose another name, or move it "
        "away."},
       {ENOSPC, here, AVErrorDiskFull,
        "The disk is full: \"/movies/a.mp4\". Free some space or record to another disk."},
       {EDQUOT, here, AVErrorDiskFull,
        "The disk quota is used up: \"/movies/a.mp4\". Delete files or ask for a larger quota."},
       {EFBIG, here, AVErrorDiskFull,
        "The file has reached the largest size that is allowed here: \"/movies/a.mp4\". Record to "
        "another file, or raise the limit."},
       {ENOENT, NSCocoaErrorDomain, NSFileNoSuchFileError,
        "There is no folder \"/movies\" for the recording \"/movies/a.mp4\". Create the folder or "
        "choose another one."},
       {ENOTDIR, NSCocoaErrorDomain, NSFileNoSuchFileError,
        "There is no folder \"/movies\" for the recording \"/movies/a.mp4\". Create the folder or "
        "choose another one."},
       {EACCES, NSCocoaErrorDomain, NSFileWriteNoPermissionError,
        "There is no permission to create \"/movies/a.mp4\". Choose another folder, or allow "
        "writing to \"/movies\"."},
       {EPERM, NSCocoaErrorDomain, NSFileWriteNoPermissionError,
        "There is no permission to create \"/movies/a.mp4\". Choose another folder, or allow "
        "writing to \"/movies\"."},
       {EROFS, NSCocoaErrorDomain, NSFileWriteVolumeReadOnlyError,
        "The disk of \"/movies/a.mp4\" is read-only. Choose a folder on another disk."},
       {ENAMETOOLONG, NSPOSIXErrorDomain, ENAMETOOLONG,
        "The name of the recording is too long: \"/movies/a.mp4\". Choose a shorter one."},
       {EMFILE, NSPOSIXErrorDomain, EMFILE,
        "The recording \"/movies/a.mp4\" could not be created: Too many open files."}});
}

TEST(FileErrors, OfWriting) {
  expectRefusals(
      writingError,
      {{EDQUOT, AVFoundationErrorDomain, AVErrorDiskFull,
        "The disk quota is used up: \"/movies/a.mp4\". Delete files or ask for a larger quota."},
       {EROFS, NSCocoaErrorDomain, NSFileWriteVolumeReadOnlyError,
        "The disk of \"/movies/a.mp4\" became read-only during the recording. Check the disk; what "
        "was recorded before can be played."},
       {EIO, NSPOSIXErrorDomain, EIO,
        "The recording \"/movies/a.mp4\" could not be written: Input/output error. Check the disk; "
        "what was recorded before can be played."}});
}

TEST(FileErrors, OfOpening) {
  expectRefusals(
      openingError,
      {{ENOENT, NSCocoaErrorDomain, NSFileReadNoSuchFileError,
        "There is no file \"/movies/a.mp4\". Check the name."},
       {ENOTDIR, NSCocoaErrorDomain, NSFileReadNoSuchFileError,
        "There is no file \"/movies/a.mp4\". Check the name."},
       {EACCES, NSCocoaErrorDomain, NSFileReadNoPermissionError,
        "There is no permission to read \"/movies/a.mp4\". Ask its owner, or allow reading it."},
       {EPERM, NSCocoaErrorDomain, NSFileReadNoPermissionError,
        "There is no permission to read \"/movies/a.mp4\". Ask its owner, or allow reading it."},
       {EISDIR, NSCocoaErrorDomain, NSFileReadUnknownError,
        "\"/movies/a.mp4\" is not a file. Name the recording itself."},
       {ENXIO, NSCocoaErrorDomain, NSFileReadUnknownError,
        "\"/movies/a.mp4\" is not a file. Name the recording itself."},
       {EMFILE, NSPOSIXErrorDomain, EMFILE,
        "The file \"/movies/a.mp4\" could not be opened: Too many open files."}});
}

TEST(FileErrors, OfRepairing) {
  expectRefusals(
      repairingError,
      {{EACCES, NSCocoaErrorDomain, NSFileWriteNoPermissionError,
        "There is no permission to repair \"/movies/a.mp4\". Allow writing to it, or repair a "
        "copy."},
       {EPERM, NSCocoaErrorDomain, NSFileWriteNoPermissionError,
        "There is no permission to repair \"/movies/a.mp4\". Allow writing to it, or repair a "
        "copy."},
       {EROFS, NSCocoaErrorDomain, NSFileWriteVolumeReadOnlyError,
        "The disk of \"/movies/a.mp4\" is read-only. Repair a copy on another disk."},
       {ELOOP, NSPOSIXErrorDomain, ELOOP,
        "\"/movies/a.mp4\" is a link. Name the recording that it leads to."},
       {ENOENT, NSCocoaErrorDomain, NSFileReadNoSuchFileError,
        "There is no file \"/movies/a.mp4\". Check the name."}});
}

TEST(FileErrors, OfReading) {
  expectRefusals(readingError,
                 {{EIO, NSPOSIXErrorDomain, EIO,
                   "The file \"/movies/a.mp4\" could not be read: Input/output error. Check the "
                   "disk; nothing was changed."}});
}

TEST(FileErrors, SayWhatBecameOfTheFile) {
  EXPECT_EQ(removedError(kPath).error().localizedDescription(),
            "The file \"/movies/a.mp4\" was removed or replaced during the recording, which is "
            "lost. Leave the file in place while it is recorded.");
  EXPECT_EQ(movedError(kPath).error().localizedDescription(),
            "The recording is complete, but no longer at \"/movies/a.mp4\": it or its folder was "
            "moved, or its disk removed. Leave the file in place while it is recorded.");
}

TEST(FileErrors, SayThatAFolderHasTheName) {
  const TemporaryFolder folder;
  EXPECT_EQ(creationError(EEXIST, folder.path()).error().localizedDescription(),
            "A folder has the name of the recording: \"" + folder.path() +
                "\". Choose another name, or move it away.");
}

TEST(FileErrors, FolderIsWhatStandsBeforeTheName) {
  EXPECT_EQ(folderOf("/movies/2026/a.mp4"), "/movies/2026");
  EXPECT_EQ(folderOf("/a.mp4"), "/");
  EXPECT_EQ(folderOf("a.mp4"), ".");
}

TEST(FileErrors, OnlyWantOfRoomIsOutOfSpace) {
  for (const int error : {ENOSPC, EDQUOT, EFBIG}) {
    EXPECT_TRUE(isOutOfSpace(writingError(error, kPath))) << error;
  }
  for (const int error : {EIO, EROFS, EACCES}) {
    EXPECT_FALSE(isOutOfSpace(writingError(error, kPath))) << error;
  }
  EXPECT_FALSE(isOutOfSpace(Status()));
  EXPECT_FALSE(isOutOfSpace(NSError(NSPOSIXErrorDomain, AVErrorDiskFull, "another domain's")));
}

}  // namespace
}  // namespace vx::mp4::test
