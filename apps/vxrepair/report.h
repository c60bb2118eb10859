// What became of one file, for people and for programs.
#pragma once

#include <optional>
#include <string>

#include "VXVideoRecorder/VXRecordingRepair.h"

namespace vxrepair {

/// The exit status of the program.
enum class ExitStatus : int { done = 0, notRepaired = 1, wrongUse = 2 };

struct FileReport {
  enum class Outcome {
    whole,        ///< nothing was to be done
    repaired,     ///< it is complete now
    repairable,   ///< a dry run's: it can be made complete
    notRepaired,  ///< `error` says why
  };
  std::string file;
  Outcome outcome = Outcome::notRepaired;
  /// What is in it; after a repair, what was found before. None when it could not be read.
  std::optional<VXRecordingInspection> found;
  std::optional<std::string> error;
};

/// One line: the object that --json prints.
std::string asJson(const FileReport& report);
/// One or more lines for people.
std::string asText(const FileReport& report);

}  // namespace vxrepair
