#include "option_table.h"

#include <algorithm>

#include "option_values.h"

namespace vxrecord {
namespace {

using Line = CommandLine;
using Text = std::string_view;

std::vector<std::string> pixelFormatWords() {
  std::vector<std::string> words;
  const std::string names = pixelFormatNames();
  for (std::size_t from = 0; from < names.size();) {
    const std::size_t comma = std::min(names.find(", ", from), names.size());
    words.push_back(names.substr(from, comma - from));
    from = comma + 2;
  }
  return words;
}

OptionEntry flag(Text name, Text letter, std::string text, void (*apply)(Line&, Text)) {
  return {name, letter, {}, std::move(text), Completion::nothing, {}, apply};
}

OptionEntry setting(Text name, Text value, std::string text, void (*apply)(Line&, Text)) {
  return {name, {}, value, std::move(text), Completion::nothing, {}, apply};
}

std::vector<OptionEntry> placeOptions() {
  std::vector<OptionEntry> entries = {
      setting("--storage-path", "DIR",
              "folder of the recording, made if missing (otherwise \"Ondrel Works\" in your "
              "Documents folder)",
              [](Line& line, Text text) { line.command.options.storagePath = parseFolder(text); }),
      setting("--filename", "NAME",
              "name of the recording; a file of that name is replaced (otherwise "
              "Display_<index>.mp4)",
              [](Line& line, Text text) { line.command.options.filename = parseFilename(text); }),
      setting("--index", "N", "the number in that default name (1)",
              [](Line& line, Text text) {
                line.command.options.index = parseNumber32("--index", text);
              }),
      setting("--file-name-prefix", "TEXT", "how --folder-limit recognises recordings",
              [](Line& line, Text text) { line.command.options.fileNamePrefix = text; }),
      setting("--folder-limit", "MB",
              "afterwards delete the oldest recordings beyond this size (0: none); those named "
              "like this one up to its last \"_\" are spared",
              [](Line& line, Text text) {
                line.command.options.folderLimitMegabytes = parseNumber64("--folder-limit", text);
              })};
  entries.front().completion = Completion::folders;
  return entries;
}

OptionEntry encoderOption() {
  OptionEntry entry =
      setting("--encoder", "NAME",
              "what codes the pictures, one of --list-encoders; auto takes hardware where it works",
              [](Line& line, Text text) { line.command.options.encoder = text; });
  entry.completion = Completion::encoders;
  return entry;
}

OptionEntry pixelFormatOption() {
  OptionEntry entry = setting(
      "--pixel-format", "CODE",
      "how frames reach the recorder: " + pixelFormatNames() +
          " (y420 is the default; it keeps no colour of its own for the last column of an "
          "odd width)",
      [](Line& line, Text text) { line.command.options.pixelFormat = parsePixelFormat(text); });
  entry.completion = Completion::words;
  entry.words = pixelFormatWords();
  return entry;
}

std::vector<OptionEntry> pictureOptions() {
  return {flag("--audio", "",
               "record the first sound of INPUT as well, as AAC; test: beeps each second",
               [](Line& line, Text) { line.command.options.audio = true; }),
          flag("--rotate", "", "show the recording turned by 90 degrees",
               [](Line& line, Text) { line.command.options.rotate = true; }),
          encoderOption(), pixelFormatOption()};
}

std::vector<OptionEntry> timeOptions() {
  return {setting("--duration", "SECONDS", "stop after this much of the input's time",
                  [](Line& line, Text text) {
                    line.command.options.durationMs = parseSeconds("--duration", text, false);
                  }),
          setting("--pause-at", "SECONDS",
                  "leave a part out that begins here and lasts --pause-for; at most one second of "
                  "black stands for it",
                  [](Line& line, Text text) {
                    line.pauseAtMs = parseSeconds("--pause-at", text, true);
                  }),
          setting("--pause-for", "SECONDS", "how long that part is",
                  [](Line& line, Text text) {
                    line.pauseForMs = parseSeconds("--pause-for", text, false);
                  }),
          flag("--realtime", "", "play a file by the clock, as if it were live",
               [](Line& line, Text) { line.command.options.realtime = true; })};
}

std::vector<OptionEntry> talkOptions() {
  using Action = Command::Action;
  return {
      flag("--json", "", "print one JSON object with the result on standard output",
           [](Line& line, Text) { line.command.options.json = true; }),
      flag("--quiet", "-q", "say nothing but errors",
           [](Line& line, Text) { line.isQuiet = true; }),
      flag("--verbose", "-v",
           "show the recorder's own log and FFmpeg's warnings; twice (-vv) all that FFmpeg says",
           [](Line& line, Text) { ++line.verbosity; }),
      flag("--list-encoders", "",
           "list the encoders that --encoder takes, and whether this machine can use them; with -v "
           "also what their licences ask",
           [](Line& line, Text) { line.command.action = Action::listEncoders; }),
      flag("--list-displays", "", "list the X displays that can be recorded, with their sizes",
           [](Line& line, Text) { line.command.action = Action::listDisplays; }),
      flag("--version", "", "print the version",
           [](Line& line, Text) { line.command.action = Action::showVersion; }),
      flag("--help", "-h", "print this help",
           [](Line& line, Text) { line.command.action = Action::showHelp; })};
}

std::vector<OptionEntry> allOptions() {
  std::vector<OptionEntry> all = placeOptions();
  for (std::vector<OptionEntry> part : {pictureOptions(), timeOptions(), talkOptions()}) {
    std::move(part.begin(), part.end(), std::back_inserter(all));
  }
  return all;
}

}  // namespace

const std::vector<OptionEntry>& optionTable() {
  static const std::vector<OptionEntry> table = allOptions();
  return table;
}

const OptionEntry* optionNamed(std::string_view nameOrLetter) {
  const auto& table = optionTable();
  const auto found = std::find_if(table.begin(), table.end(), [&](const OptionEntry& entry) {
    return entry.name == nameOrLetter || (!entry.letter.empty() && entry.letter == nameOrLetter);
  });
  return found == table.end() ? nullptr : &*found;
}

}  // namespace vxrecord
