#include "manual.h"

namespace vxrecord {
namespace {

/// A minus that can be copied, no line that begins with a command, no escape that was not meant.
std::string escaped(std::string_view text) {
  std::string result = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
  for (const char character : text) {
    switch (character) {
      case '\\':
        result += "\\e";
        break;
      case '-':
        result += "\\-";
        break;
      default:
        result += character;
    }
  }
  return result;
}

/// As the value of a request, where quotes count.
std::string quotedForMan(std::string_view text) {
  std::string result = "\"";
  for (const char character : escaped(text)) {
    result += character == '"' ? "\\(dq" : std::string(1, character);
  }
  return result + '"';
}

}  // namespace

std::string manPage() {
  std::string page = ".TH VXRECORD 1 \"\" \"VXVideoRecorder\"\n";
  page += ".SH NAME\nvxrecord \\- record a file, a display or a stream into a crash\\-safe MP4\n";
  page += ".SH SYNOPSIS\n.nf\n";
  for (const std::string& usage : manualUsages()) {
    page += escaped(usage) + '\n';
  }
  page += ".fi\n.SH DESCRIPTION\n" + escaped(manualSummary()) + '\n';
  for (const ManualSection& section : manualSections()) {
    page += ".SH " + quotedForMan(section.title) + '\n';
    page += section.before.empty() ? "" : escaped(section.before) + '\n';
    for (const ManualEntry& entry : section.entries) {
      page += ".TP\n.B " + quotedForMan(entry.term) + '\n' + escaped(entry.text) + '\n';
    }
    page += section.after.empty() ? "" : ".PP\n" + escaped(section.after) + '\n';
  }
  return page;
}

}  // namespace vxrecord
