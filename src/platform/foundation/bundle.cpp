#include "VXVideoRecorder/platform/foundation/NSBundle.h"

#include "platform/foundation/installed_application.h"
#include "platform/foundation/property_list.h"
#include "platform/foundation/small_file.h"

#include <filesystem>

namespace vx {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPropertyListName = "Info.plist";

// The system marks the path of a program whose file was replaced while it runs.
std::string pathOfRunningProgram() {
  constexpr std::string_view kReplacedMark = " (deleted)";
  std::error_code error;
  std::string path = fs::read_symlink("/proc/self/exe", error).string();
  if (path.ends_with(kReplacedMark) && !fs::exists(path, error)) {
    path.resize(path.size() - kReplacedMark.size());
  }
  return path;
}

// Where a property list may lie, most specific place first.
std::vector<fs::path> propertyListPaths(const fs::path& executable) {
  const fs::path folder = executable.parent_path();
  const fs::path contents = folder.parent_path();
  std::vector<fs::path> paths;
  if (folder.filename() == "MacOS" && contents.filename() == "Contents") {
    paths.push_back(contents / kPropertyListName);
  }
  paths.push_back(folder / kPropertyListName);
  return paths;
}

NSDictionary dictionaryOf(const DesktopEntry& entry) {
  return {{"CFBundleDisplayName", entry.localizedName.value_or(entry.name)},
          {"CFBundleName", entry.name}};
}

}  // namespace

NSBundle NSBundle::mainBundle() { return NSBundle(pathOfRunningProgram()); }

NSBundle NSBundle::bundleWithExecutablePath(std::string executablePath) {
  return NSBundle(std::move(executablePath));
}

std::optional<NSDictionary> NSBundle::infoDictionary() const {
  if (_executablePath.empty()) {
    return std::nullopt;
  }
  for (const fs::path& path : propertyListPaths(_executablePath)) {
    std::error_code ignored;
    if (fs::exists(path, ignored)) {
      const std::optional<std::string> xml = contentsOfSmallFile(path);
      return xml ? dictionaryFromPropertyList(*xml) : std::nullopt;
    }
  }
  const std::optional<DesktopEntry> entry = desktopEntryOfProgram(_executablePath);
  return entry ? std::optional(dictionaryOf(*entry)) : std::nullopt;
}

}  // namespace vx
