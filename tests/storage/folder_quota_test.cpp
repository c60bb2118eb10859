// The quota on real folders.
#include "storage/folder_quota.h"

#include "support/recorder_peer.h"
#include "support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/inotify.h>
#include <unistd.h>

#include <filesystem>
#include <set>

namespace vx::storage {
namespace {

namespace fs = std::filesystem;
constexpr std::uint64_t kMB = 1000000;

class FolderQuota : public testing::Test {
 protected:
  void apply(std::uint64_t megabytes, const std::string& finished = "now.mp4",
             const std::optional<std::string>& prefix = "rec") {
    applyFolderQuota(folder.path(), prefix, megabytes, finished);
  }
  std::set<std::string> entries() const {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
      names.insert(entry.path().lexically_relative(folder.path()));
    }
    return names;
  }

  TemporaryFolder folder;
};

using Names = std::set<std::string>;

TEST_F(FolderQuota, KeepsTheNewestThatFitAndDeletesTheRest) {
  folder.makeFile("now.mp4", 100 * kMB, 9);
  folder.makeFile("rec3.mp4", 300 * kMB, 3);
  folder.makeFile("rec2.mp4", 300 * kMB, 2);
  folder.makeFile("rec1.mp4", 300 * kMB, 1);
  folder.makeFile("rec0.mp4", 1, 0);
  apply(800);
  EXPECT_EQ(entries(), (Names{"now.mp4", "rec3.mp4", "rec2.mp4"}));
}

/// What is removed from a folder while it lives, in order.
class RemovalWatch {
 public:
  explicit RemovalWatch(const TemporaryFolder& folder)
      : _descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    ::inotify_add_watch(_descriptor, folder.path().c_str(), IN_DELETE);
  }
  ~RemovalWatch() { ::close(_descriptor); }
  RemovalWatch(const RemovalWatch&) = delete;
  RemovalWatch& operator=(const RemovalWatch&) = delete;

