// The command line, read into plain values.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vxrepair {

struct Options {
  std::vector<std::string> files;
  bool dryRun = false;
  bool json = false;
  bool quiet = false;
};

/// What the command line asks for.
struct Command {
  enum class Action : std::uint8_t { repair, showHelp, showVersion };
  Action action = Action::repair;
  Options options;
};

/// Reads the words behind the program's name.
/// Errors: throws vxapps::UsageError.
Command parseCommandLine(const std::vector<std::string>& words);

/// The text of --help.
std::string_view helpText();

}  // namespace vxrepair
