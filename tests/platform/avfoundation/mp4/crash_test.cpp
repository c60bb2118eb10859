// The file as crashes and power cuts leave it, read by libavformat.
#include "journal_file.h"
#include "movie_fixture.h"
#include "platform/avfoundation/mp4/movie_file.h"

#include <gtest/gtest.h>

namespace vx::mp4::test {
namespace {

using vx::test::Decode;
using vx::test::readMovie;

/// A small recording whose steps are known, with the number of pictures and sounds that were
/// committed when each step began.
struct RecordedSteps {
  std::shared_ptr<Journal> journal = std::make_shared<Journal>();
  struct Mark {
    std::size_t firstStep;
    std::size_t pictures;
    std::size_t sounds;
  };
  std::vector<Mark> marks;
  std::size_t headSteps = 0;

  void mark(std::size_t pictures, std::size_t sounds) {
    marks.push_back({journal->steps.size(), pictures, sounds});
  }
  const Mark& markAt(std::size_t stepCount) const {
    const Mark* found = &marks.front();
    for (const Mark& mark : marks)
      if (mark.firstStep <= stepCount) found = &mark;
    return *found;
  }
};

// Two fragments of pictures, audio described in between, one more of both, and the finish.
RecordedSteps recordSteps() {
  RecordedSteps recorded;
  MovieFile file(std::make_unique<JournalFile>(recorded.journal));
  EXPECT_TRUE(file.begin(videoTrack(smallSource(), 64, 48), true).ok());
  recorded.headSteps = recorded.journal->steps.size();
  recorded.mark(0, 0);
  std::size_t pictures = 0;
  std::size_t sounds = 0;
  for (int fragment = 0; fragment < 3; ++fragment) {
    for (int i = 0; i < 3; ++i, ++pictures)
      EXPECT_TRUE(file.appendVideo(picture(smallSource(), pictures,
                                           static_cast<std::int64_t>(pictures) * 40, 40))
                      .ok());
    if (fragment == 1) {
      EXPECT_TRUE(file.declareAudio(audioTrack()).ok());
    }
    for (int i = 0; fragment >= 1 && i < 4; ++i, ++sounds)
      EXPECT_TRUE(file.appendAudio(sound(0)).ok());
    EXPECT_TRUE(file.commit().ok());
    recorded.mark(pictures, sounds);
  }
  EXPECT_TRUE(file.finish(360).ok());
  return recorded;
}

const RecordedSteps& steps() {
  static const RecordedSteps recorded = recordSteps();
  return recorded;
}

std::size_t packetCount(const vx::test::ReadStream* stream) {
  return stream == nullptr ? 0 : stream->packets.size();
}

void expectReadable(const Bytes& image, std::size_t pictures, std::size_t sounds,
                    const std::string& where, Decode decode = Decode::no) {
  SCOPED_TRACE(where);
  const ReadMovie movie = readMovie(image, decode);
  ASSERT_TRUE(movie.isOpen);
  EXPECT_EQ(movie.complaints, std::vector<std::string>());
  EXPECT_EQ(packetCount(movie.video()), pictures);
  EXPECT_EQ(packetCount(movie.audio()), sounds);
}

TEST(Crash, LeavesEveryCommittedSampleAfterEachStep) {
  const std::size_t count = steps().journal->steps.size();
  for (std::size_t n = steps().headSteps; n <= count; ++n) {
    const auto& mark = steps().markAt(n);
    expectReadable(steps().journal->image(n), mark.pictures, mark.sounds,
                   "after step " + std::to_string(n), Decode::strictly);
  }
}

TEST(Crash, LeavesEveryCommittedSampleWhenAWriteIsCutAtAnyByte) {
  const auto& all = steps().journal->steps;
  for (std::size_t n = steps().headSteps; n < all.size(); ++n) {
    const JournalStep& step = all[n];
    // The writes that count are too short for a disk to cut.
    if (step.kind != JournalStep::Kind::write || step.bytes.size() <= 16) continue;
    const auto& mark = steps().markAt(n);
    const Bytes before = steps().journal->image(n);
    for (std::size_t cut = 0; cut <= step.bytes.size(); ++cut) {
      Bytes image = before;
      apply({step.kind, step.offset, Bytes(step.bytes.begin(), step.bytes.begin() + cut)}, image);
      expectReadable(image, mark.pictures, mark.sounds,
                     "step " + std::to_string(n) + " cut at byte " + std::to_string(cut));
      if (testing::Test::HasFailure()) return;
    }
  }
}

// What the last sync before step n made durable.
std::size_t durableSteps(std::size_t n) {
  while (n > 0 && steps().journal->steps[n - 1].kind != JournalStep::Kind::sync) --n;
  return n;
}

TEST(Crash, LosesAtMostTheLastFragmentWhenThePowerFails) {
  const std::size_t count = steps().journal->steps.size();
  for (std::size_t n = steps().headSteps; n <= count; ++n) {
    const std::size_t durable = durableSteps(n);
    const std::size_t recent = n - durable;
    ASSERT_LE(recent, 16u);
    // Any of the writes since the last sync may have reached the disk, in any combination.
    for (std::size_t lost = 0; lost < std::size_t{1} << recent; ++lost) {
      const Bytes image = steps().journal->image(
          n, [&](std::size_t i) { return i >= durable && (lost >> (i - durable) & 1) != 0; });
      const ReadMovie movie = readMovie(image);
      SCOPED_TRACE("after step " + std::to_string(n) + " without " + std::to_string(lost));
      ASSERT_TRUE(movie.isOpen);
      EXPECT_EQ(movie.complaints, std::vector<std::string>());
      EXPECT_GE(packetCount(movie.video()), steps().markAt(durable - 1).pictures);
      EXPECT_LE(packetCount(movie.video()), steps().markAt(n).pictures);
      if (testing::Test::HasFailure()) return;
    }
  }
}

// The number of steps before the last write in front of step `end`.
std::size_t beforeLastWrite(std::size_t end) {
  while (steps().journal->steps[end - 1].kind != JournalStep::Kind::write) --end;
  return end - 1;
}

void expectReadableWhenCut(const Bytes& whole, std::size_t from, std::size_t pictures,
                           std::size_t sounds) {
  for (std::size_t size = from; size <= whole.size() && !testing::Test::HasFailure(); ++size)
    expectReadable(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)),
                   pictures, sounds, "cut at byte " + std::to_string(size));
}

TEST(Crash, LeavesAReadableFileWhenItIsCutAtAnyByteOfTheLastFragment) {
  const auto& before = steps().marks[2];
  const Bytes committed = steps().journal->image(before.firstStep);
  const std::size_t publication = beforeLastWrite(steps().marks[3].firstStep);
  expectReadableWhenCut(steps().journal->image(publication), committed.size(), before.pictures,
                        before.sounds);
}

TEST(Crash, LeavesAReadableFileWhenItIsCutAtAnyByteOfTheFinish) {
  const auto& before = steps().marks.back();
  const Bytes committed = steps().journal->image(before.firstStep);
  const std::size_t publication = beforeLastWrite(steps().journal->steps.size());
  expectReadableWhenCut(steps().journal->image(publication), committed.size(), before.pictures,
                        before.sounds);
}

TEST(Crash, FindsEveryPublishingWriteWithinOneSector) {
  for (const JournalStep& step : steps().journal->steps) {
    if (step.kind != JournalStep::Kind::write || step.bytes.size() > 16 || step.offset < 32)
      continue;
    EXPECT_EQ(step.offset / 512, (step.offset + step.bytes.size() - 1) / 512);
  }
}

}  // namespace
}  // namespace vx::mp4::test
