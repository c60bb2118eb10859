#include "manual.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "option_table.h"
#include "support/pages_reader.h"
#include "support/temporary_folder.h"

namespace vxrecord {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using vx::test::completedByFish;
using vx::test::completedByZsh;

std::string contentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::string pagePath(const std::string& path) { return VXRECORD_SOURCE_FOLDER "/" + path; }

TEST(Manual, PagesAreWhatTheProgramTells) {
  for (const Page& page : pages()) {
    EXPECT_EQ(contentsOf(pagePath(page.path)), page.text)
        << page.path << " is out of date: build the target write_pages";
  }
}

TEST(Manual, HelpFitsATerminal) { vx::test::expectFitsATerminal(helpText()); }

TEST(Manual, EveryOptionIsExplainedAndDoesSomething) {
  for (const OptionEntry& option : optionTable()) {
    EXPECT_THAT(helpText(), HasSubstr(std::string(option.name))) << option.name;
    EXPECT_NE(option.apply, nullptr) << option.name;
    EXPECT_FALSE(option.text.empty()) << option.name;
  }
}

// As a person reads it: what --help tells stands in the page in the same words and order.
TEST(Manual, PageReadsLikeTheHelp) {
  vx::test::expectPageReadsLikeTheHelp(pagePath("man/vxrecord.1"), helpText(), "\nINPUT\n");
}

std::vector<std::string> completedByBash(const std::string& line, int current) {
  return vx::test::completedByBash("vxrecord", pagePath("completions/vxrecord.bash"), line,
                                   current);
}

TEST(Completion, EveryShellKnowsEveryOption) {
  std::vector<std::string> names;
  for (const OptionEntry& option : optionTable()) {
    names.emplace_back(option.name);
  }
  vx::test::expectEveryShellKnows("vxrecord", pagePath("completions"), names);
  EXPECT_THAT(completedByBash("vxrecord --stor", 1), ElementsAre("--storage-path"));
}

TEST(Completion, BashKnowsTheValues) {
  EXPECT_THAT(completedByBash("vxrecord --pixel-format y", 2), ElementsAre("y420", "yuvs"));
  EXPECT_THAT(completedByBash("vxrecord --pixel-format = gr", 3), ElementsAre("gray"));
  EXPECT_THAT(completedByBash("vxrecord test", 1), testing::Contains("test:"));
  EXPECT_THAT(completedByBash("vxrecord verif", 1), testing::Contains("verify"));
  EXPECT_THAT(completedByBash("vxrecord verify --", 2), ElementsAre("--json", "--svg"));
  const TemporaryFolder folder;
  folder.makeFolder("wanted");
  EXPECT_THAT(completedByBash("vxrecord --storage-path " + (folder / "wan"), 2),
              ElementsAre(folder / "wanted"));
}

TEST(Completion, ZshKnowsWhatVerifyTakes) {
  const std::string shown = completedByZsh(pagePath("completions"), "vxrecord verify --", "--svg");
  EXPECT_THAT(shown, HasSubstr("--json"));
  EXPECT_THAT(shown, testing::Not(HasSubstr("--rotate")));
}

TEST(Completion, FishKnowsTheValues) {
  EXPECT_THAT(completedByFish(pagePath("completions/vxrecord.fish"), "vxrecord --pixel-format y"),
              HasSubstr("yuvs"));
}

}  // namespace
}  // namespace vxrecord
