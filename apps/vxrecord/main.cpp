// vxrecord: records a file, an address, a display or a test picture into one MP4 file.
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "VXVideoRecorder/VXVideoRecorderFramework.h"
#include "display_list.h"
#include "encoder_list.h"
#include "input.h"
#include "interruption.h"
#include "libav.h"
#include "manual.h"
#include "options.h"
#include "output_place.h"
#include "recording.h"
#include "result.h"
#include "terminal_keys.h"
#include "verify.h"

namespace {

using namespace vxrecord;

int exitWith(ExitStatus status) { return static_cast<int>(status); }

int complain(ExitStatus status, bool json, const std::string& why) {
  std::fprintf(stderr, "vxrecord: %s\n", why.c_str());
  if (json) {
    RunResult result;
    result.error = why;
    std::printf("%s\n", asJson(result).c_str());
  }
  return exitWith(status);
}

int report(const Options& options, const RunResult& result, const std::string& inputTrouble) {
  if (result.error) {
    std::fprintf(stderr, "vxrecord: %s\n", result.error->c_str());
  } else if (!inputTrouble.empty() && options.talk != Talk::quiet) {
    std::fprintf(stderr, "vxrecord: %s\n", inputTrouble.c_str());
  }
  if (options.json) {
    std::printf("%s\n", asJson(result).c_str());
  } else if (result.file && options.talk != Talk::quiet) {
    std::printf("%s\n", asSentence(result).c_str());
  }
  return exitWith(exitStatusOf(result));
}

LibavTalk libavTalk(Talk talk) {
  if (talk == Talk::debug) {
    return LibavTalk::everything;
  }
  return talk == Talk::verbose ? LibavTalk::warnings : LibavTalk::nothing;
}

int record(const Options& options) {
  catchLibavMessages(libavTalk(options.talk));
  listenForSignals();
  if (options.folderLimitMegabytes > 0 && !options.fileNamePrefix) {
    std::fprintf(stderr, "vxrecord: --folder-limit deletes nothing without --file-name-prefix\n");
  }
  std::optional<TerminalKeys> keys;
  if (options.input != "-") {
    keys.emplace();
  }
  const std::unique_ptr<Input> input = openInput(options.input, options.audio);
  if (options.audio && !input->hasSound() && options.talk != Talk::quiet) {
    std::fprintf(stderr, "vxrecord: the input has no sound; the recording will have none\n");
  }
  if (options.encoder) {
    chooseEncoder(*options.encoder);
  }
  const OutputPlace place = outputPlaceFor(options);
  prepareOutputPlace(place, options.input);
  const bool hasKeys = keys && keys->isListening();
  const RunResult result = Recording(options, place, *input, hasKeys).run();
  keys.reset();
  return report(options, result, input->trouble());
}

int listDisplays() {
  const std::string list = asLines(findDisplays());
  std::fputs(list.empty() ? "no X display was found\n" : list.c_str(),
             list.empty() ? stderr : stdout);
  return exitWith(ExitStatus::done);
}

int runCommand(const Command& command) {
  switch (command.action) {
    case Command::Action::showHelp:
      std::fputs(helpText().c_str(), stdout);
      return exitWith(ExitStatus::done);
    case Command::Action::showVersion:
      std::printf("vxrecord %.1f\n", VXVideoRecorderFrameworkVersionNumber);
      return exitWith(ExitStatus::done);
    case Command::Action::listDisplays:
      return listDisplays();
    case Command::Action::listEncoders:
      std::fputs(encoderLines(command.options.talk >= Talk::verbose).c_str(), stdout);
      return exitWith(ExitStatus::done);
    case Command::Action::record:
      break;
  }
  return record(command.options);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
  const bool json = asksForJson(words);
  try {
    if (isVerifyCommand(words)) {
      return exitWith(runVerify(words));
    }
    return runCommand(parseCommandLine(words));
  } catch (const UsageError& error) {
    return complain(ExitStatus::wrongUse, json, error.what());
  } catch (const InputError& error) {
    return complain(ExitStatus::wrongUse, json, error.what());
  } catch (const std::exception& error) {
    return complain(ExitStatus::recordingFailed, json, error.what());
  }
}
