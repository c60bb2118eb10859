// Disk space guard: asked for every frame, so one system call and no allocation when all is well.
#include "storage/disk_space_guard.h"

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "platform/foundation/file_status.h"

using namespace vx;

namespace vx::storage {

std::string diskInformationErrorLine(std::string_view className, std::string_view domain,
                                     std::int64_t code) {
  std::string line = "[";
  line.append(className).append("] Error Obtaining System disk Info: Domain = ");
  line.append(domain).append(", Code = ").append(std::to_string(code));
  return line;
}

}  // namespace vx::storage

namespace {
constexpr std::int32_t kDiskInformationLogLevel = 1;
}  // namespace

std::uint64_t VXVideoRecorder::diskFreeSpace(const std::optional<std::string>& path) {
  static const std::string kNowhere;  // an absent path names no volume, as an empty one does
  VolumeSpace space;
  const Status status = readVolumeSpace(path ? *path : kNowhere, space);
  if (!status) {
    writeLog(storage::diskInformationErrorLine(kClassName, status.error().domain(),
                                               status.error().code()),
             kDiskInformationLogLevel);
    return 0;
  }
  return space.freeBytes;
}

bool VXVideoRecorder::checkDiskKeepRecStatus() {
  return storage::isEnoughSpace(diskFreeSpace(_storagePath), limitFreeSpace);
}