  std::vector<std::string> names() const {
    std::vector<std::string> names;
    alignas(inotify_event) char events[4096];
    const ssize_t length = ::read(_descriptor, events, sizeof events);
    for (ssize_t at = 0; at < length;) {
      const auto* event = reinterpret_cast<const inotify_event*>(events + at);
      names.emplace_back(event->name);
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
    return names;
  }

 private:
  int _descriptor;
};

TEST_F(FolderQuota, DeletesTheNewestOfThemFirst) {
  folder.makeFile("now.mp4", 2 * kMB, 9);
  for (int i : {2, 0, 3, 1}) folder.makeFile("rec" + std::to_string(i) + ".mp4", 10, i);
  const RemovalWatch removed(folder);
  apply(1);
  EXPECT_THAT(removed.names(),
              testing::ElementsAre("rec3.mp4", "rec2.mp4", "rec1.mp4", "rec0.mp4"));
}

TEST_F(FolderQuota, DeletesEveryCandidateWhenTheFinishedFileIsOverTheLimit) {
  folder.makeFile("now.mp4", 2 * kMB);
  folder.makeFile("rec1.mp4", 10, 1);
  folder.makeFile("rec2.mp4", 0, 2);
  apply(1);
  EXPECT_EQ(entries(), Names{"now.mp4"});
}

TEST_F(FolderQuota, KeepsACandidateThatReachesTheLimitExactly) {
  folder.makeFile("now.mp4", 400000);
  folder.makeFile("rec3.mp4", 600000, 3);
  folder.makeFile("rec2.mp4", 0, 2);
  folder.makeFile("rec1.mp4", 1, 1);
  apply(1);
  EXPECT_EQ(entries(), (Names{"now.mp4", "rec3.mp4", "rec2.mp4"}));
}

TEST_F(FolderQuota, IsOffAtZero) {
  folder.makeFile("rec1.mp4", 1);
  apply(0);
  EXPECT_TRUE(folder.has("rec1.mp4"));
}

TEST_F(FolderQuota, TouchesOnlyThisHostsRecordings) {
  folder.makeFile("now.mp4", 2 * kMB);
  folder.makeFolder("sub");
  folder.makeFolder("rec_sub");
  const Names others{"now.mp4",   "rec1.MP4", "rec2.txt",     "rec3",
                     "other.mp4", "Rec4.mp4", "sub/rec5.mp4", "rec_sub/film.mkv"};
  for (const std::string& name : others) folder.makeFile(name, name == "now.mp4" ? 2 * kMB : 10);
  folder.makeFile("rec_sub/6.mp4", 10);
  apply(1);
  Names expected = others;
  expected.insert({"sub", "rec_sub"});
  EXPECT_EQ(entries(), expected);
}

TEST_F(FolderQuota, KeepsAndDoesNotCountEntriesWithTheStem) {
  folder.makeFile("rec_now_2.mp4", 400000, 9);
  folder.makeFile("rec_now_1.mp4", 90 * kMB, 1);
  folder.makeFile("rec_old_rec_now_.mp4", 90 * kMB, 2);
  folder.makeFile("rec_old_1.mp4", 600000, 3);
  apply(1, "rec_now_2.mp4");
  EXPECT_EQ(entries().size(), 4U);
}

TEST_F(FolderQuota, NeverDeletesDefaultNamesAfterADefaultName) {
  folder.makeFile("Display_1.mp4", 5 * kMB, 9);
  folder.makeFile("Display_2.mp4", 5 * kMB, 1);
  apply(1, "Display_1.mp4", "Display");
  EXPECT_EQ(entries(), (Names{"Display_1.mp4", "Display_2.mp4"}));
}

TEST_F(FolderQuota, SparesTheFinishedFileWithoutAStem) {
  folder.makeFile("rec2.mp4", 5 * kMB, 0);
  folder.makeFile("rec1.mp4", 10, 1);
  apply(1, "rec2.mp4");
  EXPECT_EQ(entries(), Names{"rec2.mp4"});
}

TEST_F(FolderQuota, SparesTheFinishedFileUnderAnotherSpelling) {
  folder.makeFolder("rec.sub");
  fs::create_directory_symlink("rec.sub", folder / "link");
  for (const char* spelling :
       {"./rec2.mp4", ".//rec2.mp4", "rec.sub/../rec2.mp4", "link/../rec2.mp4"}) {
    folder.makeFile("rec2.mp4", 5 * kMB, 0);
    folder.makeFile("rec1.mp4", 10, 1);
    apply(1, spelling);
    EXPECT_TRUE(folder.has("rec2.mp4")) << spelling;
    EXPECT_FALSE(folder.has("rec1.mp4")) << spelling;
  }
}

TEST_F(FolderQuota, SparesTheFolderThatHoldsTheFinishedFile) {
  folder.makeFolder("rec.mp4");
  folder.makeFile("rec.mp4/now.mp4", 5 * kMB);
  apply(1, "rec.mp4/now.mp4");
  EXPECT_TRUE(folder.has("rec.mp4/now.mp4"));
}

TEST_F(FolderQuota, SparesTheWrittenFileWhateverTheNameSaysByThen) {
  folder.makeFile("rec_a_1.mp4", 5 * kMB, 0);
  folder.makeFile("rec0.mp4", 10, 1);
  applyFolderQuota(folder.path(), "rec", 1, "other_1.mp4", folder / "rec_a_1.mp4");
  EXPECT_EQ(entries(), (Names{"rec0.mp4", "rec_a_1.mp4"}));
  folder.makeFile("other_1.mp4", 5 * kMB);
  applyFolderQuota(folder.path(), "rec", 1, "other_1.mp4", folder / "rec_a_1.mp4");
  EXPECT_EQ(entries(), (Names{"other_1.mp4", "rec_a_1.mp4"}));
}

TEST_F(FolderQuota, SparesTheWrittenFileWhenTheFolderIsOneAroundItByThen) {
  folder.makeFolder("rec.mp4/inner");
  folder.makeFile("rec.mp4/inner/recnow.mp4", 5 * kMB);
  folder.makeFile("rec0.mp4", 2 * kMB, 1);
  applyFolderQuota(folder.path(), "rec", 1, "recnow.mp4", folder / "rec.mp4/inner/recnow.mp4");
  EXPECT_TRUE(folder.has("rec.mp4/inner/recnow.mp4"));
  EXPECT_FALSE(folder.has("rec0.mp4"));
}

TEST_F(FolderQuota, KnowsTheWrittenFileByIdentity) {
  folder.makeFolder("real");
  folder.makeFile("real/recnow.mp4", 5 * kMB);
  fs::create_directory_symlink("real", folder / "link");
  fs::create_hard_link(folder / "real/recnow.mp4", folder / "real/rec other spelling.mp4");
  applyFolderQuota(folder / "real", "rec", 1, "gone.mp4", folder / "link/recnow.mp4");
  EXPECT_TRUE(folder.has("real/recnow.mp4"));
  EXPECT_TRUE(folder.has("real/rec other spelling.mp4"));
}

TEST_F(FolderQuota, SparesAFolderThatHoldsAnEntryWithTheStem) {
  folder.makeFolder("rec.mp4/sub");
  folder.makeFile("rec.mp4/sub/now_1.mp4", 10);
  folder.makeFolder("rec_old.mp4");
  folder.makeFile("rec_old.mp4/x", 10);
  folder.makeFile("now_2.mp4", 5 * kMB, 9);
  apply(1, "now_2.mp4");
  EXPECT_TRUE(folder.has("rec.mp4/sub/now_1.mp4"));
  EXPECT_FALSE(folder.has("rec_old.mp4"));
}

TEST_F(FolderQuota, SparesFoldersThatHoldSeveralEntriesWithTheStem) {
  folder.makeFolder("rec.mp4/sub");
  for (const char* each : {"now_1.mp4", "now_2.mp4"}) {
    folder.makeFile(std::string("rec.mp4/sub/") + each, 10);
    folder.makeFile(std::string("rec.mp4/") + each, 10);
  }
  folder.makeFile("now_3.mp4", 5 * kMB, 9);
  apply(1, "now_3.mp4");
  EXPECT_TRUE(folder.has("rec.mp4/sub/now_1.mp4"));
  EXPECT_TRUE(folder.has("rec.mp4/now_2.mp4"));
}

TEST_F(FolderQuota, TakesWhatFollowsTheLastDotForTheExtension) {
  folder.makeFile("now.mp4", 5 * kMB);
  folder.makeFolder("recs");
  folder.makeFile("recs/.mp4", 10);
  folder.makeFile("recs/mp4", 10);
  apply(1);
  EXPECT_FALSE(folder.has("recs/.mp4"));
  EXPECT_TRUE(folder.has("recs/mp4"));
}

// 2^64 bytes and a few more: the product keeps its low 64 bits.
TEST_F(FolderQuota, WrapsALimitBeyond64Bits) {
  constexpr std::uint64_t kWraps = ~std::uint64_t{0} / kMB + 1;
  static_assert(kWraps * kMB < kMB, "the limit has wrapped to less than a megabyte");
  folder.makeFile("now.mp4", kWraps * kMB + 1);
  folder.makeFile("rec1.mp4", 0, 1);
  apply(kWraps);
  EXPECT_FALSE(folder.has("rec1.mp4"));
  folder.makeFile("now.mp4", kWraps * kMB);
  folder.makeFile("rec1.mp4", 0, 1);
  apply(kWraps);
  EXPECT_TRUE(folder.has("rec1.mp4"));
}

TEST_F(FolderQuota, SortsWhatHasNoTimeBehindTheOldest) {
  folder.makeFile("old.mp4", 0, -1500000000);
  folder.makeFile("new.mp4", 0, 5);
  std::vector<std::string> sorted{"none", "old.mp4", "nowhere/none", "new.mp4"};
  sortNewestFirst(*Folder::open(folder.path()), sorted);
  EXPECT_EQ(sorted, (std::vector<std::string>{"new.mp4", "old.mp4", "none", "nowhere/none"}));
}

TEST_F(FolderQuota, CountsAMissingFinishedFileAsNothing) {
  folder.makeFile("rec2.mp4", kMB, 2);
  folder.makeFile("rec1.mp4", 1, 1);
  apply(1, "gone.mp4");
  EXPECT_EQ(entries(), Names{"rec2.mp4"});
}

TEST_F(FolderQuota, DeletesNothingWithoutAPrefixOrAFolder) {
  folder.makeFile("now.mp4", 5 * kMB);
  folder.makeFile("rec1.mp4", 1);
  apply(1, "now.mp4", std::nullopt);
  apply(1, "now.mp4", "");
  applyFolderQuota(std::nullopt, "rec", 1, "now.mp4");
  applyFolderQuota("", "rec", 1, "now.mp4");
  applyFolderQuota(folder / "none", "rec", 1, "now.mp4");
  applyFolderQuota(folder / "rec1.mp4", "rec", 1, "now.mp4");
  EXPECT_TRUE(folder.has("rec1.mp4"));
}

TEST_F(FolderQuota, CountsFilesOverFourGibibytesInFull) {
  constexpr std::uint64_t kLarge = 5000 * kMB;
  folder.makeFile("now.mp4", kLarge, 9);
  for (int i = 0; i < 4; ++i) folder.makeFile("rec" + std::to_string(i) + ".mp4", kLarge, i);
  apply(15000);
  EXPECT_EQ(entries(), (Names{"now.mp4", "rec3.mp4", "rec2.mp4"}));
}

TEST_F(FolderQuota, MultipliesTheLimitIn64Bits) {
  folder.makeFile("now.mp4", 1);
  folder.makeFile("rec1.mp4", 5000 * kMB);
  apply(5000000000);  // 5 * 10^15 bytes
  EXPECT_TRUE(folder.has("rec1.mp4"));
}

TEST_F(FolderQuota, DeletesRecordingsWithEqualTimesUntilTheRestFits) {
  for (int i = 0; i < 50; ++i) folder.makeFile("rec" + std::to_string(i) + ".mp4", 100000, 5);
  apply(1);
  EXPECT_EQ(entries().size(), 10U);
}

TEST_F(FolderQuota, DeletesACandidateInASubfolder) {
  folder.makeFile("now.mp4", 5 * kMB);
  folder.makeFolder("recs/deep");
  folder.makeFile("recs/deep/1.mp4", 10);
  apply(1);
  EXPECT_EQ(entries(), (Names{"now.mp4", "recs", "recs/deep"}));
}

TEST_F(FolderQuota, DeletesAFolderNamedLikeARecordingWithItsContents) {
  folder.makeFile("now.mp4", 5 * kMB);
  folder.makeFolder("rec.mp4/sub");
  folder.makeFile("rec.mp4/sub/file", 10);
  apply(1);
  EXPECT_EQ(entries(), Names{"now.mp4"});
}

TEST_F(FolderQuota, DeletesALinkAndNotWhatItNames) {
  const TemporaryFolder elsewhere;
  elsewhere.makeFile("film.mp4", 50 * kMB);
  elsewhere.makeFile("rec9.mp4", 50 * kMB);
  folder.makeFile("now.mp4", 5 * kMB);
  fs::create_symlink(elsewhere / "film.mp4", folder / "rec1.mp4");
  fs::create_directory_symlink(elsewhere.path(), folder / "rec2.mp4");
  fs::create_directory_symlink(elsewhere.path(), folder / "recs");
  fs::create_symlink(folder / "nowhere", folder / "rec3.mp4");
  apply(1);
  EXPECT_EQ(entries(), (Names{"now.mp4", "recs"}));
  EXPECT_TRUE(elsewhere.has("film.mp4"));
  EXPECT_TRUE(elsewhere.has("rec9.mp4"));
}

TEST_F(FolderQuota, CountsALinkByItsOwnSize) {
  const TemporaryFolder elsewhere;
  elsewhere.makeFile("film.mp4", 50 * kMB);
  fs::create_symlink(elsewhere / "film.mp4", folder / "rec1.mp4");
  apply(1);
  EXPECT_TRUE(folder.has("rec1.mp4"));
}

TEST_F(FolderQuota, PrunesTheFolderThatALinkStandsFor) {
  folder.makeFolder("real");
  folder.makeFile("real/now.mp4", 5 * kMB);
  folder.makeFile("real/rec1.mp4", 1);
  fs::create_directory_symlink("real", folder / "link");
  applyFolderQuota(folder / "link", "rec", 1, "now.mp4");
  EXPECT_EQ(entries(), (Names{"link", "real", "real/now.mp4"}));
}

TEST_F(FolderQuota, TakesAFolderWithClosingSeparators) {
  folder.makeFile("rec2.mp4", 5 * kMB);
  folder.makeFile("rec1.mp4", 1);
  applyFolderQuota(folder.path() + "//", "rec", 1, "rec2.mp4");
  EXPECT_EQ(entries(), Names{"rec2.mp4"});
}

TEST_F(FolderQuota, TakesNamesThatAreNotText) {
  folder.makeFile("now\xff_1.mp4", 5 * kMB);
  folder.makeFile("now\xff_2.mp4", 1);
  folder.makeFile("rec\xff.mp4", 1);
  folder.makeFile("rec\n.mp4", 1);
  apply(1, "now\xff_1.mp4");
  EXPECT_EQ(entries(), (Names{"now\xff_1.mp4", "now\xff_2.mp4"}));
}

TEST_F(FolderQuota, PrunesAFolderOfThousands) {
  constexpr int kCount = 3000;
  for (int i = 0; i < kCount; ++i) {
    folder.makeFile("rec" + std::to_string(i) + ".mp4", 10000, (i * 7919) % kCount);
  }
  apply(10, "gone.mp4");
  EXPECT_EQ(entries().size(), 1000U);
  for (int i = 0; i < kCount; ++i) {
    ASSERT_EQ(folder.has("rec" + std::to_string(i) + ".mp4"), (i * 7919) % kCount >= 2000) << i;
  }
}

TEST_F(FolderQuota, IsAppliedWithTheRecordersOwnValues) {
  folder.makeFile("now.mp4", 2 * kMB);
  folder.makeFile("rec1.mp4", 1);
  const auto recorder = VXVideoRecorder::initWithDelegate(nullptr);
  VXVideoRecorderPeer peer(*recorder);
  recorder->setStoragePath(folder.path());
  recorder->setFileNamePrefix("rec");
  peer.checkFolderSizeAndDeleteFile("now.mp4");
  EXPECT_TRUE(folder.has("rec1.mp4"));
  recorder->setFolderLimitSize(1);
  peer.checkFolderSizeAndDeleteFile("now.mp4");
  EXPECT_EQ(entries(), Names{"now.mp4"});
}

TEST_F(FolderQuota, SaysNothing) {
  folder.makeFile("now.mp4", 2 * kMB);
  folder.makeFile("rec1.mp4", 1);
  const auto delegate = std::make_shared<RememberingDelegate>();
  const auto recorder = VXVideoRecorder::initWithDelegate(delegate);
  VXVideoRecorderPeer peer(*recorder);
  recorder->setFileNamePrefix("rec");
  recorder->setFolderLimitSize(1);
  testing::internal::CaptureStderr();
  for (const std::string& path : {folder.path(), folder / "none"}) {
    recorder->setStoragePath(path);
    peer.checkFolderSizeAndDeleteFile("now.mp4");
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_THAT(delegate->lines(), testing::IsEmpty());
  EXPECT_FALSE(folder.has("rec1.mp4"));
}

}  // namespace
}  // namespace vx::storage
