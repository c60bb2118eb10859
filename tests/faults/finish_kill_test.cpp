// A recording process is killed at each call on the disk of its finish, and within each write.
#include "faults/fault_disk.h"
#include "stress/form.h"
#include "stress/recording_child.h"
#include "support/movie_checker.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>

namespace vx::test {
namespace {

using Kind = Message::Kind;

constexpr int kFrames = 40;
constexpr std::uint64_t kPlaceholder = 32;  // where the write that makes the movie plain goes
constexpr std::uint64_t kTypeBytes = 4;     // of the write that publishes a fragment
constexpr std::uint64_t kHeaderBytes = 8;   // of the write that makes the movie plain

/// Where a process dies: before call `number` of the finish, or, with `chance`, within it when it
/// is a write that can be cut short.
struct Moment {
  std::size_t number = SIZE_MAX;
  std::uint64_t chance = 0;
};

/// Counts the calls of a finish, tells what they have done, and ends the process.
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

}  // namespace
}  // namespace vx::test
