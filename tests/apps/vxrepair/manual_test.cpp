// The manual page and the completions tell what the program does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "options.h"
#include "support/pages_reader.h"

namespace vxrepair {
namespace {

const std::string kFolder = VXREPAIR_SOURCE_FOLDER;

/// What stands in the help, each once.
std::vector<std::string> optionNames() {
  std::vector<std::string> names;
  for (std::string word : vx::test::wordsOf(std::string(helpText()))) {
    if (word.starts_with("--") && word.size() > 2 && word.find_first_of("):") == word.npos) {
      names.push_back(word);
    }
  }
  return names;
}

TEST(Manual, PageReadsLikeTheHelp) {
  vx::test::expectPageReadsLikeTheHelp(kFolder + "/vxrepair.1", std::string(helpText()),
                                       "Completes ");
}

TEST(Manual, HelpFitsATerminal) { vx::test::expectFitsATerminal(std::string(helpText())); }

TEST(Completion, EveryShellKnowsEveryOption) {
  ASSERT_EQ(optionNames().size(), 5u);
  vx::test::expectEveryShellKnows("vxrepair", kFolder + "/completions", optionNames());
  EXPECT_THAT(vx::test::completedByBash("vxrepair", kFolder + "/completions/vxrepair.bash",
                                        "vxrepair --dr", 1),
              testing::ElementsAre("--dry-run"));
}

}  // namespace
}  // namespace vxrepair
