// Disks that fill up, and files that may not grow any more.
#include "VXVideoRecorder/VXRecordingRepair.h"
#include "faults/fault_disk.h"
#include "platform/avfoundation/mp4/movie_fixture.h"
#include "platform/avfoundation/mp4/output_file.h"
#include "stress/form.h"
#include "stress/outside_readers.h"
#include "support/movie_checker.h"
#include "support/small_disk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace vx::test {
namespace {

using testing::IsEmpty;
using vx::mp4::RecordingFile;
using vx::mp4::test::smallSource;
using vx::mp4::test::videoTrack;

constexpr rlim_t kMegabyte = 1 << 20;
constexpr const char* kNeedsRoot = "mounting a small disk needs root";

/// A coded picture, with filler behind it, which decoders pass over, to be as large as of a larger
/// screen.
Bytes codedPicture(std::size_t number, std::uint32_t fillerBytes) {
  const auto& source = smallSource().pictures;
  Bytes bytes = source[number % source.size()].bytes;
  if (fillerBytes == 0) return bytes;
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes.push_back(static_cast<std::uint8_t>((fillerBytes + 2) >> shift));
  bytes.push_back(12);  // a NAL unit of filler data
  bytes.insert(bytes.end(), fillerBytes, 0xFF);
  bytes.push_back(0x80);
  return bytes;
}

/// A recording that goes on until it fails.
class UntilFull {
 public:
  explicit UntilFull(const std::string& path, std::uint32_t fillerBytes = 20000)
      : _fillerBytes(fillerBytes) {
    EXPECT_TRUE(RecordingFile::create(path, _file).ok());
    EXPECT_TRUE(_file->begin(videoTrack(smallSource(), 64, 48), false).ok());
  }

  /// Records so many fragments of ten pictures, or until there is no room.
  void record(std::size_t fragments) {
    for (std::size_t i = 0; i < fragments && _failure.ok(); ++i) recordFragment();
  }
  void finish() {
    if (Status status = _file->finish(std::nullopt); _failure.ok()) _failure = status;
    _file.reset();
  }

  const Status& failure() const { return _failure; }
  std::size_t committed() const { return _committed; }

 private:
  void recordFragment() {
    for (int i = 0; i < 10 && _failure.ok(); ++i, ++_pictures) {
      const Bytes bytes = codedPicture(_pictures, _fillerBytes);
      const bool isKeyFrame = smallSource().pictures[_pictures % 60].isKeyFrame;
      const auto time = static_cast<std::int64_t>(_pictures) * 16;
      _failure = _file->appendVideo({bytes, time, 16, isKeyFrame});
    }
    if (_failure.ok()) _failure = _file->commit();
    if (_failure.ok()) _committed = _pictures;
  }

