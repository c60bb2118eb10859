#include "support/pages_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>

#include "support/program.h"
#include "support/temporary_folder.h"

namespace vx::test {

std::vector<std::string> wordsOf(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

std::string shownByMan(const std::string& page) {
  const ProgramResult run =
      runProgram({"man", "--warnings", "-E", "ascii", "--nj", "--nh", "-l", page},
                 {"MANWIDTH=1000", "LC_ALL=C.UTF-8", "MANROFFOPT=-ww"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.errors, "");
  return run.output;
}

std::vector<std::string> completedByBash(const std::string& program, const std::string& script,
                                         const std::string& line, int current) {
  const ProgramResult run = runProgram({"bash", "--norc", "-c",
                                        "source " + script + "; COMP_WORDS=(" + line +
                                            "); COMP_CWORD=" + std::to_string(current) + "; _" +
                                            program + "; printf '%s\\n' \"${COMPREPLY[@]}\""});
  EXPECT_EQ(run.errors, "");
  return wordsOf(run.output);
}

// zsh shows matches only to a person at a terminal, so one of its own modules plays that person.
std::string completedByZsh(const std::string& folder, const std::string& line,
                           const std::string& last) {
  const TemporaryFolder home;
  const ProgramResult run = runProgram(
      {"zsh", "-f", "-c",
       "zmodload zsh/zpty; zpty z 'TERM=dumb zsh -f -i'; "
       "zpty -w z 'PS1=; unsetopt zle_bracketed_paste; LISTMAX=0; COLUMNS=200; LINES=500; fpath=(" +
           folder +
           " $fpath); autoload -Uz compinit; compinit -u -d $HOME/dump; "
           "zstyle \":completion:*\" list-prompt \"\"; PS1=READY'; "
           "zpty -r z out '*READY*READY*'; zpty -w -n z '" +
           line + "'$'\t\t'; zpty -r z more '*" + last + "*'; print -r -- $out $more"},
      {"HOME=" + home.path(), "ZDOTDIR=" + home.path()});
  EXPECT_EQ(run.status, 0) << run.errors;
  return run.output;
}

std::string completedByFish(const std::string& script, const std::string& line) {
  const ProgramResult run =
      runProgram({"fish", "--no-config", "-c", "source " + script + "; complete -C '" + line + "'"},
                 {"HOME=/nonexistent"});
  EXPECT_EQ(run.status, 0) << run.errors;
  return run.output;
}

void expectPageReadsLikeTheHelp(const std::string& page, const std::string& help,
                                const std::string& start) {
  const std::string shown = shownByMan(page);
  ASSERT_NE(shown.find(start), std::string::npos) << shown;
  const std::vector<std::string> wanted = wordsOf(help.substr(help.find(start)));
  std::vector<std::string> words = wordsOf(shown.substr(shown.find(start)));
  ASSERT_GE(words.size(), wanted.size());
  words.resize(wanted.size());
  EXPECT_EQ(words, wanted);
}

void expectFitsATerminal(const std::string& text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_LE(line.size(), 80u) << line;
  }
}

void expectEveryShellKnows(const std::string& program, const std::string& folder,
                           const std::vector<std::string>& options) {
  const std::string line = program + " --";
  const std::vector<std::string> bash =
      completedByBash(program, folder + "/" + program + ".bash", line, 1);
  const std::string zsh = completedByZsh(folder, line, "--version");
  const std::string fish = completedByFish(folder + "/" + program + ".fish", line);
  for (const std::string& option : options) {
    EXPECT_EQ(std::count(bash.begin(), bash.end(), option), 1) << option;
    EXPECT_NE(zsh.find(option), std::string::npos) << option;
    EXPECT_NE(fish.find(option), std::string::npos) << option;
  }
}

}  // namespace vx::test
