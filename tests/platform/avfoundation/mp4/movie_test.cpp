// What the finished movie says of its tracks.
#include "platform/avfoundation/mp4/movie.h"

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "movie_file_fixture.h"

#include <chrono>
#include <ctime>
#include <limits>

namespace vx::mp4::test {
namespace {

using MovieTest = MovieFileTest;

TEST_F(MovieTest, SoundIsLoudAndPicturesAreNot) {
  show(0);
  describeSound();
  hear(0);
  finish();
  EXPECT_EQ(parse_tkhd(box("tkhd", 0)).volume, 0);
  EXPECT_EQ(parse_tkhd(box("tkhd", 1)).volume, 0x100);
}

TEST_F(MovieTest, TellsTheTimeOfDayItWasMade) {
  // ISO/IEC 14496-12, 8.2.2: since midnight of 1904-01-01
  const auto seconds = [](int year) {
    using namespace std::chrono;
    return sys_days(January / 1 / std::chrono::year(year)).time_since_epoch() /
           std::chrono::seconds(1);
  };
  const auto now = static_cast<std::uint64_t>(std::time(nullptr) - seconds(1904));
  finish();
  EXPECT_NEAR(static_cast<double>(mvhd().creationTime), static_cast<double>(now), 60);
  EXPECT_GE(mvhd().modificationTime, mvhd().creationTime);
}

TEST_F(MovieTest, SoundFromBeforeTheSessionIsNotHeard) {
  show(0);
  describeSound();
  for (int i = 0; i < 10; ++i) hear(-2400);
  commit();
  look();
  EXPECT_EQ(edits(1), (std::vector<EditBox>{{0, 2400, 0x10000}}));
  finish(1000);
  EXPECT_EQ(edits(1), (std::vector<EditBox>{{164, 2400, 0x10000}}));  // 7840 of 48000
}

TEST_F(MovieTest, SoundIsPlayedToTheLastPictureThatAClockPutBehindTheEnd) {
  show(0);
  show(600, 50);
  describeSound();
  for (int i = 0; i < 100; ++i) hear(0);
  finish(100);
  EXPECT_EQ(mvhd().duration, 650u);
  EXPECT_EQ(edits(1), (std::vector<EditBox>{{650, 0, 0x10000}}));
}

TEST_F(MovieTest, RoomForTheIndexIsEnoughForAShortOne) {
  SampleIndex video;
  const SampleIndex audio;
  video.appendSample({100, 0, true});
  video.appendChunk({2000, 1});
  show(0);
  finish(40);
  EXPECT_GE(movieBytesAtMost(video, audio), root.find("moov")->sizeBytes + 8);
}

TEST_F(MovieTest, TakesSidesOf16Bits) {
  for (const auto& [width, height] : {std::pair{65536u, 1u}, {1u, 65536u}}) {
    *journal = Journal();
    MovieFile refused(std::make_unique<JournalFile>(journal));
    const Status status = refused.begin(videoTrack(smallSource(), width, height), false);
    ASSERT_FALSE(status.ok());
    EXPECT_EQ(status.error().code(), AVErrorInvalidSourceMedia);
    EXPECT_TRUE(journal->steps.empty());
  }
  *journal = Journal();
  MovieFile taken(std::make_unique<JournalFile>(journal));
  EXPECT_TRUE(taken.begin(videoTrack(smallSource(), 65535, 65535), false).ok());
}

TEST_F(MovieTest, SoundThatWasDeclaredCanAlwaysBeDescribed) {
  // Around the longest configuration that has room, with all that may stand beside it.
  std::size_t taken = 0;
  for (std::size_t size = 250; size < 600; ++size) {
    begin(true);
    AudioTrackDescription audio = audioTrack();
    audio.audioSpecificConfig.resize(size);
    if (!file->declareAudio(audio).ok()) continue;
    ++taken;
    show(0);
    hear(-1);
    ASSERT_TRUE(file->commit().ok()) << size;
  }
  EXPECT_GT(taken, 10u);
  EXPECT_LT(taken, 350u);
}

TEST_F(MovieTest, TransformThatIsNoNumberIsNone) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  const Matrix matrix = displayMatrix({kNone, 0, 0, 1, kNone, 0}, 640, 480);
  EXPECT_EQ(matrix[0], 0);
  EXPECT_EQ(matrix[6], 0);
  EXPECT_EQ(matrix[4], 0x10000);
}

TEST_F(MovieTest, ParameterSetsThatAreTooLongAreRefused) {
  *journal = Journal();
  MovieFile refused(std::make_unique<JournalFile>(journal));
  VideoTrackDescription video = videoTrack(smallSource(), 64, 48);
  video.parameterSets.pps.resize(65536);
  EXPECT_FALSE(refused.begin(video, false).ok());
  EXPECT_TRUE(journal->steps.empty());
}

}  // namespace
}  // namespace vx::mp4::test
