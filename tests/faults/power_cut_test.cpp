// The power goes at any moment of a recording: what is left is replayed from the log of the disk.
#include "faults/power_cut.h"

#include "faults/scripted_recording.h"
#include "support/movie_reader.h"
#include "support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vx::test {
namespace {

using testing::IsEmpty;

/// A recording with the log of its disk, and what was committed after how many calls.
struct LoggedRecording {
  struct Mark {
    std::size_t calls;
    SampleCounts committed;
  };

  LoggedRecording() {
    TemporaryFolder folder;
    FaultDisk disk(folder.path(), withoutWaiting());
    outcome =
        makeRecording(folder / "movie.mp4", {.fragments = 8}, [&](const SampleCounts& counts) {
          marks.push_back({disk.callCount(), counts});
        });
    records = disk.records();
    EXPECT_TRUE(outcome.finished.ok());
  }

  /// What the last commit among the first `calls` calls has promised.
  SampleCounts committedAfter(std::size_t calls) const {
    SampleCounts counts;
    for (const Mark& mark : marks)
      if (mark.calls <= calls) counts = mark.committed;
    return counts;
  }

  RecordingOutcome outcome;
  std::vector<Mark> marks;
  std::vector<DiskRecord> records;
};

const LoggedRecording& recording() {
  static const LoggedRecording logged;
  return logged;
}

void expectOpenInFFmpeg(const Bytes& file) {
  const ReadMovie movie = readMovie(file, Decode::strictly);
  EXPECT_TRUE(movie.isOpen);
  EXPECT_THAT(movie.complaints, IsEmpty());
}

class PowerCutAtAnyMoment : public testing::TestWithParam<std::size_t> {};

// What is published becomes durable with the next synchronisation, so a power cut costs the last
// fragment and what was not committed yet, and nothing else.
TEST_P(PowerCutAtAnyMoment, LosesAtMostTheLastFragment) {
  const PowerCut cut(recording().records, GetParam());
  Chance chance;
  const std::size_t head = recording().marks.front().calls;
  const int states = rounds(150, 1000);
  for (int state = 0; state < states; ++state) {
    const auto calls = static_cast<std::size_t>(chance.between(
        static_cast<std::int64_t>(head), static_cast<std::int64_t>(cut.records().size())));
    SCOPED_TRACE("state " + std::to_string(state) + " after call " + std::to_string(calls));
    const Bytes file = cut.stateAfter(calls, chance);
    const SampleCounts promised = recording().committedAfter(cut.durableCalls(calls) - 1);
    EXPECT_THAT(whatIsWrong(file, promised, recording().committedAfter(calls + 1)), IsEmpty());
    expectOpenInFFmpeg(file);
    if (HasFailure()) return;
  }
  report("power cut at any call, blocks of " + std::to_string(GetParam()) + " B | " +
         std::to_string(states) + " states | nothing but the last fragment; all decode, none torn");
}

INSTANTIATE_TEST_SUITE_P(Blocks, PowerCutAtAnyMoment, testing::Values(512, 4096),
                         [](const auto& each) { return std::to_string(each.param); });

TEST(PowerCut, LeavesNothingToChanceWhatWasSynchronised) {
  const PowerCut cut(recording().records, 512);
  Chance chance;
  std::size_t calls = 0;
  while (cut.durableCalls(calls) != calls || calls < 10) ++calls;
  EXPECT_EQ(cut.stateAfter(calls, chance), cut.fileAfter(calls));
}

TEST(PowerCut, LosesWhatWasNot) {
  const PowerCut cut(recording().records, 512);
  Chance chance;
  std::size_t calls = cut.records().size();
  while (cut.records()[calls - 1].event.call != DiskCall::sync) --calls;
  --calls;  // before the last synchronisation, behind the write that makes the movie plain
  bool isPlainOnce = false;
  bool isFragmentedOnce = false;
  for (int i = 0; i < 100; ++i) {
    const MovieForm form = findMovie(cut.stateAfter(calls, chance)).form;
    isPlainOnce |= form == MovieForm::plain;
    isFragmentedOnce |= form == MovieForm::fragmented;
  }
  EXPECT_TRUE(isPlainOnce);
  EXPECT_TRUE(isFragmentedOnce);
}

// ---- every byte ----------------------------------------------------------------------------

/// The number of calls when the commit before the last two fragments was done.
std::size_t beforeTheLastTwoFragments() {
  return recording().marks[recording().marks.size() - 3].calls;
}

// A process that is killed in the middle of a write leaves its first bytes.
TEST(EveryByte, OfTheLastTwoFragmentsAndOfTheFinishLeavesWhatWasCommitted) {
  const PowerCut log(recording().records, 512);
  std::size_t states = 0;
  for (std::size_t i = beforeTheLastTwoFragments(); i < log.records().size(); ++i) {
    const DiskRecord& record = log.records()[i];
    const SampleCounts committed = recording().committedAfter(i);
    Bytes file = log.fileAfter(i);
    for (std::size_t bytes = 0; bytes < record.bytes.size(); ++bytes, ++states) {
      SCOPED_TRACE("call " + std::to_string(i) + ", byte " + std::to_string(bytes));
      const ReadMovie movie = readMovie(file);
      ASSERT_TRUE(movie.isOpen);
      EXPECT_THAT(movie.complaints, IsEmpty());
      EXPECT_EQ(movie.video()->packets.size(), committed.pictures);
      // While a box's type is being written, byte by byte, it is of a kind that nobody knows.
      if (bytes == 0 || record.bytes.size() > 8) {
        EXPECT_THAT(whatIsWrong(file, committed, committed), IsEmpty());
      }
      if (HasFailure()) return;
      DiskRecord next = record;
      next.bytes.resize(bytes + 1);
      replay(next, file);
    }
  }
  report("every byte prefix of the last two fragments and of the finish | " +
         std::to_string(states) + " states | all open, no committed frame lost");
}

}  // namespace
}  // namespace vx::test
