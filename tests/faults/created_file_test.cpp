// The file of a recording belongs to the recorder alone.
#include "support/box_reader.h"
#include "support/program.h"
#include "support/recorder_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace vx::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class CreatedFile : public RecorderTest {
 protected:
  CreatedFile() { recorder->setFilename("movie.mp4"); }

  std::string path = folder / "movie.mp4";
};

TEST_F(CreatedFile, IsNotInheritedByPrograms) {
  appendAt(0);
  ASSERT_TRUE(std::filesystem::exists(path));
  const auto files = [](pid_t process) {
    return runProgram({"ls", "-l", "/proc/" + std::to_string(process) + "/fd"}).output;
  };
  EXPECT_THAT(files(::getpid()), HasSubstr("movie.mp4"));
  const Program child({"sleep", "60"});
  const auto programOf = [](const std::string& process) {
    return std::filesystem::read_symlink("/proc/" + process + "/exe");
  };
  // Until it has become another program, a child has whatever its parent has.
  ASSERT_TRUE(
      waitUntil([&] { return programOf(std::to_string(child.id())) != programOf("self"); }));
  EXPECT_THAT(files(child.id()), Not(HasSubstr("movie.mp4")));
}

TEST_F(CreatedFile, IsNeverSomebodyElsesBehindALink) {
  const TemporaryFolder other;
  std::ofstream(other / "precious") << "precious";
  std::filesystem::create_symlink(other / "precious", path);
  appendAt(0);
  recorder.reset();
  EXPECT_EQ(readWholeFile(other / "precious").size(), 8u);
}

TEST_F(CreatedFile, IsNotCreatedThroughALinkThatLeadsNowhere) {
  const TemporaryFolder other;
  std::filesystem::create_symlink(other / "new", path);
  appendAt(0);
  recorder.reset();
  EXPECT_FALSE(other.has("new"));
}

}  // namespace
}  // namespace vx::test
