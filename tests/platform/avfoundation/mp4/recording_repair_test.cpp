// Recordings as crashes leave them, completed, and compared with what a finish makes of them.
#include "VXVideoRecorder/platform/AVFoundation.h"
#include "memory_file.h"
#include "recording_plan.h"
#include "support/movie_checker.h"

#include <gtest/gtest.h>

namespace vx::mp4::test {
namespace {

using Form = FoundRecording::Form;
using vx::test::CheckedMovie;
using vx::test::Decode;
using vx::test::FileEnd;
using vx::test::MovieForm;
using vx::test::readMovie;

void expectSound(const Bytes& bytes, std::size_t pictures, std::size_t sounds) {
  const CheckedMovie checked = vx::test::checkMovie(bytes);
  EXPECT_EQ(checked.form, MovieForm::plain);
  EXPECT_EQ(checked.findings, std::vector<std::string>());
  const ReadMovie movie = readMovie(bytes, Decode::strictly);
  EXPECT_EQ(movie.complaints, std::vector<std::string>());
  ASSERT_NE(movie.video(), nullptr);
  EXPECT_EQ(movie.video()->packets.size(), pictures);
  EXPECT_EQ(movie.audio() == nullptr ? 0 : movie.audio()->packets.size(), sounds);
}

void expectRepairEqualsFinish(const Plan& plan) {
  Bytes finished;
  Bytes completed;
  // Both carry the time of day in seconds, so both are made within one.
  for (std::uint64_t second = 0; second != secondsSince1904();) {
    second = secondsSince1904();
    finished = record(plan, true);
    completed = repaired(record(plan, false));
  }
  EXPECT_EQ(movieBoxes(completed), movieBoxes(finished));
  EXPECT_TRUE(completed == finished);
  EXPECT_EQ(readBytes(completed).form, Form::finished);
  expectSound(completed, plan.fragments * 4, plan.hasSound ? plan.fragments * 3 : 0);
}

TEST(RecordingRepair, MakesWhatTheFinishMakes) { expectRepairEqualsFinish({}); }

TEST(RecordingRepair, MakesWhatTheFinishMakesWithoutSound) {
  Plan plan;
  plan.hasSound = false;
  expectRepairEqualsFinish(plan);
}

TEST(RecordingRepair, KeepsALateStartOfThePictures) {
  Plan plan;
  plan.firstPicture = 777;
  expectRepairEqualsFinish(plan);
}

TEST(RecordingRepair, KeepsTheTrimAndTheStartOfTheSound) {
  for (const std::int64_t start : {0, 1, 23, 24, 25, 1000, 48007, -1, -500, -4800}) {
    for (const std::uint32_t trim : {0u, 1u, 1000u, 4800u}) {
      SCOPED_TRACE("start " + std::to_string(start) + ", trim " + std::to_string(trim));
      Plan plan;
      plan.firstSound = start;
      plan.trimAtStart = trim;
      expectRepairEqualsFinish(plan);
    }
  }
}

TEST(RecordingRepair, KeepsTurnsOddSizesAndColours) {
  Plan plan;
  plan.video.width = 63;
  plan.video.height = 47;
  plan.video.colour = {9, 16, 9, true};
  for (const std::array<double, 6>& turn :
       {std::array<double, 6>{0, 1, -1, 0, 0, 0}, std::array<double, 6>{-1, 0, 0, -1, 0, 0},
        std::array<double, 6>{0.70710678, 0.70710678, -0.70710678, 0.70710678, 3, 5}}) {
    plan.video.transform = turn;
    expectRepairEqualsFinish(plan);
  }
}

TEST(RecordingRepair, DropsTheCommentThatStandsInForTheEditList) {
  Plan plan;
  plan.trimAtStart = 4800;
  const Bytes crashed = record(plan, false);
  const auto hasComment = [](const Bytes& bytes) {
    return vx::test::readBoxes(bytes).find("moov/trak", 1)->find("udta") != nullptr;
  };
  EXPECT_TRUE(hasComment(crashed));
  EXPECT_FALSE(hasComment(repaired(crashed)));
}

TEST(RecordingRepair, LeavesACompleteRecordingAlone) {
  const Bytes finished = record({}, true);
  EXPECT_FALSE(readBytes(finished).isRepairable());
  const Bytes completed = repaired(record({}, false));
  EXPECT_EQ(repaired(completed), completed);
}

TEST(RecordingRepair, MakesAMovieOfLengthZeroWithoutASample) {
  Plan plan;
  plan.fragments = 0;
  const Bytes completed = repaired(record(plan, false));
  const CheckedMovie checked = vx::test::checkMovie(completed);
  EXPECT_EQ(checked.form, MovieForm::plain);
  EXPECT_EQ(checked.findings, std::vector<std::string>());
}

// ---- torn ends -----------------------------------------------------------------------------

TEST(RecordingRepair, CutsBackATornEndAtAnyByte) {
  Plan plan;
  const Bytes whole = record(plan, false);
  plan.fragments = 2;
  const Bytes shorter = record(plan, false);
  // The last fragment as it stands before it is published.
  Bytes torn = whole;
  setType(torn, shorter.size(), "free");
  for (std::size_t size = shorter.size(); size < torn.size(); ++size) {
    const Bytes image(torn.begin(), torn.begin() + static_cast<std::ptrdiff_t>(size));
    ASSERT_EQ(readBytes(image).tornBytes, size - shorter.size());
    ASSERT_EQ(movieBoxes(repaired(image)), movieBoxes(repaired(shorter))) << size;
  }
}

TEST(RecordingRepair, TakesAWholeFragmentThatWasNotPublished) {
  const Bytes whole = record({}, false);
  Plan plan;
  plan.fragments = 2;
  const std::size_t start = record(plan, false).size();
  Bytes image = whole;
  setType(image, start, "free");
  EXPECT_EQ(readBytes(image).unpublishedCount, 1u);
  EXPECT_EQ(movieBoxes(repaired(image)), movieBoxes(repaired(whole)));
}

TEST(RecordingRepair, WritesOnceMoreWhatNoSyncHasProven) {
  const Bytes whole = record({}, false);
  Plan plan;
  plan.fragments = 2;
  const std::size_t start = record(plan, false).size();
  Bytes image = whole;
  setType(image, start, "free");

  auto journal = std::make_shared<Journal>();
  JournalFile output(journal);
  MemoryInput input(image);
  ASSERT_TRUE(completeRecording(readBytes(image), input, output).ok());
  const auto isRewriting = [&](const JournalStep& step) {
    return step.kind == JournalStep::Kind::write && step.offset == start;
  };
  const auto rewriting = std::find_if(journal->steps.begin(), journal->steps.end(), isRewriting);
  ASSERT_NE(rewriting, journal->steps.end());
  EXPECT_TRUE(std::equal(rewriting->bytes.begin(), rewriting->bytes.end(),
                         image.begin() + static_cast<std::ptrdiff_t>(start), image.end()));
}

TEST(RecordingRepair, CutsBackZerosAndGarbage) {
  const Bytes whole = record({}, false);
  for (const int filling : {0x00, 0xFF, 0x01, 0x6D}) {
    Bytes image = whole;
    image.resize(whole.size() + 10000, static_cast<std::uint8_t>(filling));
    EXPECT_EQ(movieBoxes(repaired(image)), movieBoxes(repaired(whole)));
  }
}

// ---- damage --------------------------------------------------------------------------------

TEST(RecordingRepair, LeavesOutADamagedFragmentAndWhatDependsOnIt) {
  Plan plan;
  plan.fragments = 6;
  const Bytes whole = record(plan, false);
  const auto [begin, end] = fragmentAt(1);
  for (std::size_t i = begin; i < end; i += 13) {
    Bytes image = whole;
    image[i] ^= 0x55;
    const FoundRecording found = readBytes(image);
    ASSERT_EQ(found.damagedPartCount, 1u) << i - begin;
    EXPECT_EQ(found.damagedParts.front().offset, begin);
    EXPECT_EQ(found.damagedParts.front().sizeBytes, end - begin);
    EXPECT_EQ(found.tornBytes, 0u);
    // Pictures 4 to 7 are lost, 8 and 9 need them, 10 is a key frame.
    EXPECT_EQ(found.video.leftOutCount(), 2u);
    expectSound(repaired(image), 24 - 6, 18 - 3);
    if (testing::Test::HasFailure()) return;
  }
}

TEST(RecordingRepair, RebuildsAnIndexThatIsLost) {
  const Bytes finished = record({}, true);
  const std::size_t crashedSize = record({}, false).size();
  for (std::size_t size = crashedSize; size < finished.size(); size += 11) {
    const Bytes image(finished.begin(), finished.begin() + static_cast<std::ptrdiff_t>(size));
    ASSERT_EQ(readBytes(image).form, Form::indexLost);
    ASSERT_EQ(movieBoxes(repaired(image)), movieBoxes(finished)) << size;
  }
}

TEST(RecordingRepair, RestoresTheMovieBeforeItTouchesTheEndOfAFileWhoseIndexIsLost) {
  Bytes image = record({}, true);
  image.resize(image.size() - 100);
  auto journal = std::make_shared<Journal>();
  JournalFile output(journal);
  MemoryInput input(image);
  ASSERT_TRUE(completeRecording(readBytes(image), input, output).ok());
  const JournalStep& first = journal->steps.at(0);
  EXPECT_EQ(first.kind, JournalStep::Kind::write);
  EXPECT_EQ(first.offset, kPlaceholderOffset);
  EXPECT_EQ(first.bytes, (Bytes{0, 0, 0, 16, 'f', 'r', 'e', 'e', 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(journal->steps.at(1).kind, JournalStep::Kind::sync);
}

TEST(RecordingRepair, NoticesThatTheFileBecameShorter) {
  const Bytes whole = record({}, false);
  const std::size_t start = fragmentAt(2).first;
  Bytes image = whole;
  setType(image, start, "free");
  const FoundRecording found = readBytes(image);
  ASSERT_EQ(found.unpublishedCount, 1u);
  const Bytes shorter(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(start + 10));
  MemoryInput input(shorter);
  JournalFile output(std::make_shared<Journal>());
  const Status status = completeRecording(found, input, output);
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(status.error().code(), AVErrorMediaChanged);
}

TEST(RecordingRepair, RebuildsAnIndexThatContradictsItself) {
  const Bytes finished = record({}, true);
  Bytes image = finished;
  const BoxNode root = vx::test::readBoxes(finished);
  const BoxNode* stsz = root.find("moov/trak/mdia/minf/stbl/stsz");
  image[static_cast<std::size_t>(stsz->offset) + 19] += 1;  // the number of samples
  EXPECT_EQ(readBytes(image).form, Form::indexLost);
  EXPECT_EQ(movieBoxes(repaired(image)), movieBoxes(finished));
}

TEST(RecordingRepair, SaysWhichSamplesOfACompleteRecordingAreNotWhatWasWritten) {
  Plan plan;
  const Bytes finished = record(plan, true);
  EXPECT_EQ(readBytes(finished).damagedPartCount, 0u);
  const auto [begin, end] = fragmentAt(1);
  Bytes image = finished;
  image[end - 40] ^= 1;
  const FoundRecording found = readBytes(image);
  EXPECT_EQ(found.form, Form::finished);
  EXPECT_EQ(found.damagedPartCount, 2u);  // the chunk of each track
  EXPECT_FALSE(found.isRepairable());
}

// ---- broken off ----------------------------------------------------------------------------

/// What readers and we ourselves make of a file on the way.
void expectNothingLost(const Bytes& image, const Bytes& whole) {
  const ReadMovie movie = readMovie(image, Decode::strictly);
  ASSERT_TRUE(movie.isOpen);
  EXPECT_EQ(movie.complaints, std::vector<std::string>());
  EXPECT_EQ(movie.video()->packets.size(), 12u);
  EXPECT_EQ(movie.audio()->packets.size(), 9u);
  EXPECT_EQ(movieBoxes(repaired(image)), movieBoxes(whole));
}

TEST(RecordingRepair, CanBeBrokenOffAtAnyByteAndRunAgain) {
  Bytes crashed = record({}, false);
  const Bytes whole = repaired(crashed);
  crashed.resize(crashed.size() + 5000, 0);
  const FoundRecording found = readBytes(crashed, ReadDepth::index);
  for (std::size_t bytes = 0;; ++bytes) {
    SCOPED_TRACE("stopped behind byte " + std::to_string(bytes));
    Bytes image = crashed;
    MemoryInput input(image);
    MemoryOutput output(image);
    output.bytesLeft = bytes;
    output.isKilled = true;
    bool isDone = true;
    try {
      ASSERT_TRUE(completeRecording(found, input, output).ok());
    } catch (const Killed&) {
      isDone = false;
    }
    expectNothingLost(image, whole);
    if (isDone || testing::Test::HasFailure()) break;
  }
}

TEST(RecordingRepair, LeavesTheFileReadableWhenTheDiskIsFull) {
  const Bytes crashed = record({}, false);
  const Bytes whole = repaired(crashed);
  const FoundRecording found = readBytes(crashed, ReadDepth::index);
  for (std::size_t bytes = 0; bytes < whole.size() - crashed.size(); bytes += 17) {
    Bytes image = crashed;
    MemoryInput input(image);
    MemoryOutput output(image);
    output.bytesLeft = bytes;
    const Status status = completeRecording(found, input, output);
    ASSERT_FALSE(status.ok());
    EXPECT_EQ(status.error().code(), 28);
    EXPECT_EQ(image, crashed);
  }
}

TEST(RecordingRepair, ChangesNothingWhenTheDiskCannotBeRead) {
  const Bytes crashed = record({}, false);
  for (std::size_t number = 0;; ++number) {
    MemoryInput input(crashed);
    input.failingRead = number;
    FoundRecording found;
    const Status status = readRecording(input, ReadDepth::contents, found);
    if (status.ok()) break;  // all reads were tried
    EXPECT_EQ(status.error().code(), 5);
    ASSERT_LT(number, 10000u);
  }
}

}  // namespace
}  // namespace vx::mp4::test
