// The program's work, file by file.
#pragma once

#include "options.h"
#include "report.h"

namespace vxrepair {

/// Repairs one recording, or looks at it alone.
FileReport repairFile(const std::string& path, bool dryRun);

/// Repairs all, telling about each as it is done. What cannot be told counts as not repaired.
ExitStatus repairFiles(const Options& options);

}  // namespace vxrepair
