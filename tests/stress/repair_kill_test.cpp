// A repair is killed at any moment; the recording reads as before, and the next repair completes
// it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "VXVideoRecorder/VXRecordingRepair.h"
#include "platform/avfoundation/mp4/memory_file.h"
#include "platform/avfoundation/mp4/movie_file.h"
#include "stress/child.h"
#include "stress/form.h"
#include "support/h264_source.h"
#include "support/movie_checker.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

using Kind = Message::Kind;

constexpr std::size_t kPictures = 200000;
constexpr std::size_t kPicturesPerFragment = 2000;

/// A recording of many pictures that was broken off while it wrote the last fragment.
Bytes crashedRecording() {
  const H264Source source = makeH264(16, 16, 30, 10);
  mp4::VideoTrackDescription video;
  video.width = 16;
  video.height = 16;
  video.parameterSets = {source.sps, source.pps};
  Bytes bytes;
  mp4::MovieFile file(std::make_unique<mp4::test::MemoryOutput>(bytes));
  EXPECT_TRUE(file.begin(video, false).ok());
  for (std::size_t i = 0; i < kPictures; ++i) {
    const H264Source::Picture& picture = source.pictures[i % source.pictures.size()];
    const auto time = static_cast<std::int64_t>(i * 17 + i % 2);
    const std::uint32_t duration = i % 2 == 0 ? 18 : 16;
    EXPECT_TRUE(file.appendVideo({picture.bytes, time, duration, picture.isKeyFrame}).ok());
    if (i % kPicturesPerFragment == kPicturesPerFragment - 1) {
      EXPECT_TRUE(file.commit().ok());
    }
  }
  Bytes crashed = bytes;
  crashed.resize(crashed.size() + 100000, 0);  // what a power cut leaves of a fragment
  return crashed;
}

void put(const std::string& path, const Bytes& bytes) {
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  stream.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

void expectAllPictures(const std::string& path, FileEnd end) {
  const CheckedMovie checked = checkMovieFile(path, end);
  EXPECT_THAT(checked.findings, testing::IsEmpty());
  ASSERT_NE(checked.video(), nullptr);
  EXPECT_EQ(checked.video()->samples.size(), kPictures);
}

TEST(KilledRepair, LosesNothingAndCanBeRunAgain) {
  Chance chance;
  const Bytes crashed = crashedRecording();
  const int kills = rounds(8, 100);
  std::int64_t longest = 200'000'000;
  int within = 0;
  int changed = 0;
  for (int tries = 0; within < kills && tries < 20 * kills && !HasFailure(); ++tries) {
    const TemporaryFolder folder;
    const std::string path = folder / "killed.mp4";
    put(path, crashed);
    Child child([&](const Teller& teller) {
      teller.tell(Kind::stopping, 0);
      teller.tell(Kind::done, VXRecordingRepair::repairRecordingAtPath(path).has_value());
      ::pause();
    });
    ASSERT_TRUE(child.waitFor(Kind::stopping));
    const std::int64_t start = child.messages().back().nanoseconds;
    // Most of the time goes into reading; every other kill comes when the file is changed.
    const std::int64_t moment =
        start + chance.between(tries % 2 == 0 ? 0 : longest * 4 / 5, longest);
    while (nowNanoseconds() < moment) {
    }
    child.kill();
    if (const Message& last = child.messages().back(); last.kind == Kind::done) {
      ASSERT_EQ(last.value, 1);
      longest = last.nanoseconds - start;
      continue;
    }
    ++within;
    changed += readWholeFile(path) != crashed;
    expectAllPictures(path, FileEnd::mayBeTorn);
    ASSERT_TRUE(VXRecordingRepair::repairRecordingAtPath(path).has_value());
    expectAllPictures(path, FileEnd::isWhole);
    EXPECT_EQ(checkMovieFile(path).form, MovieForm::plain);
  }
  EXPECT_EQ(within, kills);
  report("SIGKILL within a repair | " + std::to_string(within) +
         " kills | nothing: every picture reads, and the next repair completes the file (" +
         std::to_string(changed) + " had been changed by then)");
}

}  // namespace
}  // namespace vx::test
