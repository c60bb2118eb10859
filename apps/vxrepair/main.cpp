// vxrepair: completes recordings that were broken off.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "VXVideoRecorder/VXVideoRecorderFramework.h"
#include "run.h"

namespace {

using namespace vxrepair;

int exitWith(ExitStatus status) { return static_cast<int>(status); }

int runCommand(const Command& command) {
  switch (command.action) {
    case Command::Action::showHelp:
      std::fputs(std::string(helpText()).c_str(), stdout);
      return exitWith(ExitStatus::done);
    case Command::Action::showVersion:
      std::printf("vxrepair %.1f\n", VXVideoRecorderFrameworkVersionNumber);
      return exitWith(ExitStatus::done);
    case Command::Action::repair:
      break;
  }
  return exitWith(repairFiles(command.options));
}

int complain(ExitStatus status, bool json, const std::string& why) {
  std::fprintf(stderr, "vxrepair: %s\n", why.c_str());
  if (json) {
    FileReport report;
    report.error = why;
    std::printf("%s\n", asJson(report).c_str());
  }
  return exitWith(status);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
  const bool json = asksForJson(words);
  try {
    return runCommand(parseCommandLine(words));
  } catch (const UsageError& error) {
    return complain(ExitStatus::wrongUse, json, error.what());
  } catch (const std::exception& error) {
    return complain(ExitStatus::notRepaired, json, error.what());
  }
}
