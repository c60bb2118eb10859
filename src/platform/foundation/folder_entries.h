// What one open folder holds, read in one go.
#pragma once

#include <string>
#include <vector>

namespace vx {

struct FolderEntry {
  std::string name;
  bool isFolder = false;  // a link to a folder is none
};

/// The entries of the open folder, without "." and "..". What could be read before a failure; none
/// when the folder may not be read.
std::vector<FolderEntry> entriesOfFolder(int folder);

/// Whether the entry `name` of the open folder is a folder, and no link to one.
bool isFolderEntry(int folder, const char* name);

}  // namespace vx
