// Folder quota: after a file is finished, the oldest recordings make room.
#include "storage/folder_quota.h"

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "storage/merge_sort.h"

#include <algorithm>
#include <exception>
#include <unordered_set>
#include <vector>

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

const NSRegularExpression& nameStemExpression() {
  // Never destroyed: a file may be finished, and its folder pruned, while the program ends.
  static const auto* const expression =
      new NSRegularExpression(NSRegularExpression::regularExpressionWithPattern(
                                  kNameStemPattern, NSRegularExpressionCaseInsensitive)
                                  .value());
  return *expression;
}

/// An item whose time cannot be read compares as older than all others.
std::optional<FileTime> timeOf(const Folder& folder, const std::string& subpath) {
  const std::optional<ItemStatus> status = folder.statusOfItem(subpath);
  return status ? std::optional(status->modificationTime) : std::nullopt;
}

/// The item at `path` and the folders around it.
std::vector<ItemIdentity> identitiesAround(const std::string& path) {
  std::vector<ItemIdentity> identities = identitiesUpwards(path.substr(0, path.rfind('/') + 1));
  if (ItemStatus status; readItemStatus(path, status).ok()) {
    identities.push_back(status.identity);
  }
  return identities;
}

/// The folders that hold an entry with the stem, at any depth.
std::unordered_set<std::string_view> foldersWithStem(const std::vector<std::string>& entries,
                                                     const std::optional<std::string>& stem) {
  std::unordered_set<std::string_view> folders;
  for (const std::string_view entry : entries) {
    if (!stem || entry.find(*stem) == std::string_view::npos) {
      continue;
    }
    // From the innermost outwards, up to where an earlier entry has been.
    for (std::size_t slash = entry.rfind('/'); slash != std::string_view::npos;
         slash = entry.substr(0, slash).rfind('/')) {
      if (!folders.insert(entry.substr(0, slash)).second) {
        break;
      }
    }
  }
  return folders;
}

Candidates candidatesAmong(const Folder& folder, const std::vector<std::string>& entries,
                           const std::optional<std::string>& stem, const std::string& prefix,
                           const std::vector<ItemIdentity>& spared) {
  const std::unordered_set<std::string_view> holders = foldersWithStem(entries, stem);
  Candidates candidates;
  for (const std::string& entry : entries) {
    if (!isCandidate(entry, stem, prefix) || holders.contains(entry)) {
      continue;
    }
    const std::optional<ItemStatus> status = folder.statusOfItem(entry);
    if (status && std::find(spared.begin(), spared.end(), status->identity) != spared.end()) {
      continue;
    }
    candidates.sizesBytes.push_back(status ? status->sizeBytes : 0);
    candidates.subpaths.push_back(entry);
  }
  return candidates;
}

void prune(const std::string& storagePath, const std::string& prefix, std::uint64_t limitBytes,
           const std::string& finishedName, const std::string& writtenFile) {
  const std::optional<Folder> folder = Folder::open(storagePath);
  if (!folder) {
    return;
  }
  std::optional<std::vector<std::string>> entries = folder->subpaths();
  // An entry that is missing here might be one for which a folder has to stay.
  if (!entries) {
    return;
  }
  sortNewestFirst(*folder, *entries);
  const std::string finished = stringByAppendingPathComponent(storagePath, finishedName);
  std::vector<ItemIdentity> spared = identitiesAround(finished);
  const std::vector<ItemIdentity> written = identitiesAround(writtenFile);
  spared.insert(spared.end(), written.begin(), written.end());
  const Candidates candidates =
      candidatesAmong(*folder, *entries, nameStem(finishedName), prefix, spared);
  ItemStatus status;
  const std::uint64_t finishedBytes = readItemStatus(finished, status).ok() ? status.sizeBytes : 0;
  const std::size_t kept = candidatesToKeep(finishedBytes, candidates.sizesBytes, limitBytes);
  for (std::size_t i = kept; i < candidates.subpaths.size(); ++i) {
    (void)folder->removeItem(candidates.subpaths[i]).ok();
  }
}

}  // namespace

std::optional<std::string> nameStem(std::string_view name) {
  const NSRange match = nameStemExpression().rangeOfFirstMatchInString(name, {0, name.size()});
  if (match.location == NSNotFound && match.length == 0) {
    return std::nullopt;
  }
  return std::string(name.substr(match.location, match.length));
}

void sortNewestFirst(const Folder& folder, std::vector<std::string>& entries) {
  mergeSort(entries, [&](const std::string& a, const std::string& b) {
    return timeOf(folder, a) > timeOf(folder, b);
  });
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
                      std::uint64_t folderLimitSize, const std::string& finishedName,
                      const std::string& writtenFile) noexcept {
  if (!storagePath || !fileNamePrefix || folderLimitSize == 0) {
    return;
  }
  try {
    prune(*storagePath, *fileNamePrefix, folderLimitSize * kBytesPerMegabyte, finishedName,
          writtenFile);
  } catch (const std::exception&) {
    // Out of memory: the folder keeps what it has until the next recording is finished.
  }
}

}  // namespace vx::storage

void VXVideoRecorder::checkFolderSizeAndDeleteFile(const std::string& name,
                                                   const std::string& writtenFile) {
  storage::applyFolderQuota(_storagePath, _fileNamePrefix, _folderLimitSize, name, writtenFile);
}
