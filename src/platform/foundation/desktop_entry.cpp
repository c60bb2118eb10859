#include "platform/foundation/desktop_entry.h"

#include "platform/foundation/utf8.h"

#include <algorithm>
#include <utility>

namespace vx {
namespace {

constexpr std::string_view kBlanks = " \t\r";

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return trimmed(line);
}

using Line = std::pair<std::string_view, std::string_view>;

// Key and value of each line in the main group, which is the first one. Absent when the text does
// not begin with that group.
std::optional<std::vector<Line>> mainGroup(std::string_view text) {
  std::vector<Line> lines;
  bool inGroup = false;
  while (!text.empty()) {
    const std::string_view line = takeLine(text);
    if (line.empty() || line.front() == '#') {
      continue;
    }
    if (line.front() == '[') {
      if (inGroup) {
        break;
      }
      inGroup = line == "[Desktop Entry]";
    }
    if (!inGroup) {
      return std::nullopt;
    }
    const std::size_t equals = line.find('=');
    if (equals != std::string_view::npos) {
      lines.emplace_back(trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
    }
  }
  return inGroup ? std::optional(std::move(lines)) : std::nullopt;
}

char escaped(char c) {
  switch (c) {
    case 's':
      return ' ';
    case 'n':
      return '\n';
    case 't':
      return '\t';
    case 'r':
      return '\r';
    default:
      return c;
  }
}

std::string unescaped(std::string_view value) {
  std::string text;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const bool isEscape = value[i] == '\\' && i + 1 < value.size();
    text += isEscape ? escaped(value[++i]) : value[i];
  }
  return text;
}

std::optional<std::string> valueOf(const std::vector<Line>& lines, std::string_view key) {
  const auto found = std::find_if(lines.begin(), lines.end(),
                                  [key](const Line& line) { return line.first == key; });
  return found != lines.end() ? std::optional(unescaped(found->second)) : std::nullopt;
}

std::optional<std::string> localizedValueOf(const std::vector<Line>& lines, std::string_view key,
                                            std::string_view locale) {
  for (const std::string& language : localeKeys(locale)) {
    auto value = valueOf(lines, std::string(key) + "[" + language + "]");
    if (value) {
      return value;
    }
  }
  return std::nullopt;
}

// One word of a command line; in double quotes a backslash stands for the character after it.
std::string takeWord(std::string_view& text) {
  text = trimmed(text);
  std::string word;
  bool quoted = false;
  std::size_t i = 0;
  for (; i < text.size(); ++i) {
    if (text[i] == '"') {
      quoted = !quoted;
    } else if (!quoted && kBlanks.find(text[i]) != std::string_view::npos) {
      break;
    } else {
      const bool isEscape = quoted && text[i] == '\\' && i + 1 < text.size();
      word += text[isEscape ? ++i : i];
    }
  }
  text.remove_prefix(i);
  return word;
}

std::string_view lastComponent(std::string_view path) {
  return path.substr(path.find_last_of('/') + 1);  // npos + 1 is 0
}

}  // namespace

std::optional<DesktopEntry> parseDesktopEntry(std::string_view text, std::string_view locale) {
  if (!isValidUTF8(text) || text.find('\0') != std::string_view::npos) {
    return std::nullopt;
  }
  const auto lines = mainGroup(text);
  if (!lines || valueOf(*lines, "Type") != "Application" || valueOf(*lines, "Hidden") == "true") {
    return std::nullopt;
  }
  std::optional<std::string> name = valueOf(*lines, "Name");
  if (!name) {
    return std::nullopt;
  }
  const std::optional<std::string> exec = valueOf(*lines, "Exec");
  return DesktopEntry{.name = *std::move(name),
                      .localizedName = localizedValueOf(*lines, "Name", locale),
                      .program = exec ? programOfExec(*exec) : std::nullopt};
}

std::vector<std::string> localeKeys(std::string_view locale) {
  const std::size_t at = locale.find('@');
  const std::string modifier(at != std::string_view::npos ? locale.substr(at) : "");
  locale = locale.substr(0, at);
  const std::string country(locale.substr(0, locale.find('.')));
  const std::string language = country.substr(0, country.find('_'));
  if (language.empty() || language == "C" || language == "POSIX") {
    return {};
  }
  std::vector<std::string> keys = {country + modifier, country, language + modifier, language};
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  return keys;
}

std::optional<std::string> programOfExec(std::string_view exec) {
  std::string word = takeWord(exec);
  if (lastComponent(word) == "env") {
    do {
      word = takeWord(exec);
    } while (word.find('=') != std::string::npos);
  }
  return word.empty() ? std::nullopt : std::optional(std::move(word));
}

}  // namespace vx
