#include "run.h"

#include <cstdio>

#include "standard_output.h"

namespace vxrepair {
namespace {

/// What standard output is told of a file.
std::string told(const FileReport& report, const Options& options) {
  if (options.json) return asJson(report) + "\n";
  return options.quiet || report.error ? "" : asText(report);
}

FileReport lookAt(const std::string& path) {
  FileReport report;
  report.file = path;
  std::optional<vx::NSError> error;
  report.found = VXRecordingRepair::inspectRecordingAtPath(path, VXInspectionDepth::index, &error);
  if (!report.found) {
    report.error = error->localizedDescription();
  } else if (report.found->state() == VXRecordingState::whole) {
    report.outcome = FileReport::Outcome::whole;
  } else if (report.found->canBeRepaired()) {
    report.outcome = FileReport::Outcome::repairable;
  } else {
    report.error = report.found->localizedDescription();
  }
  return report;
}

}  // namespace

FileReport repairFile(const std::string& path, bool dryRun) {
  if (dryRun) return lookAt(path);
  FileReport report;
  report.file = path;
  std::optional<vx::NSError> error;
  const auto result = VXRecordingRepair::repairRecordingAtPath(path, &error);
  if (!result) {
    report.error = error->localizedDescription();
    return report;
  }
  report.found = result->found;
  report.outcome = result->isChanged ? FileReport::Outcome::repaired : FileReport::Outcome::whole;
  return report;
}

ExitStatus repairFiles(const Options& options) {
  ExitStatus status = ExitStatus::done;
  for (const std::string& path : options.files) {
    const FileReport report = repairFile(path, options.dryRun);
    if (report.error) {
      status = ExitStatus::notRepaired;
      std::fprintf(stderr, "vxrepair: %s: %s\n", path.c_str(), report.error->c_str());
    }
    if (!vxapps::printAll("vxrepair", told(report, options))) status = ExitStatus::notRepaired;
  }
  return status;
}

}  // namespace vxrepair
