#include "options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>

namespace vxrecord {
namespace {

constexpr double kMillisecondsPerSecond = 1000.0;
constexpr double kMostSeconds = 1e9;

std::string quoted(std::string_view text) {
  std::string result = "\"";
  result += text;
  return result += '"';
}

template <typename Number>
std::optional<Number> wholeText(std::string_view text) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto [position, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || position != end) {
    return std::nullopt;
  }
  return number;
}

template <typename Number>
Number parseWholeNumber(std::string_view option, std::string_view text) {
  if (const auto number = wholeText<Number>(text)) {
    return *number;
  }
  throw UsageError(std::string(option) + " takes a whole number from 0 to " +
                   std::to_string(std::numeric_limits<Number>::max()) + ", not " + quoted(text));
}

std::int64_t parseSeconds(std::string_view option, std::string_view text, bool zeroIsAllowed) {
  const auto seconds = wholeText<double>(text);
  const bool isFine = seconds && std::isfinite(*seconds) && *seconds <= kMostSeconds &&
                      (*seconds > 0 || (zeroIsAllowed && *seconds == 0));
  if (!isFine) {
    throw UsageError(std::string(option) + " takes a number of seconds such as 2.5, " +
                     (zeroIsAllowed ? "0 or more" : "more than 0") + ", not " + quoted(text));
  }
  return std::llround(*seconds * kMillisecondsPerSecond);
}

PixelFormat parsePixelFormat(std::string_view text) {
  if (const auto format = pixelFormatNamed(text)) {
    return *format;
  }
  throw UsageError("unknown pixel format " + quoted(text) +
                   "; --pixel-format takes one of: " + pixelFormatNames());
}

// A name that holds a folder would let a recording land outside the storage folder.
std::string parseFilename(std::string_view text) {
  if (text.empty() || text == "." || text == ".." || text.find('/') != std::string_view::npos) {
    throw UsageError("--filename takes a name without a folder, not " + quoted(text) +
                     "; the folder is given with --storage-path");
  }
  return std::string(text);
}

std::string parseFolder(std::string_view text) {
  if (text.empty()) {
    throw UsageError("--storage-path takes a folder, not an empty text");
  }
  return std::string(text);
}

/// One run over the words; `pauseAt` and `pauseFor` are joined at the end.
class Parser {
 public:
  explicit Parser(const std::vector<std::string>& words) : _words(words) {}
  Command parse();

 private:
  struct Flag {
    std::string_view name;
    std::function<void(Parser&)> apply;
  };
  struct Setting {
    std::string_view name;
    std::function<void(Parser&, std::string_view)> apply;
  };
  static const std::vector<Flag>& flags();
  static const std::vector<Setting>& settings();

  void takeWord(const std::string& word);
  void takeOption(std::string_view word);
  void takeInput(const std::string& word);
  std::string_view valueOf(std::string_view name, std::optional<std::string_view> attached);
  void setTalk(Talk talk);
  void joinPause();

