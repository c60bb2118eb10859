// The manual page and the completions tell what the program does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "options.h"
#include "support/pages_reader.h"

namespace vxrepair {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using vx::test::completedByBash;
using vx::test::completedByFish;
using vx::test::completedByZsh;
using vx::test::wordsOf;

const std::string kFolder = VXREPAIR_SOURCE_FOLDER;
const std::string kBash = kFolder + "/completions/vxrepair.bash";

/// What stands in the help, each once.
std::vector<std::string> optionNames() {
  std::vector<std::string> names;
  for (std::string word : wordsOf(std::string(helpText()))) {
    if (word.starts_with("--") && word.size() > 2 && word.find_first_of("):") == word.npos) {
      names.push_back(word);
    }
  }
  return names;
}

TEST(Manual, PageReadsLikeTheHelp) {
  const std::string help(helpText());
  const std::string page = vx::test::shownByMan(kFolder + "/vxrepair.1");
  const std::vector<std::string> wanted = wordsOf(help.substr(help.find("Completes ")));
  std::vector<std::string> shown = wordsOf(page.substr(page.find("Completes ")));
  ASSERT_GE(shown.size(), wanted.size());
  shown.resize(wanted.size());
  EXPECT_EQ(shown, wanted);
}

TEST(Manual, HelpFitsATerminal) {
  std::string_view help = helpText();
  for (std::size_t end = 0; (end = help.find('\n')) != help.npos; help.remove_prefix(end + 1)) {
    EXPECT_LE(end, 80u) << help.substr(0, end);
  }
}

TEST(Completion, EveryShellKnowsEveryOption) {
  ASSERT_EQ(optionNames().size(), 5u);
  const std::vector<std::string> bash = completedByBash("vxrepair", kBash, "vxrepair --", 1);
  const std::string zsh = completedByZsh(kFolder + "/completions", "vxrepair --", "--version");
  const std::string fish = completedByFish(kFolder + "/completions/vxrepair.fish", "vxrepair --");
  for (const std::string& name : optionNames()) {
    EXPECT_THAT(bash, testing::Contains(name));
    EXPECT_THAT(zsh, HasSubstr(name));
    EXPECT_THAT(fish, HasSubstr(name));
  }
  EXPECT_THAT(completedByBash("vxrepair", kBash, "vxrepair --dr", 1), ElementsAre("--dry-run"));
}

}  // namespace
}  // namespace vxrepair
