#include "platform/foundation/small_file.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace vx {
namespace {

TEST(SmallFile, IsReadUpToItsLastByte) {
  const TemporaryFolder folder;
  std::ofstream(folder / "small") << std::string("a\0b\n", 4);
  EXPECT_EQ(contentsOfSmallFile(folder / "small"), std::string("a\0b\n", 4));
  folder.makeFile("empty");
  EXPECT_EQ(contentsOfSmallFile(folder / "empty"), "");
}

TEST(SmallFile, HasAMebibyteAtMost) {
  const TemporaryFolder folder;
  folder.makeFile("most", 1 << 20);
  folder.makeFile("more", (1 << 20) + 1);
  EXPECT_EQ(contentsOfSmallFile(folder / "most")->size(), std::size_t{1} << 20);
  EXPECT_EQ(contentsOfSmallFile(folder / "more"), std::nullopt);
}

TEST(SmallFile, IsARegularFile) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(contentsOfSmallFile(folder / "pipe"), std::nullopt);
  EXPECT_EQ(contentsOfSmallFile(folder.path()), std::nullopt);
  EXPECT_EQ(contentsOfSmallFile(folder / "none"), std::nullopt);
  EXPECT_EQ(contentsOfSmallFile("/dev/null"), std::nullopt);
}

}  // namespace
}  // namespace vx
