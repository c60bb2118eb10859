// The movie that samples make, and what happens when the disk fails: over a file in memory.
#include "platform/avfoundation/mp4/movie_file.h"

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "movie_file_fixture.h"
#include "platform/avfoundation/mp4/file_errors.h"

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <cerrno>

namespace vx::mp4::test {
namespace {

constexpr std::int64_t kMax32 = 0xFFFFFFFF;

// ---- video times ---------------------------------------------------------------------------

TEST_F(MovieFileTest, SoundShorterThanItsTrimIsTrimmedToItsEnd) {
  show(0, 40);
  describeSound(4800);
  hear(0);
  finish();
  ASSERT_FALSE(edits(1).empty());
  EXPECT_EQ(edits(1).back().mediaTime, 1024);
  EXPECT_EQ(edits(1).back().segmentDuration, 0U);
}

TEST_F(MovieFileTest, StoresTheTimeToTheNextPicture) {
  for (std::int64_t time : {0, 0, 16, 33, 33, 50}) show(time, 999);
  finish(60);
  EXPECT_EQ(stts(), (std::vector<RunEntry>{{1, 0}, {1, 16}, {1, 17}, {1, 0}, {1, 17}, {1, 10}}));
  EXPECT_EQ(mvhd().duration, 60u);
}

TEST_F(MovieFileTest, LosesNoPictureAndLeavesNoHoleWhenTheClockStepsBack) {
  for (std::int64_t time : {0, 100, 50, 80, 120}) show(time);
  finish(130);
  EXPECT_EQ(stts(), (std::vector<RunEntry>{{1, 100}, {2, 0}, {1, 20}, {1, 10}}));
}

TEST_F(MovieFileTest, StoresDurationsUpToAllOf32Bits) {
  show(0);
  show(kMax32);
  commit();
  show(kMax32 + kMax32);
  finish(kMax32 * 3);
  EXPECT_EQ(stts(), (std::vector<RunEntry>{{3, 0xFFFFFFFF}}));
  EXPECT_EQ(mvhd().duration, static_cast<std::uint64_t>(kMax32 * 3));
  EXPECT_EQ(parse_mdhd(box("mdia/mdhd")).duration, static_cast<std::uint64_t>(kMax32 * 3));
  const ReadMovie movie = readMovie(bytes, Decode::strictly);
  EXPECT_EQ(movie.complaints, std::vector<std::string>());
  EXPECT_EQ(movie.video()->packets.at(2).time, kMax32 * 2);
}

TEST_F(MovieFileTest, RefusesAPictureThatNoFragmentHoldsAndGoesOn) {
  constexpr std::size_t kMost = std::size_t{1} << 30;
  // Looked at by nobody: its size alone decides.
  void* unread =
      ::mmap(nullptr, kMost + 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(unread, MAP_FAILED);
  const Status status =
      file->appendVideo({{static_cast<const std::uint8_t*>(unread), kMost + 1}, 0, 40, true});
  ::munmap(unread, kMost + 1);
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(status.error().code(), AVErrorInvalidSourceMedia);
  show(0, 40);
  finish();
  EXPECT_EQ(stts(), (std::vector<RunEntry>{{1, 40}}));
}

TEST_F(MovieFileTest, PutsALateFirstPictureBehindAnEmptyEdit) {
  show(70);
  show(110);
  finish(150);
  EXPECT_EQ(edits(), (std::vector<EditBox>{{70, -1, 0x10000}, {80, 0, 0x10000}}));
  EXPECT_EQ(mvhd().duration, 150u);
  EXPECT_EQ(readMovie(bytes).video()->packets.at(0).time, 70);
}

TEST_F(MovieFileTest, NeedsNoEditForAPictureAtZero) {
  show(-5);
  finish(10);
  EXPECT_TRUE(edits().empty());
}

TEST_F(MovieFileTest, WritesNoWrappedDurationIntoAFragment) {
  show(0, 0xFFFFFFF0);
  commit();
  show(10, 5);
  show(10 + (std::int64_t{1} << 31), 7);
  commit();
  look();
  EXPECT_EQ(parse_trun(*fragmentTrack(0)->find("trun")).samples.at(0).duration, 0u);
  EXPECT_EQ(parse_trun(*fragmentTrack(1)->find("trun")).samples.at(0).duration, 5u);
  EXPECT_EQ(parse_tfdt(*fragmentTrack(2)->find("tfdt")), 10u + (1u << 31));
}

TEST_F(MovieFileTest, StartsEveryFragmentAtItsRealTime) {
  show(0, 500);
  commit();
  show(40);
  commit();
  look();
  EXPECT_EQ(parse_tfdt(*fragmentTrack(1)->find("tfdt")), 40u);
  EXPECT_EQ(readMovie(bytes).video()->packets.at(1).time, 40);
}

// ---- audio ---------------------------------------------------------------------------------

TEST_F(MovieFileTest, PlaysSoundsOfTimeZeroBackToBack) {
  show(0);
  describeSound();
  for (int i = 0; i < 5; ++i) hear(0);
  finish(200);
  EXPECT_EQ(stts(1), (std::vector<RunEntry>{{5, 1024}}));
  EXPECT_TRUE(edits(1).empty());
}

TEST_F(MovieFileTest, LeavesAGapBeforeALaterSound) {
  show(0);
  describeSound();
  for (std::int64_t time : {0, 1024, 4096}) hear(time);
  commit();
  hear(9000);
  finish(1000);
  EXPECT_EQ(stts(1), (std::vector<RunEntry>{{1, 1024}, {1, 3072}, {1, 4904}, {1, 1024}}));
}

TEST_F(MovieFileTest, LeavesSilenceWhereTheSoundIsTrimmedAndTheRestInStep) {
  show(0);
  describeSound(2112);
  for (int i = 0; i < 10; ++i) hear(0);
  commit();
  look();
  EXPECT_EQ(edits(1), (std::vector<EditBox>{{44, -1, 0x10000}, {0, 2112, 0x10000}}));
  EXPECT_EQ(readMovie(bytes).complaints, std::vector<std::string>());
  finish(1000);
  EXPECT_EQ(edits(1), (std::vector<EditBox>{{44, -1, 0x10000}, {170, 2112, 0x10000}}));
  const ReadMovie movie = readMovie(bytes, Decode::strictly);
  EXPECT_EQ(movie.complaints, std::vector<std::string>());
  EXPECT_EQ(movie.audio()->packets.back().time, 9 * 1024);
}

TEST_F(MovieFileTest, StartsALateSoundBehindAnEmptyEditInBothLives) {
  show(0, 1000);
  describeSound();
  hear(24000);
  commit();
  look();
  EXPECT_EQ(edits(1), (std::vector<EditBox>{{500, -1, 0x10000}, {0, 0, 0x10000}}));
  EXPECT_EQ(readMovie(bytes).audio()->packets.at(0).time, 24000);
  finish(1000);
  EXPECT_EQ(edits(1), (std::vector<EditBox>{{500, -1, 0x10000}, {22, 0, 0x10000}}));
  EXPECT_EQ(readMovie(bytes).audio()->packets.at(0).time, 24000);
}

TEST_F(MovieFileTest, EndsTheSoundWithTheSession) {
  show(0);
  describeSound();
  for (int i = 0; i < 100; ++i) hear(0);
  finish(500);
  EXPECT_EQ(edits(1), (std::vector<EditBox>{{500, 0, 0x10000}}));
  EXPECT_EQ(mvhd().duration, 500u);
  EXPECT_EQ(readMovie(bytes).durationMs, 500);
}

TEST_F(MovieFileTest, HasNoAudioTrackWithoutASound) {
  show(0);
  describeSound();
  commit();
  look();
  EXPECT_EQ(root.find("moov/trak", 1), nullptr);
  finish(40);
  EXPECT_EQ(root.find("moov")->find("trak", 1), nullptr);
}

TEST_F(MovieFileTest, TellsTheSoundsAverageBitRate) {
  show(0);
  describeSound();
  for (int i = 0; i < 375; ++i) hear(0);  // 8 s
  finish(8000);
  const auto stream = parse_esds(box("mdia/minf/stbl/stsd/mp4a/esds", 1));
  EXPECT_EQ(stream.averageBitRate, 375u * kSilentAac.size());
}

TEST_F(MovieFileTest, RefusesASoundTrackWithoutRoomAndGoesOn) {
  begin(false);
  EXPECT_FALSE(file->declareAudio(audioTrack()).ok());
  EXPECT_FALSE(file->appendAudio(sound(0)).ok());
  show(0);
  finish(40);
  EXPECT_EQ(stts(), (std::vector<RunEntry>{{1, 40}}));
}

TEST_F(MovieFileTest, RefusesAConfigurationLongerThanItsRoom) {
  AudioTrackDescription audio = audioTrack();
  audio.audioSpecificConfig.resize(1024);
  EXPECT_FALSE(file->declareAudio(audio).ok());
  show(0);
  finish(40);
}

TEST_F(MovieFileTest, RefusesASoundWithoutARateOrChannelsAndGoesOn) {
  AudioTrackDescription withoutRate = audioTrack();
  withoutRate.sampleRate = 0;
  AudioTrackDescription withoutChannels = audioTrack();
  withoutChannels.channels = 0;
  for (const AudioTrackDescription& audio : {withoutRate, withoutChannels}) {
    const Status status = file->declareAudio(audio);
    ASSERT_FALSE(status.ok());
    EXPECT_EQ(status.error().code(), AVErrorInvalidSourceMedia);
  }
  describeSound();
  hear(0);
  show(0);
  finish(40);
  EXPECT_EQ(stts(1), (std::vector<RunEntry>{{1, 1024}}));
}

// ---- both ----------------------------------------------------------------------------------

TEST_F(MovieFileTest, PointsEveryTrackToItsOwnBytes) {
  describeSound();
  for (int fragment = 0; fragment < 3; ++fragment) {
    show(fragment * 100);
    show(fragment * 100 + 50);
    hear(0);
    hear(0);
    commit();
  }
  finish(300);
  const ReadMovie movie = readMovie(bytes, Decode::strictly);
  EXPECT_EQ(movie.complaints, std::vector<std::string>());
  ASSERT_EQ(movie.video()->packets.size(), 6u);
  ASSERT_EQ(movie.audio()->packets.size(), 6u);
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(movie.video()->packets[i].bytes, smallSource().pictures[i].bytes);
    EXPECT_EQ(movie.audio()->packets[i].bytes, kSilentAac);
  }
}

TEST_F(MovieFileTest, CommitsSoundAloneAndPicturesAlone) {
  show(0);
  commit();
  describeSound();
  hear(0);
  commit();
  look();
  EXPECT_EQ(parse_tfhd(*fragmentTrack(0)->find("tfhd")).trackId, 1u);
  EXPECT_EQ(parse_tfhd(*fragmentTrack(1)->find("tfhd")).trackId, 2u);
  EXPECT_EQ(fragmentTrack(1, 1), nullptr);
}

TEST_F(MovieFileTest, IsAWellFormedMovieWithoutASample) {
  finish(1000);
  ASSERT_EQ(root.children.size(), 3u);
  EXPECT_EQ(root.children[1].type, "mdat");
  EXPECT_EQ(mvhd().duration, 0u);
  EXPECT_TRUE(stts().empty());
  const ReadMovie movie = readMovie(bytes);
  EXPECT_TRUE(movie.isOpen);
  EXPECT_TRUE(movie.video()->packets.empty());
}

TEST_F(MovieFileTest, StoresTheTurnOfThePicture) {
  *journal = Journal();
  file = std::make_unique<MovieFile>(std::make_unique<JournalFile>(journal));
  VideoTrackDescription video = videoTrack(smallSource(), 63, 47);
  video.transform = {0, 1, -1, 0, 0, 0};
  ASSERT_TRUE(file->begin(video, false).ok());
  show(0);
  finish(40);
  const TrackHeaderBox header = parse_tkhd(box("tkhd"));
  EXPECT_EQ(header.width, 63u << 16);
  EXPECT_EQ(header.height, 47u << 16);
  EXPECT_EQ(header.matrix[6], 47 << 16);
}

TEST_F(MovieFileTest, IsAlignedToEightBytes) {
  show(0);
  commit();
  show(1);
  commit();
  look();
  for (const BoxNode& child : root.children)
    if (child.type == "moof" || child.type == "moov") {
      EXPECT_EQ(child.offset % 8, 0u);
    }
  EXPECT_EQ(bytes.size() % 8, 0u);
}

TEST_F(MovieFileTest, MakesTheLastFragmentDurableWhenNothingIsNew) {
  show(0);
  commit();
  const std::size_t steps = journal->steps.size();
  commit();
  ASSERT_EQ(journal->steps.size(), steps + 1);
  EXPECT_EQ(journal->steps.back().kind, JournalStep::Kind::sync);
  commit();
  EXPECT_EQ(journal->steps.size(), steps + 1);
}

TEST_F(MovieFileTest, LeavesWhatWasCommittedWhenItIsLetGo) {
  show(0);
  commit();
  show(40);
  file.reset();
  const ReadMovie movie = readMovie(journal->image(), Decode::strictly);
  EXPECT_EQ(movie.complaints, std::vector<std::string>());
  EXPECT_EQ(movie.video()->packets.size(), 1u);
}

TEST_F(MovieFileTest, ReportsAFileThatWasRemoved) {
  show(0);
  journal->isNamed = false;
  EXPECT_FALSE(file->finish(40).ok());
}

// ---- a disk that fails ---------------------------------------------------------------------

using Kind = JournalStep::Kind;

Status full() { return writingError(ENOSPC, "movie.mp4"); }

TEST_F(MovieFileTest, EndsAtTheLastCommitWhenThereIsNoRoomForAFragment) {
  show(0, 10);
  show(40, 10);
  commit();
  journal->fault = [](const JournalStep& step) {
    return step.kind == Kind::reserve ? full() : Status();
  };
  show(80);
  const Status first = file->commit();
  ASSERT_TRUE(isOutOfSpace(first));
  EXPECT_FALSE(file->hasUncommittedSamples());
  EXPECT_FALSE(file->appendVideo(picture(smallSource(), 3, 120)).ok());
  const Status last = file->finish(100000);
  ASSERT_TRUE(isOutOfSpace(last));
  EXPECT_EQ(last.error(), first.error());

  look();
  ASSERT_EQ(root.children.size(), 3u);
  EXPECT_EQ(stts(), (std::vector<RunEntry>{{1, 40}, {1, 10}}));
  EXPECT_EQ(readMovie(bytes, Decode::strictly).complaints, std::vector<std::string>());
}

TEST_F(MovieFileTest, CutsAwayAFragmentThatWasWrittenHalfAndFinishes) {
  show(0);
  commit();
  bool isFull = true;
  journal->fault = [&](const JournalStep& step) {
    return isFull && step.kind == Kind::write && step.bytes.size() > 100 ? full() : Status();
  };
  show(40);
  ASSERT_TRUE(isOutOfSpace(file->commit()));
  isFull = false;
  ASSERT_TRUE(isOutOfSpace(file->finish(80)));
  look();
  ASSERT_EQ(root.children.size(), 3u);
  EXPECT_EQ(stts(), (std::vector<RunEntry>{{1, 1}}));
}

TEST_F(MovieFileTest, StaysAFragmentedMovieWhenThereIsNoRoomForTheIndex) {
  show(0);
  show(40);
  commit();
  journal->fault = [&](const JournalStep& step) {
    return step.kind == Kind::write && step.bytes.size() > 100 ? full() : Status();
  };
  ASSERT_TRUE(isOutOfSpace(file->finish(80)));
  look();
  EXPECT_NE(root.find("moof"), nullptr);
  const ReadMovie movie = readMovie(bytes, Decode::strictly);
  EXPECT_EQ(movie.complaints, std::vector<std::string>());
  EXPECT_EQ(movie.video()->packets.size(), 2u);
}

TEST_F(MovieFileTest, PublishesNothingMoreAfterTheDiskFailed) {
  show(0);
  commit();
  show(40);
  const std::size_t steps = journal->steps.size();
  journal->fault = [&](const JournalStep& step) {
    return step.kind == Kind::sync ? writingError(EIO, "movie.mp4") : Status();
  };
  const Status first = file->commit();
  ASSERT_FALSE(first.ok());
  EXPECT_FALSE(isOutOfSpace(first));
  journal->fault = nullptr;
  EXPECT_FALSE(file->commit().ok());
  const Status last = file->finish(80);
  ASSERT_FALSE(last.ok());
  EXPECT_EQ(last.error(), first.error());
  for (std::size_t i = steps; i < journal->steps.size(); ++i) {
    EXPECT_NE(journal->steps[i].kind, Kind::sync);
    EXPECT_FALSE(journal->steps[i].kind == Kind::write && journal->steps[i].bytes.size() <= 16);
  }
  EXPECT_EQ(readMovie(journal->image()).video()->packets.size(), 1u);
}

TEST_F(MovieFileTest, ReservesRoomForTheIndexBehindEveryFragment) {
  std::uint64_t reserved = 0;
  for (int i = 0; i < 50; ++i) {
    for (int k = 0; k < 20; ++k) show(i * 100 + k);
    commit();
    for (const JournalStep& step : journal->steps)
      if (step.kind == Kind::reserve) reserved = step.offset;
  }
  const std::size_t before = journal->image().size();
  finish(5000);
  EXPECT_GT(bytes.size(), before);
  EXPECT_LE(bytes.size(), reserved);
}

TEST_F(MovieFileTest, CannotBeUsedBeforeItsBeginOrAfterItsEnd) {
  MovieFile unopened(std::make_unique<JournalFile>(journal));
  EXPECT_FALSE(unopened.commit().ok());
  EXPECT_FALSE(unopened.finish(std::nullopt).ok());
  finish(0);
  EXPECT_FALSE(file->appendVideo(picture(smallSource(), 0, 0)).ok());
  EXPECT_FALSE(file->finish(0).ok());
}

}  // namespace
}  // namespace vx::mp4::test
