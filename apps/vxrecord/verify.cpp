#include "verify.h"

#include <cstdio>
#include <fstream>

#include "black_frames.h"
#include "input.h"
#include "libav.h"
#include "manual.h"
#include "options.h"

namespace vxrecord {
namespace {

constexpr std::string_view kCommand = "verify";

std::string valueBehind(const std::vector<std::string>& words, std::size_t& i) {
  const std::string& word = words[i];
  if (const std::size_t equals = word.find('='); equals != std::string::npos) {
    return word.substr(equals + 1);
  }
  if (i + 1 == words.size()) {
    throw UsageError(word + " needs a value behind it");
  }
  return words[++i];
}

bool writePicture(const std::string& path, const std::string& picture) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << picture;
  file.close();
  if (file.good()) {
    return true;
  }
  std::fprintf(stderr, "vxrecord: the picture cannot be written to %s; choose another name\n",
               quoted(path).c_str());
  return false;
}

}  // namespace

VerifyOptions parseVerifyWords(const std::vector<std::string>& words) {
  VerifyOptions options;
  bool onlyFileFollows = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (onlyFileFollows || word.empty() || word.front() != '-') {
      if (!options.file.empty() || word.empty()) {
        throw UsageError("verify takes one recording");
      }
      options.file = word;
    } else if (word == "--") {
      onlyFileFollows = true;
    } else if (word == "--json") {
      options.json = true;
    } else if (word == "--svg" || word.starts_with("--svg=")) {
      options.svg = valueBehind(words, i);
    } else if (word == "--help" || word == "-h") {
      options.showsHelp = true;
      return options;
    } else {
      throw UsageError("unknown option " + quoted(word) + "; vxrecord --help lists the options");
    }
  }
  if (options.file.empty()) {
    throw UsageError("no recording given; vxrecord verify FILE");
  }
  return options;
}

Verification verifyRecording(const std::string& path) {
  std::optional<vx::NSError> error;
  auto recording =
      VXRecordingRepair::inspectRecordingAtPath(path, VXInspectionDepth::contents, &error);
  if (!recording) {
    throw InputError(error->localizedDescription());
  }
  Verification verification{*recording, {}, {}};
  try {
    verification.black = findBlack(path, *recording);
  } catch (const InputError& trouble) {
    verification.blackTrouble = trouble.what();
  }
  return verification;
}

bool isVerifyCommand(const std::vector<std::string>& words) {
  return !words.empty() && words.front() == kCommand;
}

ExitStatus runVerify(const std::vector<std::string>& words) {
  const VerifyOptions options = parseVerifyWords({words.begin() + 1, words.end()});
  if (options.showsHelp) {
    return answer(helpText(), ExitStatus::done);
  }
  catchLibavMessages(LibavTalk::nothing);
  const Verification verification = verifyRecording(options.file);
  const bool isDrawn =
      !options.svg ||
      writePicture(*options.svg, timelinePicture(timelineOf(options.file, verification)));
  const bool isFine = verification.isWhole() && isDrawn;
  return answer(
      options.json ? asJson(options.file, verification) + "\n" : asText(options.file, verification),
      isFine ? ExitStatus::done : ExitStatus::recordingFailed);
}

}  // namespace vxrecord
