// File naming: the recordings folder, the file's name, and a clear place for it.
#include "storage/file_naming.h"

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "platform/foundation/folder.h"

#include <algorithm>
#include <vector>

using namespace vx;

namespace vx::storage {
namespace {
constexpr std::string_view kDefaultFolderName = "Ondrel Works";
constexpr std::string_view kDefaultNameBase = "Display";
constexpr std::string_view kExtension = "mp4";
}  // namespace

std::string defaultFileName(std::uint32_t index) {
  std::string name(kDefaultNameBase);
  name += '_';
  name += std::to_string(static_cast<std::int32_t>(index));
  name += '.';
  return name.append(kExtension);
}

std::string wantedFolder(const std::string& documentsPath,
                         const std::optional<std::string>& storagePath) {
  return storagePath ? *storagePath
                     : stringByAppendingPathComponent(documentsPath, kDefaultFolderName);
}

std::string usableFolder(const std::string& folder, const std::string& documentsPath) {
  std::optional<NSError> error;
  const bool made = NSFileManager::defaultManager().createDirectoryAtPath(folder, true, &error);
  if (made || !error || error->code() == NSFileWriteFileExistsError) {
    return folder;
  }
  NSLog(error->description());
  return documentsPath;
}

void clearPath(const std::string& path, const std::string& folder) {
  const std::vector<ItemIdentity> item = identitiesUpwards(path);
  const std::vector<ItemIdentity> around = identitiesUpwards(folder);
  if (!item.empty() && std::find(around.begin(), around.end(), item.front()) != around.end()) {
    return;
  }
  NSFileManager::defaultManager().removeItemAtPath(path);
}

}  // namespace vx::storage

std::optional<NSURL> VXVideoRecorder::outputFileURL() {
  const std::vector<std::string> documents =
      NSSearchPathForDirectoriesInDomains(NSDocumentDirectory, NSUserDomainMask, true);
  const std::string& documentsPath = documents.front();
  const std::string folder =
      storage::usableFolder(storage::wantedFolder(documentsPath, _storagePath), documentsPath);
  if (!_filename) {
    setFilename(storage::defaultFileName(_index));
  }
  const std::string path = stringByAppendingPathComponent(folder, *_filename);
  storage::clearPath(path, folder);
  return NSURL::fileURLWithPath(path);
}
