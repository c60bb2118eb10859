#include "manual.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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
using vx::test::shownByMan;
using vx::test::wordsOf;

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

TEST(Manual, HelpFitsATerminal) {
  std::istringstream lines(helpText());
  for (std::string line; std::getline(lines, line);) {
    EXPECT_LE(line.size(), 80u) << line;
  }
}

TEST(Manual, EveryOptionIsExplainedAndDoesSomething) {
  for (const OptionEntry& option : optionTable()) {
    EXPECT_THAT(helpText(), HasSubstr(std::string(option.name))) << option.name;
    EXPECT_NE(option.apply, nullptr) << option.name;
    EXPECT_FALSE(option.text.empty()) << option.name;
  }
}

// As a person reads it: what --help tells stands in the page in the same words and order.
TEST(Manual, PageReadsLikeTheHelp) {
  const std::string shown = shownByMan(pagePath("man/vxrecord.1"));
  std::vector<std::string> help = wordsOf(helpText().substr(helpText().find("\nINPUT\n")));
  const std::vector<std::string> page = wordsOf(shown.substr(shown.find("\nINPUT\n")));
  ASSERT_GE(page.size(), help.size());
  EXPECT_EQ(std::vector(page.begin(), page.begin() + static_cast<std::ptrdiff_t>(help.size())),
            help);
}

std::vector<std::string> completedByBash(const std::string& line, int current) {
  return vx::test::completedByBash("vxrecord", pagePath("completions/vxrecord.bash"), line,
                                   current);
}

TEST(Completion, BashKnowsEveryOption) {
  const std::vector<std::string> names = completedByBash("vxrecord --", 1);
  for (const OptionEntry& option : optionTable()) {
    EXPECT_THAT(names, testing::Contains(std::string(option.name)));
  }
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

TEST(Completion, ZshKnowsEveryOption) {
  const std::string shown = completedByZsh(pagePath("completions"), "vxrecord --", "--version");
  for (const OptionEntry& option : optionTable()) {
    EXPECT_THAT(shown, HasSubstr(std::string(option.name)));
  }
}

TEST(Completion, ZshKnowsWhatVerifyTakes) {
  const std::string shown = completedByZsh(pagePath("completions"), "vxrecord verify --", "--svg");
  EXPECT_THAT(shown, HasSubstr("--json"));
  EXPECT_THAT(shown, testing::Not(HasSubstr("--rotate")));
}

TEST(Completion, FishKnowsEveryOption) {
  const std::string script = pagePath("completions/vxrecord.fish");
  const std::string offered = completedByFish(script, "vxrecord --");
  for (const OptionEntry& option : optionTable()) {
    EXPECT_THAT(offered, HasSubstr(std::string(option.name)));
  }
  EXPECT_THAT(completedByFish(script, "vxrecord --pixel-format y"), HasSubstr("yuvs"));
}

}  // namespace
}  // namespace vxrecord
