// How often the quota asks for a file's time and size. The program's calls of fstatat go through
// the counter below (see CMakeLists.txt).
#include "storage/folder_quota.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

static int s_queries = 0;

extern "C" {
int __real_fstatat(int folder, const char* name, struct stat* status, int flags);
int __wrap_fstatat(int folder, const char* name, struct stat* status, int flags) {
  ++s_queries;
  return __real_fstatat(folder, name, status, flags);
}
}

namespace vx::storage {
namespace {

// A file that is written to while the sort runs counts with the time that it has by then.
TEST(SortNewestFirst, ReadsBothTimesAnewAtEveryComparison) {
  const TemporaryFolder temporary;
  std::vector<std::string> entries{"3", "2", "1"};
  for (const std::string& entry : entries) temporary.makeFile(entry, 0, std::stoi(entry));
  const std::optional<Folder> folder = Folder::open(temporary.path());
  ASSERT_TRUE(folder);
  s_queries = 0;
  sortNewestFirst(*folder, entries);
  constexpr int kComparisons = 3;  // 2 with 3, 1 with 3, 1 with 2
  EXPECT_EQ(s_queries, 2 * kComparisons);
}

// So it sorts what it will not count as well, and asks for a size where it counts alone.
TEST(FolderQuotaQueries, AreTwoForEachComparisonOfAllEntriesAndOneForEachCandidate) {
  const TemporaryFolder temporary;
  for (const char* name : {"rec1.mp4", "note.txt"}) temporary.makeFile(name, 1);
  s_queries = 0;
  ASSERT_EQ(Folder::open(temporary.path())->subpaths()->size(), 2u);
  const int toList = s_queries;
  applyFolderQuota(temporary.path(), "rec", 1, "now.mp4");
  constexpr int kComparisons = 1;
  constexpr int kCandidates = 1;
  EXPECT_EQ(s_queries - 2 * toList, 2 * kComparisons + kCandidates);
}

}  // namespace
}  // namespace vx::storage
