// The quota when there is no memory: it may delete too little, never too much.
#include "storage/folder_quota.h"

#include "support/failing_memory.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

namespace vx::storage {
namespace {

using vx::test::FailingMemory;

class FolderQuotaWithoutMemory : public testing::TestWithParam<FailingMemory::Source> {};

TEST_P(FolderQuotaWithoutMemory, DeletesNothingElseWhicheverAllocationFails) {
  if (GetParam() == FailingMemory::Source::malloc && !FailingMemory::hasMalloc()) {
    GTEST_SKIP() << "a sanitizer has malloc";
  }
  const TemporaryFolder folder;
  const std::string path = folder.path();
  const std::optional<std::string> storagePath = path;
  const std::optional<std::string> prefix = "rec";
  const std::string finished = "rec_now_1.mp4";
  const std::string written = folder / finished;
  folder.makeFile(finished, 500000, 9);
  folder.makeFile("rec_now_0.mp4", 900000, 8);
  folder.makeFile("rec2.mp4", 400000, 2);
  int timesTooLittle = 0;
  bool hasFailed = true;
  for (std::int64_t k = 0; hasFailed; ++k) {
    folder.makeFile("rec1.mp4", 200000, 1);
    {
      const FailingMemory failing(GetParam(), FailingMemory::Extent::one, k);
      applyFolderQuota(storagePath, prefix, 1, finished, written);
      hasFailed = FailingMemory::count() > k;
    }
    timesTooLittle += folder.has("rec1.mp4") ? 1 : 0;
    ASSERT_TRUE(folder.has(finished)) << k;
    ASSERT_TRUE(folder.has("rec_now_0.mp4")) << k;
    ASSERT_TRUE(folder.has("rec2.mp4")) << k;
  }
  EXPECT_GT(timesTooLittle, 0);
  applyFolderQuota(storagePath, prefix, 1, finished, written);
  EXPECT_FALSE(folder.has("rec1.mp4"));
}

INSTANTIATE_TEST_SUITE_P(All, FolderQuotaWithoutMemory,
                         testing::Values(FailingMemory::Source::malloc,  // what is made once, too
                                         FailingMemory::Source::operatorNew));

}  // namespace
}  // namespace vx::storage
