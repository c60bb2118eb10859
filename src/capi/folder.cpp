// The recordings folder, as the quota sees it.
#include "platform/foundation/folder.h"
#include "capi/structs.h"
#include "storage/folder_quota.h"

#include "VXVideoRecorder/platform/Foundation.h"

using namespace vx;
using namespace vx::capi;

namespace {

std::uint64_t numberUnder(const NSDictionary& attributes, std::string_view key) {
  const Object* value = attributes.objectForKey(key);
  return value && value->number() ? value->number()->unsignedLongLongValue() : 0;
}

void countRecordings(const Folder& folder, const std::vector<std::string>& subpaths,
                     std::string_view prefix, vx_folder_info& info) {
  for (const std::string& subpath : subpaths) {
    if (!storage::isCandidate(subpath, std::nullopt, prefix)) {
      continue;
    }
    ++info.recordings;
    if (const std::optional<ItemStatus> status = folder.statusOfItem(subpath)) {
      info.recordings_bytes += status->sizeBytes;
    }
  }
}

vx_result inspect(const char* path, const char* prefix, vx_folder_info* out) {
  if (!path) {
    return fail(VX_INVALID_ARGUMENT, "the path is null");
  }
  const std::optional<Folder> folder = Folder::open(path);
  std::optional<NSError> error;
  const std::optional<NSDictionary> volume =
      NSFileManager::defaultManager().attributesOfFileSystemForPath(path, &error);
  if (!folder || !volume) {
    return fail(VX_FAILED, error ? error->localizedDescription()
                                 : std::string(path) + " is no folder that can be read");
  }
  const std::optional<std::vector<std::string>> subpaths = folder->subpaths();
  if (!subpaths) {
    return fail(VX_FAILED, std::string(path) + " cannot be listed");
  }
  vx_folder_info info = VX_FOLDER_INFO_INIT;
  countRecordings(*folder, *subpaths, prefix ? prefix : "", info);
  info.free_bytes = numberUnder(*volume, NSFileSystemFreeSize);
  info.volume_bytes = numberUnder(*volume, NSFileSystemSize);
  return write(info, "vx_folder_info", out);
}

}  // namespace

vx_result vx_folder_inspect(const char* path, const char* file_name_prefix, vx_folder_info* info) {
  return guarded([&] { return inspect(path, file_name_prefix, info); });
}
