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
#include "report_text.h"
#include "result.h"
#include "terminal_keys.h"
#include "verify.h"

namespace {

using namespace vxrecord;

ExitStatus complain(ExitStatus status, bool json, const std::string& why) {
  std::fprintf(stderr, "vxrecord: %s\n", why.c_str());
  RunResult result;
  result.error = why;
  return answer(json ? asJson(result) + "\n" : "", status);
}

void warn(const Options& options, const std::string& why) {
  if (options.talk != Talk::quiet) {
    std::fprintf(stderr, "vxrecord: %s\n", why.c_str());
  }
}

ExitStatus report(const Options& options, const RunResult& result,
                  const std::string& inputTrouble) {
  if (result.error) {
    std::fprintf(stderr, "vxrecord: %s\n", result.error->c_str());
  } else if (!inputTrouble.empty()) {
    warn(options, inputTrouble);
  }
  const ExitStatus status = exitStatusOf(result);
  if (options.json) {
    return answer(asJson(result) + "\n", status);
  }
  if (result.file && options.talk != Talk::quiet) {
    // The recording does not fail because the terminal that it was begun at is gone.
    static_cast<void>(answer(asSentence(result) + "\n", status));
  }
  return status;
}

LibavTalk libavTalk(Talk talk) {
  if (talk == Talk::debug) {
    return LibavTalk::everything;
  }
  return talk == Talk::verbose ? LibavTalk::warnings : LibavTalk::nothing;
}

ExitStatus record(const Options& options) {
  catchLibavMessages(libavTalk(options.talk));
  listenForSignals();
  if (options.folderLimitMegabytes > 0 && !options.fileNamePrefix) {
    warn(options, "--folder-limit deletes nothing without --file-name-prefix");
  }
  std::optional<TerminalKeys> keys;
  if (options.input != "-") {
    keys.emplace();
  }
  const std::unique_ptr<Input> input = openInput(options.input, options.audio);
  if (options.audio && !input->hasSound()) {
    warn(options, "the input has no sound; the recording will have none");
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

ExitStatus listDisplays() {
  const std::string list = asLines(findDisplays());
  if (list.empty()) {
    std::fputs("no X display was found\n", stderr);
  }
  return answer(list, ExitStatus::done);
}

ExitStatus runCommand(const Command& command) {
  switch (command.action) {
    case Command::Action::showHelp:
      return answer(helpText(), ExitStatus::done);
    case Command::Action::showVersion:
      return answer(vxapps::printed("vxrecord %.1f\n", VXVideoRecorderFrameworkVersionNumber),
                    ExitStatus::done);
    case Command::Action::listDisplays:
      return listDisplays();
    case Command::Action::listEncoders:
      return answer(encoderLines(command.options.talk >= Talk::verbose), ExitStatus::done);
    case Command::Action::record:
      break;
  }
  return record(command.options);
}

ExitStatus run(const std::vector<std::string>& words) {
  const bool json = asksForJson(words);
  try {
    return isVerifyCommand(words) ? runVerify(words) : runCommand(parseCommandLine(words));
  } catch (const UsageError& error) {
    return complain(ExitStatus::wrongUse, json, error.what());
  } catch (const InputError& error) {
    return complain(ExitStatus::wrongUse, json, error.what());
  } catch (const std::exception& error) {
    return complain(ExitStatus::recordingFailed, json, error.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  return static_cast<int>(run({argv + (argc > 0 ? 1 : 0), argv + argc}));
}
