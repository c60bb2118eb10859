#include "options.h"

#include <algorithm>
#include <array>

#include "command_words.h"

namespace vxrepair {
namespace {

using vxapps::quoted;
using vxapps::UsageError;

struct Flag {
  std::string_view name;
  bool Options::*field;
};
constexpr std::array<Flag, 3> kFlags = {
    {{"--dry-run", &Options::dryRun}, {"--json", &Options::json}, {"--quiet", &Options::quiet}}};

void takeFlag(std::string_view word, Options& options) {
  const std::string_view name = word.substr(0, word.find('='));
  const auto* flag = std::find_if(kFlags.begin(), kFlags.end(),
                                  [name](const Flag& each) { return each.name == name; });
  if (flag == kFlags.end())
    throw UsageError("unknown option " + quoted(word) +
                     "; vxrepair --help lists the options, and a file whose name begins with "
                     "\"-\" goes behind --");
  if (name != word) throw UsageError(std::string(name) + " takes no value");
  options.*(flag->field) = true;
}

void takeFile(const std::string& word, Options& options) {
  if (word.empty()) throw UsageError("a file is an empty text; name recordings");
  options.files.push_back(word);
}

}  // namespace

Command parseCommandLine(const std::vector<std::string>& words) {
  Command command;
  bool onlyFilesFollow = false;
  for (const std::string& word : words) {
    if (onlyFilesFollow || word.empty() || word.front() != '-') {
      takeFile(word, command.options);
    } else if (word == "--") {
      onlyFilesFollow = true;
    } else if (word == "--help" || word == "-h") {
      return {Command::Action::showHelp, {}};
    } else if (word == "--version") {
      return {Command::Action::showVersion, {}};
    } else {
      takeFlag(word, command.options);
    }
  }
  if (command.options.files.empty())
    throw UsageError("no recording given; name one or more (vxrepair --help tells more)");
  return command;
}

std::string_view helpText() {
  return R"(usage: vxrepair [options] FILE...

Completes recordings of VXVideoRecorder that were broken off by a crash, a kill
or a power cut. Such a file can be played as it is; what it lacks is the index
with which players jump in it and know its length. The repair adds that in the
file itself: no picture or sound is moved or changed. It may be broken off at
any moment and run again.

A recording that is complete already stays as it is. Refused, and left as they
are: a recording that is being written right now, and a file that is no
recording of VXVideoRecorder.

OPTIONS
Behind -- come file names only.
  --dry-run                say what would be recovered, and change nothing
  --json                   print one JSON object for each file, a line each, on
                           standard output
  --quiet                  say nothing but errors
  --version                print the version
  -h, --help               print this help

EXIT STATUS
  0                        every recording is complete (with --dry-run: is, or
                           can be made so)
  1                        one could not be repaired, or the answer could not be
                           printed
  2                        wrong use
)";
}

}  // namespace vxrepair
