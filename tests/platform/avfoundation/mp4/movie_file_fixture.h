// A recording over a file in memory, its samples in short words and its boxes at hand.
#pragma once

#include "journal_file.h"
#include "movie_fixture.h"
#include "platform/avfoundation/mp4/movie_file.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <vector>

namespace vx::mp4::test {

using namespace vx::test;

class MovieFileTest : public testing::Test {
 protected:
  void SetUp() override { begin(true); }

  void begin(bool reserveAudio) {
    *journal = Journal();
    file = std::make_unique<MovieFile>(std::make_unique<JournalFile>(journal));
    ASSERT_TRUE(file->begin(videoTrack(smallSource(), 64, 48), reserveAudio).ok());
  }
  void show(std::int64_t time, std::uint32_t duration = 1) {
    ASSERT_TRUE(file->appendVideo(picture(smallSource(), pictureCount++, time, duration)).ok());
  }
  void hear(std::int64_t time) { ASSERT_TRUE(file->appendAudio(sound(time)).ok()); }
  void describeSound(std::uint32_t trim = 0) {
    AudioTrackDescription audio = audioTrack();
    audio.trimAtStart = trim;
    ASSERT_TRUE(file->declareAudio(audio).ok());
  }
  void commit() { ASSERT_TRUE(file->commit().ok()); }
  void finish(std::optional<std::int64_t> end = std::nullopt) {
    ASSERT_TRUE(file->finish(end).ok());
    look();
  }
  void look() {
    bytes = journal->image();
    root = readBoxes(bytes);
  }
  const BoxNode& box(std::string_view path, std::size_t track = 0) const {
    const BoxNode* found = root.find("moov")->find("trak", track)->find(path);
    return *found;
  }
  std::vector<RunEntry> stts(std::size_t track = 0) const {
    return parse_stts(box("mdia/minf/stbl/stts", track));
  }
  std::vector<EditBox> edits(std::size_t track = 0) const {
    const BoxNode* elst = root.find("moov")->find("trak", track)->find("edts/elst");
    return elst == nullptr ? std::vector<EditBox>() : parse_elst(*elst);
  }
  MovieHeaderBox mvhd() const { return parse_mvhd(*root.find("moov/mvhd")); }
  const BoxNode* fragmentTrack(std::size_t fragment, std::size_t track = 0) const {
    return root.find("moof", fragment)->find("traf", track);
  }

  std::shared_ptr<Journal> journal = std::make_shared<Journal>();
  std::unique_ptr<MovieFile> file;
  std::size_t pictureCount = 0;
  Bytes bytes;
  BoxNode root;
};

}  // namespace vx::mp4::test
