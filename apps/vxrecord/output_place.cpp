#include "output_place.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "VXVideoRecorder/platform/Foundation.h"

namespace vxrecord {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kDefaultFolder = "Ondrel Works";

std::string defaultFolder() {
  const auto folders =
      vx::NSSearchPathForDirectoriesInDomains(vx::NSDocumentDirectory, vx::NSUserDomainMask, true);
  return vx::stringByAppendingPathComponent(folders.empty() ? "." : folders.front(),
                                            kDefaultFolder);
}

// The recorder prints the index as a signed number.
std::string defaultFilename(std::uint32_t index) {
  return "Display_" + std::to_string(static_cast<std::int32_t>(index)) + ".mp4";
}

[[noreturn]] void fail(const std::string& folder, const std::string& why) {
  throw OutputError("cannot record into \"" + folder + "\": " + why +
                    "; give a folder that can be written with --storage-path");
}

}  // namespace

std::string OutputPlace::path() const {
  return vx::stringByAppendingPathComponent(folder, filename);
}

OutputPlace outputPlaceFor(const Options& options) {
  return {options.storagePath ? *options.storagePath : defaultFolder(),
          options.filename ? *options.filename : defaultFilename(options.index)};
}

void prepareOutputPlace(const OutputPlace& place, const std::string& input) {
  std::error_code error;
  fs::create_directories(place.folder, error);
  if (error) {
    fail(place.folder, error.message());  // also what is no folder
  }
  if (access(place.folder.c_str(), W_OK | X_OK) != 0) {
    fail(place.folder, std::strerror(errno));
  }
  const fs::file_status entry = fs::symlink_status(place.path(), error);
  if (fs::exists(entry) && !fs::is_regular_file(entry) && !fs::is_symlink(entry)) {
    throw OutputError("\"" + place.path() +
                      "\" exists and is not a file; give another name with --filename");
  }
  if (fs::equivalent(place.path(), input, error)) {
    throw UsageError("\"" + input +
                     "\" would be replaced by its own recording; give another name with "
                     "--filename or another folder with --storage-path");
  }
}

}  // namespace vxrecord
