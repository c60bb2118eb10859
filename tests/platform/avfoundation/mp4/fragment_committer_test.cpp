// In which order bytes reach the file, and what is left of them when a step fails.
#include "VXVideoRecorder/platform/AVFoundation.h"
#include "movie_file_fixture.h"
#include "platform/avfoundation/mp4/file_errors.h"
#include "platform/avfoundation/mp4/movie.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <new>

namespace vx::mp4::test {
namespace {

using Kind = JournalStep::Kind;
using testing::ElementsAre;

/// A step in a word: what it does, and where.
std::string word(const JournalStep& step) {
  const std::string place = std::to_string(step.offset);
  switch (step.kind) {
    case Kind::write:
      return "write " + std::to_string(step.bytes.size()) + " at " + place;
    case Kind::sync:
      return "sync";
    case Kind::syncFolder:
      return "sync folder";
    case Kind::reserve:
      return "reserve";
    case Kind::truncate:
      return "cut to " + place;
    case Kind::close:
      return "close";
  }
  return "?";
}

class CommitOrder : public MovieFileTest {
 protected:
  /// The steps from this one on, in words.
  std::vector<std::string> stepsFrom(std::size_t first) const {
    std::vector<std::string> words;
    for (std::size_t i = first; i < journal->steps.size(); ++i)
      words.push_back(word(journal->steps[i]));
    return words;
  }
  std::size_t stepCount() const { return journal->steps.size(); }
  std::uint64_t size() const { return journal->image().size(); }
  /// Of the `free` box of this size in another box.
  std::uint64_t offsetOfFree(std::string_view path, std::uint64_t sizeBytes) {
    look();
    for (const BoxNode& child : root.find(path)->children)
      if (child.type == "free" && child.sizeBytes == sizeBytes) return child.offset;
    ADD_FAILURE() << "none in " << path;
    return 0;
  }
  static std::string write(std::size_t bytes, std::uint64_t offset) {
    return "write " + std::to_string(bytes) + " at " + std::to_string(offset);
  }
};

TEST_F(CommitOrder, HeadIsDurableUnderItsName) {
  EXPECT_THAT(stepsFrom(0), ElementsAre(write(size(), 0), "sync", "sync folder"));
}

TEST_F(CommitOrder, FragmentIsDurableBeforeFourBytesPublishIt) {
  show(0);
  const std::uint64_t start = size();
  const std::size_t before = stepCount();
  commit();
  const std::size_t picture = smallSource().pictures[0].bytes.size();
  const std::size_t head = 108;  // the moof of one picture and the header of the mdat
  EXPECT_THAT(stepsFrom(before),
              ElementsAre("reserve", write(head, start), write(picture, start + head),
                          write(size() - start - head - picture, start + head + picture), "sync",
                          write(4, start + 4)));
}

TEST_F(CommitOrder, SoundIsDescribedWithItsDefaultsFirst) {
  const std::uint64_t trak = offsetOfFree("moov", kReservedTrakBytes);
  const std::uint64_t trex = offsetOfFree("moov/mvex", 32);
  describeSound();
  hear(0);
  const std::size_t before = stepCount();
  commit();
  std::vector<std::string> steps = stepsFrom(before);
  steps.resize(6);
  EXPECT_THAT(steps, ElementsAre(write(kReservedTrakBytes, trak), write(32, trex), "sync",
                                 write(4, trex + 4), "sync", write(4, trak + 4)));
}

TEST_F(CommitOrder, FinishIsDurableBeforeEightBytesMakeItCount) {
  show(0);
  commit();
  commit();  // durable, so that the finish has nothing to commit
  const std::size_t before = stepCount();
  finish(40);
  std::vector<std::string> steps = stepsFrom(before);
  steps.erase(steps.begin());  // the movie, and with it the header of the box around it
  EXPECT_THAT(steps, ElementsAre("cut to " + std::to_string(size()), write(8, 40), "sync",
                                 write(8, 32), "sync", "close"));
}

// ---- steps that fail -----------------------------------------------------------------------

Status brokenDisk() { return writingError(EIO, "movie.mp4"); }
Status fullDisk() { return writingError(ENOSPC, "movie.mp4"); }

TEST_F(CommitOrder, NothingIsPublishedBehindASyncThatFailedForWantOfRoom) {
  show(0);
  commit();
  show(40);
  journal->fault = [](const JournalStep& step) {
    return step.kind == Kind::sync ? fullDisk() : Status();
  };
  ASSERT_TRUE(isOutOfSpace(file->commit()));
  journal->fault = nullptr;
  const std::size_t before = stepCount();
  EXPECT_FALSE(file->finish(80).ok());
  for (const std::string& step : stepsFrom(before)) {
    EXPECT_THAT(step, testing::Not(testing::HasSubstr("write")));
  }
  EXPECT_EQ(readMovie(journal->image()).video()->packets.size(), 1u);
}

TEST_F(CommitOrder, IndexStaysWhenTheLastSyncFails) {
  show(0);
  commit();
  commit();
  bool isWritten = false;
  journal->fault = [&](const JournalStep& step) {
    const bool counts = step.kind == Kind::write && step.offset == kPlaceholderOffset;
    isWritten = isWritten || counts;
    return isWritten && step.kind == Kind::sync ? brokenDisk() : Status();
  };
  EXPECT_FALSE(file->finish(40).ok());
  look();
  ASSERT_EQ(root.children.size(), 3u);
  EXPECT_EQ(root.children[2].type, "moov");
}

TEST_F(CommitOrder, WhatWasWrittenHalfIsCutAwayBeforeAnythingElse) {
  show(0);
  commit();
  const std::uint64_t committed = size();
  bool isFull = true;
  journal->fault = [&](const JournalStep& step) {
    return isFull && step.kind == Kind::write && step.bytes.size() > 100 ? fullDisk() : Status();
  };
  show(40);
  ASSERT_TRUE(isOutOfSpace(file->commit()));
  isFull = false;
  const std::size_t before = stepCount();
  ASSERT_GT(size(), committed);
  ASSERT_TRUE(isOutOfSpace(file->finish(80)));
  EXPECT_EQ(stepsFrom(before).at(0), "cut to " + std::to_string(committed));
}

TEST_F(CommitOrder, HalfAnIndexIsCutAway) {
  show(0);
  commit();
  const std::uint64_t committed = size();
  journal->fault = [&](const JournalStep& step) {
    return step.kind == Kind::write && step.bytes.size() > 100 ? fullDisk() : Status();
  };
  ASSERT_TRUE(isOutOfSpace(file->finish(80)));
  EXPECT_EQ(size(), committed);
}

TEST_F(CommitOrder, FileWithoutAHeadIsRemovedAtOnce) {
  *journal = Journal();
  journal->fault = [](const JournalStep&) { return brokenDisk(); };
  file = std::make_unique<MovieFile>(std::make_unique<JournalFile>(journal));
  EXPECT_FALSE(file->begin(videoTrack(smallSource(), 64, 48), true).ok());
  EXPECT_FALSE(journal->isNamed);
}

TEST_F(CommitOrder, FileThatWasNeverBegunIsRemoved) {
  *journal = Journal();
  file = std::make_unique<MovieFile>(std::make_unique<JournalFile>(journal));
  EXPECT_TRUE(journal->isNamed);
  file.reset();
  EXPECT_FALSE(journal->isNamed);
}

TEST_F(CommitOrder, FileThatWasBegunKeepsItsName) {
  file.reset();
  EXPECT_TRUE(journal->isNamed);
}

TEST_F(CommitOrder, WantOfMemoryEndsTheRecordingWithItsLastPicture) {
  show(0, 10);
  commit();
  show(40, 10);
  journal->fault = [](const JournalStep& step) -> Status {
    if (step.kind == Kind::reserve) throw std::bad_alloc();
    return {};
  };
  const Status failed = file->commit();
  ASSERT_FALSE(failed.ok());
  EXPECT_EQ(failed.error().code(), AVErrorOutOfMemory);
  journal->fault = nullptr;
  EXPECT_FALSE(file->finish(100000).ok());
  look();
  EXPECT_EQ(stts(), (std::vector<RunEntry>{{1, 10}}));
}

TEST_F(CommitOrder, FirstPictureThatWasNeverCommittedLeavesNoTrace) {
  show(70);
  journal->fault = [](const JournalStep& step) {
    return step.kind == Kind::reserve ? fullDisk() : Status();
  };
  ASSERT_TRUE(isOutOfSpace(file->finish(100)));
  look();
  EXPECT_EQ(mvhd().duration, 0u);
  EXPECT_TRUE(edits().empty());
}

}  // namespace
}  // namespace vx::mp4::test