  const std::uint32_t _fillerBytes;
  std::unique_ptr<RecordingFile> _file;
  std::size_t _pictures = 0;
  std::size_t _committed = 0;
  Status _failure;
};

void expectWhole(const std::string& path, MovieForm form, std::size_t pictures) {
  const CheckedMovie movie = checkMovieFile(path);
  EXPECT_THAT(movie.findings, IsEmpty());
  EXPECT_EQ(movie.form, form);
  ASSERT_NE(movie.video(), nullptr);
  EXPECT_EQ(movie.video()->samples.size(), pictures);
  EXPECT_GT(pictures, 0u);
}

constexpr std::size_t kForEver = 1000000;

constexpr const char* kDisksEnd = "disks | all end as plain movies, no committed frame lost";

/// Takes disks and limits of 1 to 20 MiB (a few of them in the short form) and tells what came of
/// all of them; the text goes around their number.
template <typename Record>
void atEverySize(const std::string& what, const std::string& outcome, Record&& record) {
  int tried = 0;
  for (rlim_t megabytes = 1; megabytes <= 20; ++megabytes) {
    if (!isLongForm() && megabytes % 6 != 1) continue;
    SCOPED_TRACE(std::to_string(megabytes) + " MiB");
    record(megabytes);
    ++tried;
  }
  report(what + " | " + std::to_string(tried) + " " + outcome);
}

template <typename Record>
void onEveryDisk(const std::string& what, const std::string& outcome, Record&& record) {
  atEverySize(what, outcome, [&](rlim_t megabytes) {
    const SmallDisk disk("size=" + std::to_string(megabytes) + "m");
    ASSERT_TRUE(disk.isMounted());
    record(disk);
  });
}

bool canMountDisks() { return SmallDisk("size=1m").isMounted(); }

void expectEndsForWantOfRoom(UntilFull& recording) {
  recording.record(kForEver);
  EXPECT_TRUE(mp4::isOutOfSpace(recording.failure()));
  recording.finish();
}

TEST(FullDisk, EndsAsAPlainMovie) {
  if (!canMountDisks()) GTEST_SKIP() << kNeedsRoot;
  onEveryDisk("a disk of 1 to 20 MiB that the recording fills", kDisksEnd,
              [](const SmallDisk& disk) {
                UntilFull recording(disk.file("movie.mp4"));
                expectEndsForWantOfRoom(recording);
                expectWhole(disk.file("movie.mp4"), MovieForm::plain, recording.committed());
                if (isLongForm()) expectReadByAll(disk.file("movie.mp4"), 2);
              });
}

TEST(FullDisk, EndsAsAPlainMovieWhenOthersFillIt) {
  if (!canMountDisks()) GTEST_SKIP() << kNeedsRoot;
  onEveryDisk("a disk of 1 to 20 MiB that other programs fill", kDisksEnd,
              [](const SmallDisk& disk) {
                UntilFull recording(disk.file("movie.mp4"));
                recording.record(2);
                disk.fill();
                expectEndsForWantOfRoom(recording);
                expectWhole(disk.file("movie.mp4"), MovieForm::plain, recording.committed());
              });
}

TEST(FileSizeLimit, EndsAsAPlainMovie) {
  atEverySize("a limit of 1 to 20 MiB for the size of files",
              "limits | all end as plain movies, no committed frame lost", [](rlim_t megabytes) {
                TemporaryFolder folder;
                FaultDisk disk(folder.path(), withoutWaiting());
                const FileSizeLimit limit(megabytes * kMegabyte);
                UntilFull recording(folder / "movie.mp4");
                expectEndsForWantOfRoom(recording);
                expectWhole(folder / "movie.mp4", MovieForm::plain, recording.committed());
              });
}

// ---- where no room can be set aside --------------------------------------------------------

DiskAnswer withoutReservation(const DiskEvent& event) {
  return {.error = event.call == DiskCall::allocate ? EOPNOTSUPP : 0};
}

TEST(DiskWithoutReservation, KeepsEveryCommittedFrameWhenItIsFullAndIsRepairedLater) {
  if (!canMountDisks()) GTEST_SKIP() << kNeedsRoot;
  onEveryDisk("a full disk on which no room can be set aside",
              "disks | all stay fragmented movies, no committed frame lost, repaired later",
              [](const SmallDisk& disk) {
                const FaultDisk faults(disk.path(), withoutReservation);
                const std::string path = disk.file("movie.mp4");
                UntilFull recording(path, 0);
                recording.record(200);
                disk.fill();
                recording.finish();  // the index is longer than what is left of the last block
                EXPECT_TRUE(mp4::isOutOfSpace(recording.failure()));
                expectWhole(path, MovieForm::fragmented, recording.committed());

                std::filesystem::remove(disk.file("other"));
                EXPECT_TRUE(VXRecordingRepair::repairRecordingAtPath(path).has_value());
                expectWhole(path, MovieForm::plain, recording.committed());
              });
}

TEST(DiskWithoutReservation, EndsAsAPlainMovieWhenTheLastFragmentsRoomIsEnough) {
  const SmallDisk disk("size=3m");
  if (!disk.isMounted()) GTEST_SKIP() << kNeedsRoot;
  const FaultDisk faults(disk.path(), withoutReservation);
  UntilFull recording(disk.file("movie.mp4"));
  expectEndsForWantOfRoom(recording);
  expectWhole(disk.file("movie.mp4"), MovieForm::plain, recording.committed());
}

}  // namespace
}  // namespace vx::test
