#include "options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command_words.h"

namespace vxrepair {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string complaintAbout(const std::vector<std::string>& words) {
  try {
    parseCommandLine(words);
  } catch (const vxapps::UsageError& error) {
    return error.what();
  }
  return "";
}

TEST(Options, TakesFilesAndFlagsInAnyOrder) {
  const Command command = parseCommandLine({"a.mp4", "--dry-run", "b.mp4", "--json"});
  EXPECT_EQ(command.action, Command::Action::repair);
  EXPECT_THAT(command.options.files, ElementsAre("a.mp4", "b.mp4"));
  EXPECT_TRUE(command.options.dryRun);
  EXPECT_TRUE(command.options.json);
  EXPECT_FALSE(command.options.quiet);
}

TEST(Options, TakesEverythingBehindTwoDashesAsFiles) {
  EXPECT_THAT(parseCommandLine({"--", "--json", "-x.mp4"}).options.files,
              ElementsAre("--json", "-x.mp4"));
}

TEST(Options, TellsWhatIsWrong) {
  EXPECT_EQ(complaintAbout({}),
            "no recording given; name one or more (vxrepair --help tells more)");
  EXPECT_THAT(complaintAbout({"--fix", "a"}), HasSubstr("unknown option \"--fix\""));
  EXPECT_THAT(complaintAbout({"--json=1", "a"}), HasSubstr("takes no value"));
  EXPECT_THAT(complaintAbout({""}), HasSubstr("empty text"));
}

TEST(Options, ShowsHelpAndVersion) {
  EXPECT_EQ(parseCommandLine({"--help"}).action, Command::Action::showHelp);
  EXPECT_EQ(parseCommandLine({"-h", "--nonsense"}).action, Command::Action::showHelp);
  EXPECT_EQ(parseCommandLine({"--version"}).action, Command::Action::showVersion);
  for (const char* option : {"--dry-run", "--json", "--quiet", "--version", "--help"})
    EXPECT_THAT(std::string(helpText()), HasSubstr(option));
}

}  // namespace
}  // namespace vxrepair
