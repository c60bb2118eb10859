// Paths as texts, and file locations.
#include "VXVideoRecorder/platform/foundation/NSFileManager.h"

#include <unistd.h>

#include <cstdlib>
#include <memory>

namespace vx {
namespace {

std::string_view withoutClosingSeparators(std::string_view path) {
  return path.substr(0, path.find_last_not_of('/') + 1);
}

std::string currentFolder() {
  const std::unique_ptr<char, decltype(&std::free)> path(::getcwd(nullptr, 0), &std::free);
  return path ? path.get() : "/";
}

}  // namespace

std::string stringByAppendingPathComponent(std::string_view path, std::string_view component) {
  const std::size_t first = component.find_first_not_of('/');
  component.remove_prefix(first == std::string_view::npos ? component.size() : first);
  component = withoutClosingSeparators(component);
  std::string joined(withoutClosingSeparators(path));
  const bool atRoot = joined.empty() && !path.empty();
  if (atRoot || (!joined.empty() && !component.empty())) {
    joined += '/';
  }
  return joined.append(component);
}

std::string pathExtension(std::string_view path) {
  path = withoutClosingSeparators(path);
  path.remove_prefix(path.find_last_of('/') + 1);  // npos + 1 is 0
  const std::size_t dot = path.find_last_of('.');
  return dot == std::string_view::npos ? "" : std::string(path.substr(dot + 1));
}

NSURL NSURL::fileURLWithPath(std::string_view path) {
  NSURL url;
  url._path = path.starts_with('/') ? std::string(path)
                                    : stringByAppendingPathComponent(currentFolder(), path);
  return url;
}

}  // namespace vx
