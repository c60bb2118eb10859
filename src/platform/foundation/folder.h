// A folder held open, asked about its entries by their paths relative to it.
#pragma once

#include "platform/foundation/file_descriptor.h"
#include "platform/foundation/file_status.h"

#include <optional>
#include <string>
#include <vector>

namespace vx {

/// An open folder. Renaming or replacing it does not change which folder is meant.
///
/// Links below it are entries of their own: listed, measured and removed as links.
/// Thread: any, at once from several; every call blocks on the file system.
class Folder {
 public:
  /// The folder at `path`, a link at its end followed; absent when there is none that may be read.
  static std::optional<Folder> open(const std::string& path);

  /// Every entry at any depth, folders before what they hold, however long the paths become. A
  /// sub-folder that cannot be listed, or lies more than 1000 levels down, is an entry without
  /// contents. Absent when the list may lack entries: memory or descriptors ran out, or somebody
  /// moved a folder away while it was walked.
  std::optional<std::vector<std::string>> subpaths() const;
  /// Absent when it cannot be read, which includes a way to it that leads through a link.
  std::optional<ItemStatus> statusOfItem(const std::string& subpath) const;
  /// Removes a file, a link, or a folder with its contents as `removeEntry` does. No component of
  /// `subpath` may be a link or `..`, so nothing outside the folder is reached even while others
  /// change it.
  Status removeItem(const std::string& subpath) const;

 private:
  explicit Folder(FileDescriptor descriptor) : _descriptor(std::move(descriptor)) {}

  FileDescriptor _descriptor;
};

/// Removes `name`, one entry of the open folder `parent`, with its contents; links are not
/// followed, and what is mounted within is left alone (EXDEV). However deep the folder, about
/// `FolderChain::kMaximumOpen` descriptors are in use at once.
/// Answers 0 or the errno value of the first failure, at which it ends.
int removeEntry(int parent, const char* name);

/// The folder at this path (a link followed) and all folders around it, the innermost first. Empty
/// when there is no such folder.
std::vector<ItemIdentity> identitiesUpwards(const std::string& folder);

}  // namespace vx
