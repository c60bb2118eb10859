#include "movie_fixture.h"

#include <gtest/gtest.h>

namespace vx::mp4::test {
namespace {

using vx::test::Decode;
using vx::test::readBoxes;
using vx::test::readMovie;
using vx::test::readWholeFile;

class RecordingFileTest : public testing::Test {
 protected:
  void begin(bool reserveAudio = false) {
    ASSERT_TRUE(RecordingFile::create(path, file).ok());
    ASSERT_TRUE(file->begin(videoTrack(smallSource(), 64, 48), reserveAudio).ok());
  }
  void appendPictures(std::size_t from, std::size_t count, std::int64_t startMs = 0) {
    for (std::size_t i = from; i < from + count; ++i)
      ASSERT_TRUE(
          file->appendVideo(picture(smallSource(), i, startMs + static_cast<std::int64_t>(i) * 40))
              .ok());
  }
  ReadMovie read() const { return readMovie(readWholeFile(path), Decode::strictly); }

  TemporaryFolder folder;
  std::string path = folder / "movie.mp4";
  std::unique_ptr<RecordingFile> file;
};

TEST_F(RecordingFileTest, IsAPlainMovieThatEndsWithTheSessionAfterFinish) {
  begin();
  appendPictures(0, 10);
  ASSERT_TRUE(file->commit().ok());
  appendPictures(10, 10);
  ASSERT_TRUE(file->finish(1000).ok());

  const Bytes bytes = readWholeFile(path);
  const BoxNode root = readBoxes(bytes);
  ASSERT_EQ(root.children.size(), 3u);
  EXPECT_EQ(root.children[0].type, "ftyp");
  EXPECT_EQ(root.children[1].type, "mdat");
  EXPECT_EQ(root.children[2].type, "moov");
  const ReadMovie movie = read();
  ASSERT_EQ(movie.streams.size(), 1u);
  EXPECT_EQ(movie.complaints, std::vector<std::string>());
  EXPECT_EQ(movie.video()->decodedFrames, 20u);
  EXPECT_EQ(movie.video()->duration, 1000);
}

TEST_F(RecordingFileTest, CanBePlayedAfterTheFirstCommit) {
  begin();
  appendPictures(0, 1);
  ASSERT_TRUE(file->commit().ok());
  const ReadMovie movie = read();
  ASSERT_TRUE(movie.isOpen);
  EXPECT_EQ(movie.complaints, std::vector<std::string>());
  EXPECT_EQ(movie.video()->decodedFrames, 1u);
}

TEST_F(RecordingFileTest, HoldsAudioThatWasDescribedLate) {
  begin(true);
  appendPictures(0, 10);
  ASSERT_TRUE(file->commit().ok());
  EXPECT_EQ(read().streams.size(), 1u);
  ASSERT_TRUE(file->declareAudio(audioTrack()).ok());
  for (int i = 0; i < 10; ++i) ASSERT_TRUE(file->appendAudio(sound(0)).ok());
  ASSERT_TRUE(file->commit().ok());
  EXPECT_EQ(read().complaints, std::vector<std::string>());
  ASSERT_EQ(read().streams.size(), 2u);
  EXPECT_EQ(read().audio()->packets.size(), 10u);
  ASSERT_TRUE(file->finish(400).ok());

  const ReadMovie movie = read();
  ASSERT_EQ(movie.streams.size(), 2u);
  EXPECT_EQ(movie.complaints, std::vector<std::string>());
  EXPECT_EQ(movie.audio()->packets.size(), 10u);
  EXPECT_EQ(movie.audio()->packets[9].time, 9 * 1024);
}

}  // namespace
}  // namespace vx::mp4::test
