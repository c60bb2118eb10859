// The box tree of a small file as text: what a change does to the format shows here at a glance.
#include "journal_file.h"
#include "movie_fixture.h"
#include "platform/avfoundation/mp4/movie_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace vx::mp4::test {
namespace {

std::string golden(const std::string& name) {
  std::ifstream stream(std::string(VX_GOLDEN_FOLDER) + "/" + name);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

/// What differs is left in a file of its own, so that a change that is meant takes one command.
void expectTree(const Journal& journal, const std::string& name) {
  const Bytes bytes = journal.image();
  const std::string tree = dumpBoxes(vx::test::readBoxes(bytes));
  const std::string described = golden(name);
  if (tree == described) {
    return;
  }
  const std::string found = testing::TempDir() + "vx-found-" + name;
  std::ofstream(found) << tree;
  EXPECT_EQ(described, tree) << "if the file is to be so: cp " << found << " " << VX_GOLDEN_FOLDER
                             << "/" << name << ", and tell it in docs/file-format.md";
}

/// A turned picture of odd size, three pictures in two fragments, trimmed sound from 250 ms on.
class BoxTreeTest : public testing::Test {
 protected:
  void SetUp() override {
    VideoTrackDescription video;
    video.width = 641;
    video.height = 481;
    video.transform = {0, 1, -1, 0, 0, 0};
    video.parameterSets = {{0x67, 66, 0xC0, 30, 0xDA}, {0x68, 0xCE, 0x3C, 0x80}};
    ASSERT_TRUE(file.begin(video, true).ok());
  }
  void show(std::int64_t time, std::size_t sizeBytes, bool isKeyFrame) {
    ASSERT_TRUE(file.appendVideo({Bytes(sizeBytes), time, 10, isKeyFrame}).ok());
  }
  void recordFragments() {
    show(40, 100, true);
    show(80, 33, false);
    ASSERT_TRUE(file.commit().ok());
    AudioTrackDescription audio = audioTrack();
    audio.trimAtStart = 480;
    ASSERT_TRUE(file.declareAudio(audio).ok());
    ASSERT_TRUE(file.appendAudio(sound(12000)).ok());
    ASSERT_TRUE(file.appendAudio(sound(0)).ok());
    show(120, 50, true);
    ASSERT_TRUE(file.commit().ok());
  }

  std::shared_ptr<Journal> journal = std::make_shared<Journal>();
  MovieFile file{std::make_unique<JournalFile>(journal)};
};

TEST_F(BoxTreeTest, OfAHeadIsAsDescribed) { expectTree(*journal, "head.txt"); }

TEST_F(BoxTreeTest, OfAGrowingFileIsAsDescribed) {
  recordFragments();
  expectTree(*journal, "growing.txt");
}

TEST_F(BoxTreeTest, OfAFinishedFileIsAsDescribed) {
  recordFragments();
  ASSERT_TRUE(file.finish(500).ok());
  expectTree(*journal, "finished.txt");
}

}  // namespace
}  // namespace vx::mp4::test
