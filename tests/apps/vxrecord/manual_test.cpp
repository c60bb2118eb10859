#include "manual.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "option_table.h"
#include "support/program.h"
#include "support/temporary_folder.h"

namespace vxrecord {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using vx::test::ProgramResult;
using vx::test::runProgram;

std::string contentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::string pagePath(const std::string& path) { return VXRECORD_SOURCE_FOLDER "/" + path; }

/// The words of a text, without what a renderer does with them.
std::vector<std::string> wordsOf(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

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
  const ProgramResult run = runProgram(
      {"man", "--warnings", "-E", "ascii", "--nj", "--nh", "-l", pagePath("man/vxrecord.1")},
      {"MANWIDTH=1000", "LC_ALL=C.UTF-8", "MANROFFOPT=-ww"});
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(run.errors, IsEmpty());
  std::vector<std::string> help = wordsOf(helpText().substr(helpText().find("\nINPUT\n")));
  const std::vector<std::string> page = wordsOf(run.output.substr(run.output.find("\nINPUT\n")));
  ASSERT_GE(page.size(), help.size());
  EXPECT_EQ(std::vector(page.begin(), page.begin() + static_cast<std::ptrdiff_t>(help.size())),
            help);
}

std::vector<std::string> completedByBash(const std::string& words, int current) {
  const ProgramResult run =
      runProgram({"bash", "--norc", "-c",
                  "source " + pagePath("completions/vxrecord.bash") + "; COMP_WORDS=(" + words +
                      "); COMP_CWORD=" + std::to_string(current) +
                      "; _vxrecord; printf '%s\\n' \"${COMPREPLY[@]}\""});
  EXPECT_THAT(run.errors, IsEmpty());
  return wordsOf(run.output);
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

// zsh shows matches only to a person at a terminal, so one of its own modules plays that person.
TEST(Completion, ZshKnowsEveryOption) {
  const TemporaryFolder folder;
  const ProgramResult run = runProgram(
      {"zsh", "-f", "-c",
       "zmodload zsh/zpty; zpty z 'TERM=dumb zsh -f -i'; "
       "zpty -w z 'PS1=; unsetopt zle_bracketed_paste; LISTMAX=0; COLUMNS=200; LINES=500; fpath=(" +
           pagePath("completions") +
           " $fpath); autoload -Uz compinit; compinit -u -d $PWD/dump; "
           "zstyle \":completion:*\" list-prompt \"\"; PS1=READY'; "
           "zpty -r z out '*READY*READY*'; zpty -w -n z 'vxrecord --'$'\t\t'; "
           "zpty -r z more '*--version*'; print -r -- $out $more"},
      {"HOME=" + folder.path(), "ZDOTDIR=" + folder.path()});
  EXPECT_EQ(run.status, 0) << run.errors;
  for (const OptionEntry& option : optionTable()) {
    EXPECT_THAT(run.output, HasSubstr(std::string(option.name)));
  }
}

TEST(Completion, FishKnowsEveryOption) {
  const ProgramResult run =
      runProgram({"fish", "--no-config", "-c",
                  "source " + pagePath("completions/vxrecord.fish") +
                      "; complete -C 'vxrecord --'; complete -C 'vxrecord --pixel-format y'"},
                 {"HOME=/nonexistent"});
  EXPECT_EQ(run.status, 0) << run.errors;
  for (const OptionEntry& option : optionTable()) {
    EXPECT_THAT(run.output, HasSubstr(std::string(option.name)));
  }
  EXPECT_THAT(run.output, HasSubstr("yuvs"));
}

}  // namespace
}  // namespace vxrecord
