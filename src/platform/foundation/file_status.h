// What the file system says about an item or a volume, without the cost of a dictionary. The file
// manager's dictionaries are made from these; callers that ask for every frame or for every
// comparison of a sort use them directly.
#pragma once

#include "platform/foundation/status.h"

#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vx {

using FileTime = std::chrono::sys_time<std::chrono::nanoseconds>;

enum class ItemKind : std::uint8_t { regular, folder, symbolicLink, other };

/// Which item is meant: the same for every path that leads to it, however it is spelled.
struct ItemIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  friend bool operator==(const ItemIdentity&, const ItemIdentity&) = default;
};

/// One entry of a folder; of a symbolic link, the link itself.
struct ItemStatus {
  std::uint64_t sizeBytes = 0;
  FileTime modificationTime{};  // the nearest end of the range for times that it cannot hold
  ItemKind kind = ItemKind::other;
  ItemIdentity identity;
};

struct VolumeSpace {
  std::uint64_t sizeBytes = 0;
  std::uint64_t freeBytes = 0;  // what this user may still fill
};

/// What is attempted, for the choice of the error's code.
enum class FileAccess : std::uint8_t { read, write };

/// The error for `systemError` (an errno value), with a text that names `path` and says what a
/// person can do. `intention` completes "could not be ...".
NSError fileError(FileAccess access, int systemError, std::string_view intention,
                  std::string_view path);

ItemIdentity identityFrom(const struct ::stat& status);
ItemStatus itemStatusFrom(const struct ::stat& status);

/// One query of the file system, and no allocation unless it fails.
/// Thread: any; blocks on the file system.
Status readVolumeSpace(const std::string& path, VolumeSpace& space);
Status readItemStatus(const std::string& path, ItemStatus& status);

/// A text that the system would cut at its first zero byte names something else than it says, so it
/// is refused instead of being passed on.
inline bool isUsablePath(std::string_view path) {
  return !path.empty() && path.find('\0') == std::string_view::npos;
}

}  // namespace vx
