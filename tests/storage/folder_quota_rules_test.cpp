// The quota's rules on texts and numbers alone.
#include "storage/folder_quota.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace vx::storage {
namespace {

constexpr std::uint64_t kMB = 1000000;

TEST(NameStem, RunsToTheLastUnderscore) {
  EXPECT_EQ(nameStem("Display_1.mp4"), "Display_");
  EXPECT_EQ(nameStem("rec_user_20240101_2.mp4"), "rec_user_20240101_");
  EXPECT_EQ(nameStem("a_"), "a_");
  EXPECT_EQ(nameStem("a__b"), "a__");
  EXPECT_EQ(nameStem("__b"), "__");
}

TEST(NameStem, IsAbsentWithoutAnUnderscoreBehindACharacter) {
  EXPECT_EQ(nameStem("meeting.mp4"), std::nullopt);
  EXPECT_EQ(nameStem("_1.mp4"), std::nullopt);
  EXPECT_EQ(nameStem("_"), std::nullopt);
  EXPECT_EQ(nameStem(""), std::nullopt);
  EXPECT_EQ(nameStem("a/_b"), std::nullopt);
}

TEST(NameStem, StaysWithinOneComponentAndTakesTheLeftmost) {
  EXPECT_EQ(nameStem("a_b/c_d"), "a_");
  EXPECT_EQ(nameStem("a/c_d"), "c_");
  EXPECT_EQ(nameStem("./c_d"), "c_");
}

TEST(NameStem, TakesAnyCharacterButTheSlash) {
  EXPECT_EQ(nameStem("Büro 3\n😀_1.mp4"), "Büro 3\n😀_");
  EXPECT_EQ(nameStem("\\._1"), "\\._");
  EXPECT_EQ(nameStem("\xff\xfe_1.mp4"), "\xff\xfe_");
  EXPECT_EQ(nameStem(std::string(100000, 'x') + "_1").value().size(), 100001U);
}

TEST(Candidate, NeedsThePrefixAndTheExtension) {
  EXPECT_TRUE(isCandidate("rec_1.mp4", std::nullopt, "rec_"));
  EXPECT_TRUE(isCandidate("rec_1.mp4", std::nullopt, "rec_1.mp4"));
  EXPECT_FALSE(isCandidate("Rec_1.mp4", std::nullopt, "rec_"));
  EXPECT_FALSE(isCandidate("rec_1.MP4", std::nullopt, "rec_"));
  EXPECT_FALSE(isCandidate("rec_1.mp4x", std::nullopt, "rec_"));
  EXPECT_FALSE(isCandidate("rec_mp4", std::nullopt, "rec_"));
  EXPECT_TRUE(isCandidate(".mp4", std::nullopt, ".mp4"));
}

TEST(Candidate, BeginsWithThePrefixFromTheFolderOn) {
  EXPECT_FALSE(isCandidate("sub/rec_1.mp4", std::nullopt, "rec_"));
  EXPECT_TRUE(isCandidate("rec_sub/1.mp4", std::nullopt, "rec_"));
  EXPECT_TRUE(isCandidate("sub/rec_1.mp4", std::nullopt, "sub/"));
}

// Everything would be a recording of this host otherwise, a film collection included.
TEST(Candidate, NothingBeginsWithAnEmptyPrefix) {
  EXPECT_FALSE(isCandidate("rec_1.mp4", std::nullopt, ""));
}

TEST(Candidate, IsNothingThatContainsTheStemAnywhere) {
  EXPECT_FALSE(isCandidate("rec_2.mp4", "rec_", "rec_"));
  EXPECT_FALSE(isCandidate("a_rec_2.mp4", "rec_", "a"));
  EXPECT_FALSE(isCandidate("a/rec_/2.mp4", "rec_", "a"));
  EXPECT_TRUE(isCandidate("REC_2.mp4", "rec_", "REC"));
}

TEST(CandidatesToKeep, KeepsWhatFits) {
  const std::vector<std::uint64_t> sizes{300 * kMB, 300 * kMB, 300 * kMB, 1};
  EXPECT_EQ(candidatesToKeep(100 * kMB, sizes, 800 * kMB), 2U);
  EXPECT_EQ(candidatesToKeep(100 * kMB, sizes, 2000 * kMB), 4U);
}

TEST(CandidatesToKeep, KeepsACandidateThatReachesTheLimitExactly) {
  const std::vector<std::uint64_t> sizes{600000, 400000, 0, 1};
  EXPECT_EQ(candidatesToKeep(0, sizes, kMB), 3U);
}

TEST(CandidatesToKeep, KeepsNoneWhenTheFinishedFileFillsTheLimit) {
  const std::vector<std::uint64_t> sizes{1, 1};
  EXPECT_EQ(candidatesToKeep(2 * kMB, sizes, kMB), 0U);
  EXPECT_EQ(candidatesToKeep(kMB, sizes, kMB), 0U);
  EXPECT_EQ(candidatesToKeep(2 * kMB, {}, kMB), 0U);
}

TEST(CandidatesToKeep, ComparesAsUnsigned) {
  const std::vector<std::uint64_t> sizes{std::uint64_t{1} << 63, 1};
  EXPECT_EQ(candidatesToKeep(0, sizes, std::uint64_t{1} << 62), 0U);
  EXPECT_EQ(candidatesToKeep(0, sizes, std::numeric_limits<std::uint64_t>::max()), 2U);
}

}  // namespace
}  // namespace vx::storage
