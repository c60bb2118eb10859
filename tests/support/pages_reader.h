// Manual pages and completions as a person meets them: by man and by the shells.
#pragma once

#include <string>
#include <vector>

namespace vx::test {

/// The words of a text, without what a renderer does with them.
std::vector<std::string> wordsOf(const std::string& text);

/// A manual page as man shows it. A warning of its is a failed expectation.
std::string shownByMan(const std::string& page);

/// What bash offers for word number `current` of a command line, by the completion of a program
/// that stands in `script`. An error of the script is a failed expectation.
std::vector<std::string> completedByBash(const std::string& program, const std::string& script,
                                         const std::string& line, int current);
/// All that zsh shows when Tab is pressed twice behind `line`; `last` is in it. Completions lie in
/// `folder`.
std::string completedByZsh(const std::string& folder, const std::string& line,
                           const std::string& last);
/// All that fish offers behind `line`.
std::string completedByFish(const std::string& script, const std::string& line);

/// Expects the words of a program's help in its manual page, in the same order, both from where
/// `start` stands first.
void expectPageReadsLikeTheHelp(const std::string& page, const std::string& help,
                                const std::string& start);
/// Expects lines of at most 80 characters.
void expectFitsATerminal(const std::string& text);
/// Expects that each shell offers the options of a program whose completions lie in `folder`;
/// --version is one of them.
void expectEveryShellKnows(const std::string& program, const std::string& folder,
                           const std::vector<std::string>& options);

}  // namespace vx::test
