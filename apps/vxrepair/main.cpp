// vxrepair: completes recordings that were broken off.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "VXVideoRecorder/VXVideoRecorderFramework.h"
#include "command_words.h"
#include "report_text.h"
#include "run.h"
#include "standard_output.h"

namespace {

using namespace vxrepair;

ExitStatus answer(std::string_view text) {
  return vxapps::printAll("vxrepair", text) ? ExitStatus::done : ExitStatus::notRepaired;
}

ExitStatus runCommand(const Command& command) {
  switch (command.action) {
    case Command::Action::showHelp:
      return answer(helpText());
    case Command::Action::showVersion:
      return answer(vxapps::printed("vxrepair %.1f\n", VXVideoRecorderFrameworkVersionNumber));
    case Command::Action::repair:
      break;
  }
  return repairFiles(command.options);
}

ExitStatus complain(ExitStatus status, bool json, const std::string& why) {
  std::fprintf(stderr, "vxrepair: %s\n", why.c_str());
  FileReport report;
  report.error = why;
  static_cast<void>(answer(json ? asJson(report) + "\n" : ""));  // it has failed already
  return status;
}

ExitStatus run(const std::vector<std::string>& words) {
  const bool json = vxapps::asksForJson(words);
  try {
    return runCommand(parseCommandLine(words));
  } catch (const vxapps::UsageError& error) {
    return complain(ExitStatus::wrongUse, json, error.what());
  } catch (const std::exception& error) {
    return complain(ExitStatus::notRepaired, json, error.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  return static_cast<int>(run({argv + (argc > 0 ? 1 : 0), argv + argc}));
}
