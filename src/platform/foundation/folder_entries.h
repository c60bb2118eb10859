// What one open folder holds, read in one go.
#pragma once

#include <string>
#include <vector>

namespace vx {

struct FolderEntry {
  std::string name;
  bool isFolder = false;  // a link to a folder is none
};

/// Makes `entries` those of the open folder, without "." and "..". Answers 0 or the errno value;
/// what could be read before the failure is kept.
int readFolderEntries(int folder, std::vector<FolderEntry>& entries);

/// Whether the entry `name` of the open folder is a folder, and no link to one.
bool isFolderEntry(int folder, const char* name);

}  // namespace vx
