// Where a user's folders are, by the rules of the desktop: pure texts in, a text out.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vx {

/// The user's home folder: $HOME, else what the account says.
std::string homeFolder();

/// The value of XDG_DOCUMENTS_DIR in `userDirs`, the text of a user-dirs.dirs file: an absolute
/// path, or one that begins with "$HOME"; backslashes and double quotes as that file writes them.
/// The last good line wins. Absent when there is none.
std::optional<std::string> documentsFolderFromUserDirs(std::string_view userDirs,
                                                       std::string_view home);

/// `path` with a home folder at its front written as `~`.
std::string abbreviatedWithTilde(std::string_view path, std::string_view home);

}  // namespace vx
