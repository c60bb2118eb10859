// Every call on the disk fails, one after the other: with each error, once and for ever.
#include "VXVideoRecorder/platform/AVFoundation.h"
#include "faults/fault_disk.h"
#include "faults/scripted_recording.h"
#include "stress/form.h"
#include "support/movie_reader.h"
#include "support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace vx::test {
namespace {

using testing::IsEmpty;

struct Fault {
  const char* name;
  int error;
  bool forEver;
  std::string_view domain = AVFoundationErrorDomain;
  std::int64_t code = AVErrorDiskFull;

  friend void PrintTo(const Fault& fault, std::ostream* stream) { *stream << fault.name; }
};

std::size_t callsOfARecording() {
  TemporaryFolder folder;
  FaultDisk disk(folder.path(), withoutWaiting());
  EXPECT_TRUE(makeRecording(folder / "movie.mp4").finished.ok());
  return disk.callCount();
}

/// One recording with one fault in it.
struct Attempt {
  Attempt(std::size_t k, const Fault& fault) {
    FaultDisk disk(folder.path(), withoutWaiting(failCall(k, fault.error, fault.forEver)));
    outcome = makeRecording(path);
    calls = disk.records();
    failed = calls.at(k - 1).event.call;
  }

  /// Bytes that were written behind the first failed synchronisation.
  std::size_t writesAfterFailedSync() const {
    const auto isFailedSync = [](const DiskRecord& each) {
      return each.event.call == DiskCall::sync && each.error != 0;
    };
    const auto first = std::find_if(calls.begin(), calls.end(), isFailedSync);
    return static_cast<std::size_t>(std::count_if(first, calls.end(), [](const DiskRecord& each) {
      return each.event.call == DiskCall::write;
    }));
  }
  /// The first status that was not success.
  const Status& firstFailure() const {
    if (!outcome.created) return outcome.created;
    if (!outcome.begun) return outcome.begun;
    return outcome.firstFailure.ok() ? outcome.finished : outcome.firstFailure;
  }
  bool hasFile() const { return std::filesystem::exists(path); }

