#include <algorithm>

#include "manual.h"

namespace vxrecord {
namespace {

constexpr std::size_t kWidth = 80;
constexpr std::size_t kTermIndent = 2;
constexpr std::size_t kTextIndent = 27;

/// `text` in lines of at most `kWidth`, each behind `indent` blanks; the first line goes behind
/// what stands there already.
std::string wrapped(std::string_view text, std::size_t indent, std::size_t column) {
  std::string lines;
  while (!text.empty()) {
    const std::size_t length = std::min(text.find(' '), text.size());
    const bool isFirstOfLine = column <= indent;
    if (!isFirstOfLine && column + 1 + length > kWidth) {
      lines += '\n' + std::string(indent, ' ');
      column = indent;
    } else if (!isFirstOfLine) {
      lines += ' ';
      ++column;
    }
    lines += text.substr(0, length);
    column += length;
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  return lines + '\n';
}

std::string lineOf(const ManualEntry& entry) {
  std::string line = std::string(kTermIndent, ' ') + entry.term;
  if (line.size() + 1 > kTextIndent) {
    line += '\n';
    line += std::string(kTextIndent, ' ');
  } else {
    line.resize(kTextIndent, ' ');
  }
  return line + wrapped(entry.text, kTextIndent, kTextIndent);
}

}  // namespace

std::string helpText() {
  std::string text;
  for (const std::string& usage : manualUsages()) {
    text += (text.empty() ? "usage: " : "       ") + usage + '\n';
  }
  text += '\n' + wrapped(manualSummary(), 0, 0);
  for (const ManualSection& section : manualSections()) {
    text += '\n' + section.title + '\n';
    text += section.before.empty() ? "" : wrapped(section.before, 0, 0);
    for (const ManualEntry& entry : section.entries) {
      text += lineOf(entry);
    }
    text += section.after.empty() ? "" : wrapped(section.after, 0, 0);
  }
  return text;
}

}  // namespace vxrecord
