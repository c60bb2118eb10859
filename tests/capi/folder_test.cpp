// The recordings folder as the quota sees it.
#include "VXVideoRecorder/capi.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

namespace {

vx_folder_info inspect(const TemporaryFolder& folder, const char* prefix) {
  vx_folder_info info = VX_FOLDER_INFO_INIT;
  EXPECT_EQ(vx_folder_inspect(folder.path().c_str(), prefix, &info), VX_OK);
  return info;
}

}  // namespace

TEST(FolderInspection, CountsTheRecordingsWithThePrefixAtAnyDepth) {
  const TemporaryFolder folder;
  folder.makeFile("rec1.mp4", 1000);
  folder.makeFolder("rec-old");
  folder.makeFile("rec-old/2.mp4", 200);
  folder.makeFile("other.mp4", 30);
  folder.makeFile("rec.txt", 4);
  const vx_folder_info info = inspect(folder, "rec");
  EXPECT_EQ(info.recordings, 2u);
  EXPECT_EQ(info.recordings_bytes, 1200u);
  EXPECT_GT(info.volume_bytes, 0u);
  EXPECT_LE(info.free_bytes, info.volume_bytes);
}

TEST(FolderInspection, KnowsNoRecordingsWithoutAPrefix) {
  const TemporaryFolder folder;
  folder.makeFile("rec1.mp4", 1000);
  EXPECT_EQ(inspect(folder, nullptr).recordings, 0u);
  EXPECT_EQ(inspect(folder, "").recordings, 0u);
}

TEST(FolderInspection, FailsWhereThereIsNoFolder) {
  const TemporaryFolder folder;
  vx_folder_info info = VX_FOLDER_INFO_INIT;
  EXPECT_EQ(vx_folder_inspect((folder / "none").c_str(), "rec", &info), VX_FAILED);
  EXPECT_STRNE(vx_last_error(), "");
  folder.makeFile("file", 1);
  EXPECT_EQ(vx_folder_inspect((folder / "file").c_str(), "rec", &info), VX_FAILED);
  EXPECT_EQ(vx_last_error(), folder / "file" + " is no folder that can be read");
  EXPECT_EQ(vx_folder_inspect(nullptr, "rec", &info), VX_INVALID_ARGUMENT);
  EXPECT_EQ(vx_folder_inspect(folder.path().c_str(), "rec", nullptr), VX_INVALID_ARGUMENT);
}