  TemporaryFolder folder;
  std::string path = folder / "movie.mp4";
  RecordingOutcome outcome;
  std::vector<DiskRecord> calls;
  DiskCall failed{};
};

// Room that cannot be set aside, and a folder that cannot be synchronised, are no reason to stop.
bool mayPass(DiskCall call) { return call == DiskCall::allocate || call == DiskCall::syncFolder; }

void expectTheErrorsCode(const Attempt& attempt, const Fault& fault) {
  const Status& status = attempt.firstFailure();
  if (status.ok()) {
    EXPECT_TRUE(mayPass(attempt.failed)) << nameOf(attempt.failed);
    return;
  }
  const NSError& error = status.error();
  EXPECT_EQ(error.domain(), fault.domain);
  EXPECT_EQ(error.code(), fault.code);
  EXPECT_NE(error.localizedDescription().find(attempt.path), std::string::npos);
}

void expectWhatWasCommitted(const Attempt& attempt) {
  const Bytes file = readWholeFile(attempt.path);
  EXPECT_THAT(whatIsWrong(file, attempt.outcome.committed, attempt.outcome.accepted), IsEmpty());
  const ReadMovie movie = readMovie(file);
  EXPECT_TRUE(movie.isOpen);
  EXPECT_THAT(movie.complaints, IsEmpty());
}

// A disk that was full once has room for the finish: what was written of the last fragment is given
// back, and its place is enough for the index.
void expectPlainAfterOneFullDisk(const Attempt& attempt, const Fault& fault) {
  const bool cameWhileRecording = !attempt.outcome.firstFailure.ok();
  const bool isFull = fault.code == AVErrorDiskFull && attempt.failed == DiskCall::write;
  if (fault.forEver || !isFull || !cameWhileRecording) return;
  EXPECT_EQ(findMovie(readWholeFile(attempt.path)).form, MovieForm::plain);
}

class DiskErrors : public testing::TestWithParam<Fault> {};

TEST_P(DiskErrors, LeaveAReadableFileAndOneErrorAtWhicheverCall) {
  const Fault& fault = GetParam();
  const std::size_t count = callsOfARecording();
  ASSERT_GT(count, 30u);
  for (std::size_t k = 1; k <= count; ++k) {
    SCOPED_TRACE("call " + std::to_string(k));
    const Attempt attempt(k, fault);
    EXPECT_TRUE(attempt.outcome.allFailuresAreTheSame);
    expectTheErrorsCode(attempt, fault);
    EXPECT_EQ(attempt.writesAfterFailedSync(), 0u);
    const bool hasBegun = attempt.outcome.created.ok() && attempt.outcome.begun.ok();
    EXPECT_EQ(attempt.hasFile(), hasBegun) << "a file without a head is of no use to anybody";
    if (hasBegun) expectWhatWasCommitted(attempt);
    if (hasBegun) expectPlainAfterOneFullDisk(attempt, fault);
    if (HasFailure()) return;
  }
  report(std::string(::strerrorname_np(fault.error)) + " at call k, " +
         (fault.forEver ? "and at all after it" : "once") + " | k = 1 to " + std::to_string(count) +
         " | no committed frame; one error with its code, " +
         "nothing published after a failed sync");
}

INSTANTIATE_TEST_SUITE_P(
    Each, DiskErrors,
    testing::Values(Fault{"NoSpaceOnce", ENOSPC, false}, Fault{"NoSpaceForEver", ENOSPC, true},
                    Fault{"QuotaOnce", EDQUOT, false}, Fault{"QuotaForEver", EDQUOT, true},
                    Fault{"FileTooLargeOnce", EFBIG, false},
                    Fault{"FileTooLargeForEver", EFBIG, true},
                    Fault{"BrokenOnce", EIO, false, NSPOSIXErrorDomain, EIO},
                    Fault{"BrokenForEver", EIO, true, NSPOSIXErrorDomain, EIO},
                    Fault{"ReadOnlyForEver", EROFS, true, NSCocoaErrorDomain,
                          NSFileWriteVolumeReadOnlyError},
                    Fault{"GoneForEver", ENODEV, true, NSPOSIXErrorDomain, ENODEV}),
    [](const auto& each) { return each.param.name; });

// ---- the same bytes as without -------------------------------------------------------------

/// The file that a recording leaves on a disk that answers like this.
Bytes recordedWith(const FaultDisk::Answer& answer) {
  TemporaryFolder folder;
  FaultDisk disk(folder.path(), withoutWaiting(answer));
  const RecordingOutcome outcome = makeRecording(folder / "movie.mp4");
  EXPECT_TRUE(outcome.created.ok() && outcome.begun.ok() && outcome.finished.ok());
  return readWholeFile(folder / "movie.mp4");
}

// The file tells the second in which it was made: two recordings are compared that share theirs.
void expectTheSameBytes(const FaultDisk::Answer& answer) {
  for (int attempt = 0; attempt < 20; ++attempt) {
    const Bytes before = recordedWith({});
    const Bytes file = recordedWith(answer);
    if (before != recordedWith({})) continue;
    EXPECT_EQ(file, before);
    return;
  }
  ADD_FAILURE() << "no two recordings within one second";
}

TEST(InterruptedCalls, LeaveTheSameBytes) {
  expectTheSameBytes(interruptEveryCall());
  report("every call is interrupted | 1 recording | the same bytes as without");
}

TEST(ShortWrites, LeaveTheSameBytes) {
  expectTheSameBytes(shortenEveryWrite());
  report("every write ends half-way, and once more | 1 recording | the same bytes as without");
}

TEST(ShortAndInterruptedWrites, LeaveTheSameBytes) {
  expectTheSameBytes([](const DiskEvent& event) -> DiskAnswer {
    if (event.call != DiskCall::close && event.repeat % 2 == 0) return {.error = EINTR};
    return {.shortenTo = std::size_t{7}};
  });
}

}  // namespace
}  // namespace vx::test
