#include "options.h"

#include "option_table.h"

namespace vxrecord {
namespace {

/// One run over the words.
class Parser {
 public:
  explicit Parser(const std::vector<std::string>& words) : _words(words) {}
  Command parse();

 private:
  void takeWord(const std::string& word);
  void takeOption(std::string_view word);
  void takeLetters(const std::string& word);
  void takeInput(const std::string& word);
  std::string_view valueOf(std::string_view name, std::optional<std::string_view> attached);
  void joinTalk();
  void joinPause();

  const std::vector<std::string>& _words;
  std::size_t _next = 0;
  bool _onlyInputFollows = false;
  bool _hasInput = false;
  CommandLine _line;
};

[[noreturn]] void refuseUnknown(std::string_view word) {
  throw UsageError("unknown option " + quoted(word) +
                   "; vxrecord --help lists the options, and an input whose name begins with "
                   "\"-\" goes behind --");
}

Command Parser::parse() {
  using Action = Command::Action;
  const Action& action = _line.command.action;
  while (_next < _words.size()) {
    takeWord(_words[_next++]);
    // Who asks for help need not have got the rest right.
    if (action == Action::showHelp || action == Action::showVersion) {
      return _line.command;
    }
  }
  joinTalk();
  if (action == Action::record) {
    if (!_hasInput) {
      throw UsageError(
          "no input given; name a file, x11:DISPLAY or test:WxH@FPS (vxrecord --help tells more)");
    }
    joinPause();
  }
  return _line.command;
}

void Parser::takeWord(const std::string& word) {
  if (_onlyInputFollows || word == "-" || word.empty() || word.front() != '-') {
    takeInput(word);
  } else if (word == "--") {
    _onlyInputFollows = true;
  } else if (word.starts_with("--")) {
    takeOption(word);
  } else {
    takeLetters(word);
  }
}

void Parser::takeOption(std::string_view word) {
  const std::size_t equals = word.find('=');
  const std::string_view name = word.substr(0, equals);
  std::optional<std::string_view> attached;
  if (equals != std::string_view::npos) {
    attached = word.substr(equals + 1);
  }
  const OptionEntry* option = optionNamed(name);
  if (!option) {
    refuseUnknown(word);
  }
  if (!option->value.empty()) {
    option->apply(_line, valueOf(name, attached));
    return;
  }
  if (attached) {
    throw UsageError(std::string(name) + " takes no value");
  }
  option->apply(_line, {});
}

// Letters stand for options without a value and may stand together, as in -vv. A name such as
// "-dash.mkv" is refused before any of them counts.
void Parser::takeLetters(const std::string& word) {
  std::vector<const OptionEntry*> options;
  for (const char letter : word.substr(1)) {
    options.push_back(optionNamed(std::string{'-', letter}));
    if (!options.back()) {
      refuseUnknown(word);
    }
  }
  for (const OptionEntry* option : options) {
    option->apply(_line, {});
  }
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
    throw UsageError("two inputs given, " + quoted(_line.command.options.input) + " and " +
                     quoted(word) + "; one recording takes one (put names with blanks in quotes)");
  }
  _hasInput = true;
  _line.command.options.input = word;
}

void Parser::joinTalk() {
  if (_line.isQuiet && _line.verbosity > 0) {
    throw UsageError("--quiet and --verbose exclude each other");
  }
  Talk& talk = _line.command.options.talk;
  if (_line.isQuiet) {
    talk = Talk::quiet;
  } else if (_line.verbosity > 0) {
    talk = _line.verbosity == 1 ? Talk::verbose : Talk::debug;
  }
}

void Parser::joinPause() {
  if (_line.pauseAtMs.has_value() != _line.pauseForMs.has_value()) {
    throw UsageError("--pause-at and --pause-for go together: when, and for how long");
  }
  if (_line.pauseAtMs) {
    _line.command.options.pause = PauseWish{*_line.pauseAtMs, *_line.pauseForMs};
  }
}

}  // namespace

Command parseCommandLine(const std::vector<std::string>& words) { return Parser(words).parse(); }

}  // namespace vxrecord
