// What the program tells about itself. One source for --help, the man page and the shells.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vxrecord {

/// A word that is explained, and its explanation without a line break.
struct ManualEntry {
  std::string term;
  std::string text;
};

struct ManualSection {
  std::string title;
  std::string before;  ///< a paragraph ahead of the entries; may be empty
  std::vector<ManualEntry> entries;
  std::string after;  ///< a paragraph behind them; may be empty
};

/// One sentence.
std::string_view manualSummary();
/// "vxrecord [options] INPUT" and so on.
const std::vector<std::string>& manualUsages();
/// The options are the section "OPTIONS".
const std::vector<ManualSection>& manualSections();

/// The text of --help, 80 columns wide.
std::string helpText();
/// The same in the language of man.
std::string manPage();

/// Scripts that complete the command line.
std::string bashCompletion();
std::string zshCompletion();
std::string fishCompletion();

struct Page {
  std::string path;  ///< below apps/vxrecord
  std::string text;
};
/// The files that are made of all this.
std::vector<Page> pages();

}  // namespace vxrecord
