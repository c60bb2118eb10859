#include "platform/foundation/installed_application.h"

#include "platform/foundation/search_paths.h"
#include "platform/foundation/small_file.h"

#include <cstdlib>
#include <filesystem>
#include <map>

namespace vx {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kExtension = ".desktop";

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string localeOfMessages() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    std::string value = environment(name);
    if (!value.empty()) {
      return value;
    }
  }
  return "";
}

// Most important first. Relative paths are invalid there and ignored.
std::vector<fs::path> dataFolders() {
  std::string list = environment("XDG_DATA_DIRS");
  if (list.empty()) {
    list = "/usr/local/share:/usr/share";
  }
  std::string own = environment("XDG_DATA_HOME");
  if (!fs::path(own).is_absolute()) {
    own = homeFolder() + "/.local/share";
  }
  std::vector<fs::path> folders = {own};
  for (std::size_t begin = 0; begin <= list.size();) {
    const std::size_t end = std::min(list.find(':', begin), list.size());
    fs::path folder = list.substr(begin, end - begin);
    if (folder.is_absolute()) {
      folders.push_back(std::move(folder));
    }
    begin = end + 1;
  }
  return folders;
}

// An entry in a sub-folder is named by the whole way to it: kde/editor.desktop is kde-editor.
std::string nameOfEntry(const fs::path& relativePath) {
  std::string name = relativePath.string();
  name.resize(name.size() - kExtension.size());
  for (char& c : name) {
    if (c == '/') {
      c = '-';
    }
  }
  return name;
}

using Entries = std::map<std::string, fs::path>;

void addEntries(const fs::path& folder, Entries& entries) {
  constexpr int kDeepestFolder = 4;  // vendors use one level
  std::error_code error;
  fs::recursive_directory_iterator item(folder, fs::directory_options::skip_permission_denied,
                                        error);
  for (; !error && item != fs::recursive_directory_iterator(); item.increment(error)) {
    if (item.depth() >= kDeepestFolder) {
      item.disable_recursion_pending();
    }
    const fs::path& path = item->path();
    if (path.extension() == kExtension) {
      entries.try_emplace(nameOfEntry(path.lexically_relative(folder)), path);
    }
  }
}

bool starts(const DesktopEntry& entry, const fs::path& executable) {
  if (!entry.program) {
    return false;
  }
  const fs::path program = *entry.program;
  if (!program.is_absolute()) {
    return program == executable.filename();
  }
  std::error_code ignored;
  return program == executable || fs::equivalent(program, executable, ignored);
}

}  // namespace

std::optional<DesktopEntry> desktopEntryOfProgram(const std::string& executablePath) {
  const fs::path executable = executablePath;
  const std::string locale = localeOfMessages();
  Entries entries;
  for (const fs::path& folder : dataFolders()) {
    addEntries(folder / "applications", entries);
  }
  const auto read = [&locale](const fs::path& path) -> std::optional<DesktopEntry> {
    const std::optional<std::string> text = contentsOfSmallFile(path);
    return text ? parseDesktopEntry(*text, locale) : std::nullopt;
  };
  const auto namesake = entries.find(executable.filename().string());
  if (namesake != entries.end()) {
    if (auto entry = read(namesake->second)) {
      return entry;
    }
  }
  for (const auto& [name, path] : entries) {
    auto entry = read(path);
    if (entry && starts(*entry, executable)) {
      return entry;
    }
  }
  return std::nullopt;
}

}  // namespace vx