  const std::vector<std::string>& _words;
  std::size_t _next = 0;
  bool _onlyInputFollows = false;
  bool _hasInput = false;
  bool _hasTalk = false;
  std::optional<std::int64_t> _pauseAtMs;
  std::optional<std::int64_t> _pauseForMs;
  Command _command;
};

const std::vector<Parser::Flag>& Parser::flags() {
  static const std::vector<Flag> all = {
      {"--audio", [](Parser& p) { p._command.options.audio = true; }},
      {"--rotate", [](Parser& p) { p._command.options.rotate = true; }},
      {"--realtime", [](Parser& p) { p._command.options.realtime = true; }},
      {"--json", [](Parser& p) { p._command.options.json = true; }},
      {"--quiet", [](Parser& p) { p.setTalk(Talk::quiet); }},
      {"--verbose", [](Parser& p) { p.setTalk(Talk::verbose); }},
  };
  return all;
}

const std::vector<Parser::Setting>& Parser::settings() {
  using Text = std::string_view;
  static const std::vector<Setting> all = {
      {"--storage-path",
       [](Parser& p, Text text) { p._command.options.storagePath = parseFolder(text); }},
      {"--filename",
       [](Parser& p, Text text) { p._command.options.filename = parseFilename(text); }},
      {"--file-name-prefix",
       [](Parser& p, Text text) { p._command.options.fileNamePrefix = std::string(text); }},
      {"--index",
       [](Parser& p, Text text) {
         p._command.options.index = parseWholeNumber<std::uint32_t>("--index", text);
       }},
      {"--folder-limit",
       [](Parser& p, Text text) {
         p._command.options.folderLimitMegabytes =
             parseWholeNumber<std::uint64_t>("--folder-limit", text);
       }},
      {"--pixel-format",
       [](Parser& p, Text text) { p._command.options.pixelFormat = parsePixelFormat(text); }},
      {"--duration",
       [](Parser& p, Text text) {
         p._command.options.durationMs = parseSeconds("--duration", text, false);
       }},
      {"--pause-at",
       [](Parser& p, Text text) { p._pauseAtMs = parseSeconds("--pause-at", text, true); }},
      {"--pause-for",
       [](Parser& p, Text text) { p._pauseForMs = parseSeconds("--pause-for", text, false); }},
  };
  return all;
}

Command Parser::parse() {
  while (_next < _words.size()) {
    takeWord(_words[_next++]);
    if (_command.action != Command::Action::record) {
      return _command;
    }
  }
  if (!_hasInput) {
    throw UsageError(
        "no input given; name a file, x11:DISPLAY or test:WxH@FPS (vxrecord --help tells more)");
  }
  joinPause();
  return _command;
}

void Parser::takeWord(const std::string& word) {
  if (_onlyInputFollows || word == "-" || word.empty() || word.front() != '-') {
    takeInput(word);
  } else if (word == "--") {
    _onlyInputFollows = true;
  } else if (word == "--help" || word == "-h") {
    _command.action = Command::Action::showHelp;
  } else if (word == "--version") {
    _command.action = Command::Action::showVersion;
  } else {
    takeOption(word);
  }
}

void Parser::takeOption(std::string_view word) {
  const std::size_t equals = word.find('=');
  const std::string_view name = word.substr(0, equals);
  std::optional<std::string_view> attached;
  if (equals != std::string_view::npos) {
    attached = word.substr(equals + 1);
  }
  const auto isNamed = [name](const auto& option) { return option.name == name; };
  const auto setting = std::find_if(settings().begin(), settings().end(), isNamed);
  if (setting != settings().end()) {
    setting->apply(*this, valueOf(name, attached));
    return;
  }
  const auto flag = std::find_if(flags().begin(), flags().end(), isNamed);
  if (flag == flags().end()) {
    throw UsageError("unknown option " + quoted(word) +
                     "; vxrecord --help lists the options, and an input whose name begins with "
                     "\"-\" goes behind --");
  }
  if (attached) {
    throw UsageError(std::string(name) + " takes no value");
  }
  flag->apply(*this);
}

std::string_view Parser::valueOf(std::string_view name, std::optional<std::string_view> attached) {
  if (attached) {
    return *attached;
  }
  if (_next == _words.size()) {
    throw UsageError(std::string(name) + " needs a value behind it");
  }
  return _words[_next++];
}

void Parser::takeInput(const std::string& word) {
  if (word.empty()) {
    throw UsageError("the input is an empty text; name a file, x11:DISPLAY or test:WxH@FPS");
  }
  if (_hasInput) {
    throw UsageError("two inputs given, " + quoted(_command.options.input) + " and " +
                     quoted(word) + "; one recording takes one (put names with blanks in quotes)");
  }
  _hasInput = true;
  _command.options.input = word;
}

void Parser::setTalk(Talk talk) {
  if (_hasTalk && _command.options.talk != talk) {
    throw UsageError("--quiet and --verbose exclude each other");
  }
  _hasTalk = true;
  _command.options.talk = talk;
}

void Parser::joinPause() {
  if (_pauseAtMs.has_value() != _pauseForMs.has_value()) {
    throw UsageError("--pause-at and --pause-for go together: when, and for how long");
  }
  if (_pauseAtMs) {
    _command.options.pause = PauseWish{*_pauseAtMs, *_pauseForMs};
  }
}

}  // namespace

Command parseCommandLine(const std::vector<std::string>& words) { return Parser(words).parse(); }

bool asksForJson(const std::vector<std::string>& words) {
  const auto end = std::find(words.begin(), words.end(), "--");
  return std::find(words.begin(), end, "--json") != end;
}

}  // namespace vxrecord
