#include "platform/foundation/search_paths.h"

#include "VXVideoRecorder/platform/foundation/NSFileManager.h"
#include "platform/foundation/small_file.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

namespace vx {
namespace {

constexpr std::string_view kDocumentsKey = "XDG_DOCUMENTS_DIR";
constexpr std::string_view kHomeVariable = "$HOME";
constexpr std::string_view kBlanks = " \t\r";

void skipBlanks(std::string_view& text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  text.remove_prefix(first == std::string_view::npos ? text.size() : first);
}

bool skip(std::string_view& text, std::string_view expected) {
  if (!text.starts_with(expected)) {
    return false;
  }
  text.remove_prefix(expected.size());
  return true;
}

/// The text up to the closing quote, a backslash standing for the character after it. Absent when
/// the quote is never closed.
std::optional<std::string> quotedText(std::string_view text) {
  std::string value;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') {
      return value;
    }
    if (text[i] == '\\' && ++i == text.size()) {
      break;
    }
    value += text[i];
  }
  return std::nullopt;
}

std::string withoutClosingSeparators(std::string path) {
  while (path.size() > 1 && path.back() == '/') {
    path.pop_back();
  }
  return path;
}

std::optional<std::string> folderFromLine(std::string_view line, std::string_view home) {
  skipBlanks(line);
  if (!skip(line, kDocumentsKey)) return std::nullopt;
  skipBlanks(line);
  if (!skip(line, "=")) return std::nullopt;
  skipBlanks(line);
  if (!skip(line, "\"")) return std::nullopt;
  const bool belowHome = skip(line, kHomeVariable);
  std::optional<std::string> value = quotedText(line);
  if (!value || (!value->starts_with('/') && !(belowHome && value->empty()))) {
    return std::nullopt;
  }
  return withoutClosingSeparators(belowHome ? std::string(home) + *value : *std::move(value));
}

std::string absoluteFromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && value[0] == '/' ? withoutClosingSeparators(value) : std::string();
}

// Of the accounts' entries, which may be longer than what the system suggests for them.
std::string homeFromAccount() {
  constexpr std::size_t kLongestEntry = std::size_t{1} << 20;
  for (std::size_t size = 1024; size <= kLongestEntry; size *= 2) {
    std::string buffer(size, '\0');
    passwd entry{};
    passwd* found = nullptr;
    const int failure = ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found);
    if (failure == ERANGE) {
      continue;
    }
    const bool hasHome = failure == 0 && found && found->pw_dir && found->pw_dir[0] == '/';
    return hasHome ? withoutClosingSeparators(found->pw_dir) : "/";
  }
  return "/";
}

std::string documentsFolder(const std::string& home) {
  std::string configuration = absoluteFromEnvironment("XDG_CONFIG_HOME");
  if (configuration.empty()) {
    configuration = stringByAppendingPathComponent(home, ".config");
  }
  const std::optional<std::string> userDirs =
      contentsOfSmallFile(stringByAppendingPathComponent(configuration, "user-dirs.dirs"));
  std::optional<std::string> folder =
      userDirs ? documentsFolderFromUserDirs(*userDirs, home) : std::nullopt;
  return folder ? *std::move(folder) : stringByAppendingPathComponent(home, "Documents");
}

}  // namespace

std::string homeFolder() {
  std::string home = absoluteFromEnvironment("HOME");
  return home.empty() ? homeFromAccount() : home;
}

std::optional<std::string> documentsFolderFromUserDirs(std::string_view userDirs,
                                                       std::string_view home) {
  std::optional<std::string> folder;
  while (!userDirs.empty()) {
    const std::size_t end = userDirs.find('\n');
    if (std::optional<std::string> found = folderFromLine(userDirs.substr(0, end), home)) {
      folder = std::move(found);
    }
    userDirs.remove_prefix(end == std::string_view::npos ? userDirs.size() : end + 1);
  }
  return folder;
}

std::string abbreviatedWithTilde(std::string_view path, std::string_view home) {
  const bool below = home != "/" && path.starts_with(home) &&
                     (path.size() == home.size() || path[home.size()] == '/');
  return below ? "~" + std::string(path.substr(home.size())) : std::string(path);
}

std::vector<std::string> NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory directory,
                                                             NSSearchPathDomainMask domainMask,
                                                             bool expandTilde) {
  if (directory != NSDocumentDirectory || (domainMask & NSUserDomainMask) == 0) {
    return {};
  }
  const std::string home = homeFolder();
  const std::string folder = documentsFolder(home);
  return {expandTilde ? folder : abbreviatedWithTilde(folder, home)};
}

}  // namespace vx
