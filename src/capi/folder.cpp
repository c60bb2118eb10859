// The recordings folder, as the quota sees it.
#include "platform/foundation/folder.h"
#include "capi/structs.h"
#include "platform/foundation/file_status.h"
#include "storage/folder_quota.h"

using namespace vx;
using namespace vx::capi;

namespace {

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
  VolumeSpace volume;
  const Status asked = readVolumeSpace(path, volume);
  if (!folder || !asked) {
    return fail(VX_FAILED, asked ? std::string(path) + " is no folder that can be read"
                                 : asked.error().localizedDescription());
  }
  const std::optional<std::vector<std::string>> subpaths = folder->subpaths();
  if (!subpaths) {
    return fail(VX_FAILED, std::string(path) + " cannot be listed");
  }
  vx_folder_info info = VX_FOLDER_INFO_INIT;
  countRecordings(*folder, *subpaths, prefix ? prefix : "", info);
  info.free_bytes = volume.freeBytes;
  info.volume_bytes = volume.sizeBytes;
  return write(info, "vx_folder_info", out);
}

}  // namespace

vx_result vx_folder_inspect(const char* path, const char* file_name_prefix, vx_folder_info* info) {
  return guarded([&] { return inspect(path, file_name_prefix, info); });
}
