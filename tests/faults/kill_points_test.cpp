// A process is killed at each call on the disk of a recording's finish or of its repair, and within
// each write.
#include "VXVideoRecorder/VXRecordingRepair.h"
#include "faults/fault_disk.h"
#include "stress/form.h"
#include "stress/recording_child.h"
#include "support/movie_checker.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <functional>

namespace vx::test {
namespace {

using Kind = Message::Kind;

constexpr int kFrames = 40;
constexpr std::uint64_t kPlaceholder = 32;  // where the write that makes the movie plain goes
constexpr std::uint64_t kTypeBytes = 4;     // of the write that publishes a fragment
constexpr std::uint64_t kHeaderBytes = 8;   // of the write that makes the movie plain

/// Where a process dies: before call `number`, or, with `chance`, within it when it
/// is a write that can be cut short.
struct Moment {
  std::size_t number = SIZE_MAX;
  std::uint64_t chance = 0;
};

/// Counts the calls once it is armed, tells what they have done, and ends the process.
class Killer {
 public:
  Killer(const Teller& teller, Moment moment) : _teller(teller), _moment(moment) {}

  void arm() { _isArmed = true; }
  DiskAnswer operator()(const DiskEvent& event) {
    if (!_isArmed) return {};
    tellOfLastCall();
    _last = event;
    _teller.tell(Kind::diskCall, static_cast<std::int64_t>(++_number));
    const bool isTorn = _moment.chance > 0 && event.sizeBytes > kHeaderBytes;
    if (_number > _moment.number || (_number == _moment.number && !isTorn)) ::raise(SIGKILL);
    if (_number == _moment.number) return {.shortenTo = 1 + _moment.chance % (event.sizeBytes - 1)};
    return {};
  }

 private:
  void tellOfLastCall() {
    if (_last.call != DiskCall::write) return;
    if (_last.sizeBytes == kTypeBytes) _teller.tell(Kind::committed, kFrames);
    if (_last.sizeBytes == kHeaderBytes && _last.offset == kPlaceholder)
      _teller.tell(Kind::switched, 0);
  }

  const Teller& _teller;
  const Moment _moment;
  std::atomic<bool> _isArmed = false;
  std::size_t _number = 0;
  DiskEvent _last;
};

/// A process that records, finishes, and dies when told; all it told has been listened to.
struct Victim {
  explicit Victim(Moment moment)
      : recording([moment](const std::string& folder, const Teller& teller) {
          Killer killer(teller, moment);
          const FaultDisk disk(folder, withoutWaiting(std::ref(killer)));
          RecordingHost host(folder, teller, [&killer] { killer.arm(); });
          for (int i = 0; i < kFrames; ++i) host.append();
          host.stop();
          ::pause();
        }) {
    while (!has(Kind::done) && recording.child.next()) {
    }
  }

  bool has(Kind kind) const { return recording.child.hasTold(kind); }
  std::size_t calls() const {
    const auto& messages = recording.child.messages();
    return static_cast<std::size_t>(
        std::count_if(messages.begin(), messages.end(),
                      [](const Message& message) { return message.kind == Kind::diskCall; }));
  }

  RecordingChild recording;
};

TEST(KilledInTheFinish, AtWhicheverCallLeavesTheOneFormOrTheOther) {
  Chance chance;
  const int kills = rounds(6, 200);
  const auto calls = static_cast<int>(Victim(Moment{}).calls());
  ASSERT_GT(calls, 10);
  int plain = 0;
  for (int i = 0; i < kills && !HasFailure(); ++i) {
    // The short form has a few of the calls, the long one each of them many times.
    const int number = isLongForm() ? i % calls : i * calls / kills;
    const bool isWithin = isLongForm() ? i / calls % 2 == 1 : i % 2 == 1;
    SCOPED_TRACE("call " + std::to_string(number + 1) + (isWithin ? ", within" : ", before"));
    const Victim victim({static_cast<std::size_t>(number) + 1,
                         isWithin ? static_cast<std::uint64_t>(chance.between(1, 1 << 20)) : 0});
    ASSERT_FALSE(victim.has(Kind::done));
    expectFirstFrames(victim.recording.path(), victim.recording.committed());
    const MovieForm form = checkMovieFile(victim.recording.path(), FileEnd::mayBeTorn).form;
    EXPECT_EQ(form, victim.has(Kind::switched) ? MovieForm::plain : MovieForm::fragmented);
    plain += form == MovieForm::plain ? 1 : 0;
  }
  EXPECT_GT(plain, 0);
  EXPECT_LT(plain, kills);
  report("SIGKILL at and within each of the " + std::to_string(calls) +
         " calls on the disk of a finish | " + std::to_string(kills) +
         " kills | no committed frame; " + std::to_string(kills - plain) + " left fragmented, " +
         std::to_string(plain) + " final");
}

// ---- repair --------------------------------------------------------------------------------

/// A recording whose last fragment is whole and was not published any more.
Bytes brokenRecording() {
  const Victim whole(Moment{});
  std::size_t publication = 0;
  bool isFinishing = false;
  for (const Message& message : whole.recording.child.messages()) {
    isFinishing |= message.kind == Kind::finishing;
    if (isFinishing && message.kind == Kind::committed) break;
    publication += message.kind == Kind::diskCall ? 1 : 0;
  }
  return readWholeFile(Victim({publication, 0}).recording.path());
}

/// A process that repairs and dies when told.
struct RepairVictim {
  RepairVictim(const Bytes& broken, Moment moment) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(broken.data()),
               static_cast<std::streamsize>(broken.size()));
    Child child([&](const Teller& teller) {
      Killer killer(teller, moment);
      killer.arm();
      const FaultDisk disk(folder.path(), withoutWaiting(std::ref(killer)));
      teller.tell(Kind::done, VXRecordingRepair::repairRecordingAtPath(path).has_value());
    });
    while (const auto message = child.next()) calls += message->kind == Kind::diskCall ? 1 : 0;
    isDone = child.hasTold(Kind::done);
  }

  TemporaryFolder folder;
  std::string path = folder / "broken.mp4";
  int calls = 0;
  bool isDone = false;
};

TEST(KilledInTheRepair, AtWhicheverCallLosesNothingAndCanBeRunAgain) {
  Chance chance;
  const int kills = rounds(3, 100);
  const Bytes broken = brokenRecording();
  const int calls = RepairVictim(broken, Moment{}).calls;
  ASSERT_GT(calls, 5);
  for (int i = 0; i < kills && !HasFailure(); ++i) {
    const int number = isLongForm() ? i % calls : 1 + i * calls / kills;
    const bool isWithin = isLongForm() ? i / calls % 2 == 1 : i % 2 == 1;
    SCOPED_TRACE("call " + std::to_string(number + 1) + (isWithin ? ", within" : ", before"));
    const RepairVictim victim(
        broken, {static_cast<std::size_t>(number) + 1,
                 isWithin ? static_cast<std::uint64_t>(chance.between(1, 1 << 20)) : 0});
    ASSERT_FALSE(victim.isDone);
    expectFirstFrames(victim.path, 1);
    ASSERT_TRUE(VXRecordingRepair::repairRecordingAtPath(victim.path).has_value());
    EXPECT_EQ(expectFirstFrames(victim.path, kFrames), kFrames);
    EXPECT_EQ(checkMovieFile(victim.path).form, MovieForm::plain);
  }
  report("SIGKILL at and within each of the " + std::to_string(calls) +
         " calls on the disk of a repair | " + std::to_string(kills) +
         " kills | nothing: it reads as before, and the next repair completes it");
}

}  // namespace
}  // namespace vx::test
