// Desktop entries of freedesktop.org: how an installed application tells the desktop its name.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vx {

/// What of an application's entry matters here.
struct DesktopEntry {
  std::string name;                          // "Name"
  std::optional<std::string> localizedName;  // "Name[...]" in the best of the wanted languages
  std::optional<std::string> program;        // the first word of "Exec" that is the program
};

/// The entry that `text` describes, localised for `locale` (written as in LC_MESSAGES:
/// "lang_COUNTRY.ENCODING@MODIFIER"). Absent when the text is malformed, no UTF-8, no application,
/// lacks a name, or is marked as deleted.
std::optional<DesktopEntry> parseDesktopEntry(std::string_view text, std::string_view locale);

/// The keys under which names for `locale` may stand, best first; none for the plain languages "C"
/// and "POSIX".
std::vector<std::string> localeKeys(std::string_view locale);

/// The program that an "Exec" value starts: its first word, unquoted, past `env` and its
/// assignments.
std::optional<std::string> programOfExec(std::string_view exec);

}  // namespace vx
