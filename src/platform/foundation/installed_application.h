// The desktop entry of an installed program.
#pragma once

#include "platform/foundation/desktop_entry.h"

#include <optional>
#include <string>

namespace vx {

/// The entry named after the program at `executablePath`, else the first by name whose command
/// starts that program, in the `applications` folders of $XDG_DATA_HOME and $XDG_DATA_DIRS. Of
/// entries with the same name the one in the earlier folder counts.
std::optional<DesktopEntry> desktopEntryOfProgram(const std::string& executablePath);

}  // namespace vx
