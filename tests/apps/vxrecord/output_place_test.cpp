#include "output_place.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "support/small_disk.h"

namespace vxrecord {
namespace {

using testing::HasSubstr;

class OutputPlaceTest : public testing::Test {
 protected:
  /// What is said against recording `input` into this place; nothing when that is fine.
  static std::string complaint(const OutputPlace& place, const std::string& input = "test:") {
    try {
      prepareOutputPlace(place, input);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }
  OutputPlace here() const { return {folder.path(), "a.mp4"}; }

  TemporaryFolder folder;
};

TEST_F(OutputPlaceTest, FollowsTheOptions) {
  Options options;
  options.storagePath = "/somewhere";
  EXPECT_EQ(outputPlaceFor(options).path(), "/somewhere/Display_1.mp4");
  options.index = 4294967295U;
  EXPECT_EQ(outputPlaceFor(options).filename, "Display_-1.mp4") << "as the recorder calls it";
  options.filename = "b.mp4";
  EXPECT_EQ(outputPlaceFor(options).path(), "/somewhere/b.mp4");
}

TEST_F(OutputPlaceTest, FoldersAreMade) {
  EXPECT_EQ(complaint({folder / "b/c", "a.mp4"}), "");
  EXPECT_TRUE(folder.has("b/c"));
  EXPECT_FALSE(folder.has("b/c/a.mp4"));
}

TEST_F(OutputPlaceTest, FileIsNoFolder) {
  folder.makeFile("file");
  EXPECT_THAT(complaint({folder / "file", "a.mp4"}), HasSubstr("cannot record into"));
}

TEST_F(OutputPlaceTest, FolderThatCannotBeWrittenIsRefused) {
  const vx::test::SmallDisk disk("size=64k,ro");
  std::filesystem::permissions(folder.path(), std::filesystem::perms::owner_read);
  const std::string place = disk.isMounted() ? disk.path() : folder.path();
  if (access(place.c_str(), W_OK) == 0) {
    GTEST_SKIP() << "nothing is write-protected from this user";
  }
  EXPECT_THAT(complaint({place, "a.mp4"}), HasSubstr("cannot record into"));
}

TEST_F(OutputPlaceTest, OlderRecordingMayStandThere) {
  folder.makeFile("a.mp4", 100);
  EXPECT_EQ(complaint(here()), "");
}

TEST_F(OutputPlaceTest, FolderOfThatNameIsLeftAlone) {
  folder.makeFolder("a.mp4");
  EXPECT_THAT(complaint(here()), HasSubstr("exists and is not a file"));
}

TEST_F(OutputPlaceTest, InputIsKnownByEveryName) {
  folder.makeFile("a.mp4", 100);
  folder.makeFolder("b");
  std::filesystem::create_hard_link(folder / "a.mp4", folder / "linked.mp4");
  for (const std::string name : {"a.mp4", "b/../a.mp4", "linked.mp4"}) {
    EXPECT_THAT(complaint(here(), folder / name), HasSubstr("replaced by its own recording"))
        << name;
  }
}

}  // namespace
}  // namespace vxrecord
