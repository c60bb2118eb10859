// Errors of the operating system as texts that say what a person can do.
#pragma once

#include "platform/foundation/status.h"

#include <string>

namespace vx::mp4 {

/// The folder that the path names the file in.
std::string folderOf(const std::string& path);

/// Why the file could not be created.
Status creationError(int error, const std::string& path);
/// Why it could not be written.
Status writingError(int error, const std::string& path);
/// Why a file could not be opened to be read, or to be repaired.
Status openingError(int error, const std::string& path);
Status repairingError(int error, const std::string& path);
/// Why it could not be read.
Status readingError(int error, const std::string& path);
/// That it is gone.
Status removedError(const std::string& path);
/// That it is whole, but no longer where it was created.
Status movedError(const std::string& path);

}  // namespace vx::mp4
