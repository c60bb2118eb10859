// A disk that errs as told: stands between the library and the system's calls on files, for the
// files of one folder only. Everything else goes straight through.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vx::test {

/// `syncFolder` is fsync of the folder itself. `open` is the creation of a file.
enum class DiskCall : std::uint8_t { open, write, allocate, truncate, sync, syncFolder, close };
std::string nameOf(DiskCall call);

/// One call on a file of the folder, before it is done.
struct DiskEvent {
  DiskCall call = DiskCall::open;
  std::size_t number = 0;  // from 1, in the order of the calls
  std::size_t repeat = 0;  // how many calls of the same kind ended with EINTR or short just before
  std::uint64_t offset = 0;
  std::uint64_t sizeBytes = 0;  // of a write or reservation; the length that truncate asks for
};

/// What becomes of it. Without anything set, it is done.
struct DiskAnswer {
  int error = 0;                                        // fails with this; nothing is done
  std::optional<std::size_t> shortenTo = std::nullopt;  // writes no more than this
  bool pretend = false;                                 // succeeds, and nothing is done
};

/// What was done.
struct DiskRecord {
  DiskEvent event;
  std::vector<std::uint8_t> bytes;  // of a write, as many as were written
  int error = 0;
  std::chrono::steady_clock::time_point start;
  std::chrono::steady_clock::time_point end;
};

/// While it lives, every file created below `folder` is watched until it is closed. One at a time.
/// The answer is asked on the thread that calls, outside any lock: it may wait. Call and file
/// position stay consistent when calls come from several threads; their order is then theirs.
class FaultDisk {
 public:
  using Answer = std::function<DiskAnswer(const DiskEvent&)>;

  explicit FaultDisk(const std::string& folder, Answer answer = {});
  ~FaultDisk();
  FaultDisk(const FaultDisk&) = delete;
  FaultDisk& operator=(const FaultDisk&) = delete;

  /// Replaces the answer for all calls from here on.
  void answerWith(Answer answer);
  std::size_t callCount() const;
  std::vector<DiskRecord> records() const;

  struct State;

 private:
  std::shared_ptr<State> _state;
};

/// Fails call number `k` with `error`, and with `forEver` every call after it. Closing a file
/// always closes it.
FaultDisk::Answer failCall(std::size_t k, int error, bool forEver);
/// The same as `answer`, but nothing waits for a real disk: what is synchronised is only said to
/// be. For tests that record hundreds of times and look at the file through the same system.
FaultDisk::Answer withoutWaiting(FaultDisk::Answer answer = {});
/// Every call that a signal may interrupt is interrupted once before it is done.
FaultDisk::Answer interruptEveryCall();
/// Every write of more than one byte ends after half of it.
FaultDisk::Answer shortenEveryWrite();

}  // namespace vx::test
