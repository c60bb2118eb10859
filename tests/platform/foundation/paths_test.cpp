#include "VXVideoRecorder/platform/foundation/NSFileManager.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace vx {
namespace {

TEST(Paths, JoinWithExactlyOneSeparator) {
  EXPECT_EQ(stringByAppendingPathComponent("/a", "b"), "/a/b");
  EXPECT_EQ(stringByAppendingPathComponent("/a/", "b"), "/a/b");
  EXPECT_EQ(stringByAppendingPathComponent("/a//", "/b"), "/a/b");
  EXPECT_EQ(stringByAppendingPathComponent("/", "b"), "/b");
  EXPECT_EQ(stringByAppendingPathComponent("//", "b"), "/b");
  EXPECT_EQ(stringByAppendingPathComponent("a", "b/c"), "a/b/c");
}

TEST(Paths, JoinOfAnEmptyPartIsTheOtherPart) {
  EXPECT_EQ(stringByAppendingPathComponent("", "b"), "b");
  EXPECT_EQ(stringByAppendingPathComponent("/a", ""), "/a");
  EXPECT_EQ(stringByAppendingPathComponent("/a", "/"), "/a");
  EXPECT_EQ(stringByAppendingPathComponent("/", ""), "/");
  EXPECT_EQ(stringByAppendingPathComponent("", ""), "");
}

TEST(Paths, JoinKeepsDotsAndForeignBytes) {
  EXPECT_EQ(stringByAppendingPathComponent("/a", ".."), "/a/..");
  EXPECT_EQ(stringByAppendingPathComponent("/ä", "\xff b"), "/ä/\xff b");
}

TEST(Paths, ExtensionIsWhatFollowsTheLastDotOfTheLastComponent) {
  EXPECT_EQ(pathExtension("a.mp4"), "mp4");
  EXPECT_EQ(pathExtension("/x.y/a.tar.gz"), "gz");
  EXPECT_EQ(pathExtension("a.MP4"), "MP4");
  EXPECT_EQ(pathExtension("a.mp4/"), "mp4");
  EXPECT_EQ(pathExtension("x/.mp4"), "mp4");
}

TEST(Paths, ExtensionIsEmptyWithoutADotInTheLastComponent) {
  EXPECT_EQ(pathExtension("a"), "");
  EXPECT_EQ(pathExtension("a."), "");
  EXPECT_EQ(pathExtension(".x/mp4"), "");
  EXPECT_EQ(pathExtension("x.mp4/a"), "");
  EXPECT_EQ(pathExtension(""), "");
}

TEST(FileURL, KeepsAnAbsolutePath) {
  EXPECT_EQ(NSURL::fileURLWithPath("/a b/ü.mp4").path(), "/a b/ü.mp4");
}

TEST(FileURL, TakesARelativePathFromTheCurrentFolder) {
  EXPECT_EQ(NSURL::fileURLWithPath("a/b").path(),
            std::filesystem::current_path().string() + "/a/b");
}

}  // namespace
}  // namespace vx
