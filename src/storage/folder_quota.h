// The folder quota: which recordings go when the folder has grown too large.
#pragma once

#include "platform/foundation/folder.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vx::storage {

/// The front of a recording's name that its siblings share: one or more characters other than a
/// slash and then an underscore, as long as possible at the leftmost place. "Display_1.mp4" has
/// "Display_". Absent when there is no such place.
std::optional<std::string> nameStem(std::string_view name);

/// Sorts paths below `folder` by the time of the last change; what has none that can be read goes
/// last. The times are read anew at every comparison: a file may be written to while the sort runs.
void sortNewestFirst(const Folder& folder, std::vector<std::string>& entries);

/// Whether the entry is a recording that the quota counts and may delete: it does not contain
/// `stem`, its extension is exactly "mp4", and its path begins with `prefix`. An absent stem is
/// contained in nothing, and nothing begins with an empty prefix.
bool isCandidate(std::string_view subpath, const std::optional<std::string>& stem,
                 std::string_view prefix);

/// How many of the candidates, newest first, stay: those before the first that lifts the total,
/// which starts at the finished file's size, above the limit.
std::size_t candidatesToKeep(std::uint64_t finishedSizeBytes,
                             std::span<const std::uint64_t> sizesBytes, std::uint64_t limitBytes);

/// Deletes the oldest recordings below `storagePath` that do not fit `folderLimitSize` megabytes
/// together with the file just finished, `finishedName` relative to `storagePath`. `writtenFile` is
/// where that file was really written, in case folder or name changed since; empty when unknown.
///
/// Needs no recorder, so that one that is being destroyed can leave it behind. Nothing is deleted
/// without a `storagePath`, without a `fileNamePrefix` or with an empty one, with a limit of 0, and
/// when memory runs out; both files, under whatever spelling, and the folders around them never
/// are. Every failure on the way is passed over in silence.
/// Thread: any; blocks on the file system, in proportion to n log n for a folder of n entries.
void applyFolderQuota(const std::optional<std::string>& storagePath,
                      const std::optional<std::string>& fileNamePrefix,
                      std::uint64_t folderLimitSize, const std::string& finishedName,
                      const std::string& writtenFile = {}) noexcept;

}  // namespace vx::storage
