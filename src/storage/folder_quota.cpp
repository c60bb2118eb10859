// Folder quota: after a file is finished, the oldest recordings make room.
#include "storage/folder_quota.h"

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "platform/foundation/folder.h"
#include "storage/merge_sort.h"

#include <exception>

using namespace vx;

namespace vx::storage {
namespace {

constexpr std::uint64_t kBytesPerMegabyte = 1000000;
constexpr std::string_view kExtension = "mp4";
// The middle class excludes every character, so the pattern amounts to [^/]+_ .
constexpr std::string_view kNameStemPattern = R"([^\/]+[^\/\s\S]*\_)";

struct Candidates {
  std::vector<std::string> subpaths;  // newest first
  std::vector<std::uint64_t> sizesBytes;
};

const std::optional<NSRegularExpression>& nameStemExpression() {
  // Never destroyed: a file may be finished, and its folder pruned, while the program ends.
  static const auto* const expression =
      new std::optional<NSRegularExpression>(NSRegularExpression::regularExpressionWithPattern(
          kNameStemPattern, NSRegularExpressionCaseInsensitive));
  return *expression;
}

std::uint64_t sizeOf(const Folder& folder, const std::string& subpath) {
  const std::optional<ItemStatus> status = folder.statusOfItem(subpath);
  return status ? status->sizeBytes : 0;
}

/// An item whose time cannot be read compares as older than all others.
std::optional<FileTime> timeOf(const Folder& folder, const std::string& subpath) {
  const std::optional<ItemStatus> status = folder.statusOfItem(subpath);
  return status ? std::optional(status->modificationTime) : std::nullopt;
}

/// The times are read anew at every comparison: a file may be written to while the sort runs.
void sortNewestFirst(const Folder& folder, std::vector<std::string>& entries) {
  mergeSort(entries, [&](const std::string& a, const std::string& b) {
    return timeOf(folder, a) > timeOf(folder, b);
  });
}

/// The finished file as the folder's listing spells it, even if the name that was given goes
/// through "." or a link. The name itself when it leads nowhere or elsewhere.
std::string listedName(const std::string& storagePath, const std::string& name) {
  const std::optional<std::string> file =
      canonicalPathOfItem(stringByAppendingPathComponent(storagePath, name));
  const std::optional<std::string> folder = canonicalPathOfItem(storagePath + "/.");
  if (!file || !folder || !isSameOrBelow(*file, *folder) || *file == *folder) {
    return name;
  }
  const std::size_t front = folder->size() + (folder->back() == '/' ? 0 : 1);
  return file->substr(front);
}

Candidates candidatesAmong(const Folder& folder, std::vector<std::string> entries,
                           const std::optional<std::string>& stem, const std::string& prefix,
                           const std::string& finished) {
  Candidates candidates;
  for (std::string& entry : entries) {
    if (isCandidate(entry, stem, prefix) && !isSameOrBelow(finished, entry)) {
      candidates.sizesBytes.push_back(sizeOf(folder, entry));
      candidates.subpaths.push_back(std::move(entry));
    }
  }
  return candidates;
}

void prune(const std::string& storagePath, const std::string& prefix, std::uint64_t limitBytes,
           const std::string& finishedName) {
  const std::optional<Folder> folder = Folder::open(storagePath);
  // Without the expression nobody knows which entries to spare.
  if (!folder || !nameStemExpression()) {
    return;
  }
  std::vector<std::string> entries = folder->subpaths();
  sortNewestFirst(*folder, entries);
  const std::string finished = listedName(storagePath, finishedName);
  const Candidates candidates =
      candidatesAmong(*folder, std::move(entries), nameStem(finishedName), prefix, finished);
  const std::size_t kept =
      candidatesToKeep(sizeOf(*folder, finished), candidates.sizesBytes, limitBytes);
  for (std::size_t i = kept; i < candidates.subpaths.size(); ++i) {
    (void)folder->removeItem(candidates.subpaths[i]).ok();
  }
}

}  // namespace

std::optional<std::string> nameStem(std::string_view name) {
  if (!nameStemExpression()) {
    return std::nullopt;
  }
  const NSRange match = nameStemExpression()->rangeOfFirstMatchInString(name, {0, name.size()});
  if (match.location == NSNotFound && match.length == 0) {
    return std::nullopt;
  }
  return std::string(name.substr(match.location, match.length));
}

bool isCandidate(std::string_view subpath, const std::optional<std::string>& stem,
                 std::string_view prefix) {
  if (stem && subpath.find(*stem) != std::string_view::npos) {
    return false;
  }
  return pathExtension(subpath) == kExtension && !prefix.empty() && subpath.starts_with(prefix);
}

std::size_t candidatesToKeep(std::uint64_t finishedSizeBytes,
                             std::span<const std::uint64_t> sizesBytes, std::uint64_t limitBytes) {
  std::uint64_t total = finishedSizeBytes;
  for (std::size_t i = 0; i < sizesBytes.size(); ++i) {
    total += sizesBytes[i];
    if (total > limitBytes) {
      return i;
    }
  }
  return sizesBytes.size();
}

void applyFolderQuota(const std::optional<std::string>& storagePath,
                      const std::optional<std::string>& fileNamePrefix,
                      std::uint64_t folderLimitSize, const std::string& finishedName) noexcept {
  if (!storagePath || !fileNamePrefix || folderLimitSize == 0) {
    return;
  }
  try {
    prune(*storagePath, *fileNamePrefix, folderLimitSize * kBytesPerMegabyte, finishedName);
  } catch (const std::exception&) {
    // Out of memory: the folder keeps what it has until the next recording is finished.
  }
}

}  // namespace vx::storage

void VXVideoRecorder::checkFolderSizeAndDeleteFile(const std::string& name) {
  storage::applyFolderQuota(_storagePath, _fileNamePrefix, _folderLimitSize, name);
}
