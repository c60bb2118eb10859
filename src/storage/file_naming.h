// Where a recording goes: the rules that need no recorder.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vx::storage {

/// "Display_<index>.mp4", the index as a signed 32-bit number.
std::string defaultFileName(std::uint32_t index);

/// The folder that is asked for: `storagePath` as it stands, else "Ondrel Works" in the documents.
std::string wantedFolder(const std::string& documentsPath,
                         const std::optional<std::string>& storagePath);

/// Makes `folder` with its missing parents and answers the folder to record into: `folder`, or
/// `documentsPath` itself, with a line in the system log, when it cannot be made.
std::string usableFolder(const std::string& folder, const std::string& documentsPath);

/// Removes what stands at `path`, a file of `folder`. Does nothing when `path` leads to
/// `folder` or a folder around it (the name is empty, "..", or leads back, be it through a link, or
/// the folder itself is given by one): the recordings in it or the way to them would be lost, for a
/// file that could not be made there afterwards either.
void clearPath(const std::string& path, const std::string& folder);

}  // namespace vx::storage
