// "vxrecord verify FILE": whether a recording is whole, and what is in it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "VXVideoRecorder/VXRecordingRepair.h"
#include "result.h"
#include "timeline.h"

namespace vxrecord {

struct VerifyOptions {
  std::string file;
  std::optional<std::string> svg;
  bool json = false;
  bool showsHelp = false;
};

/// The words behind "verify".
/// Errors: throws UsageError.
VerifyOptions parseVerifyWords(const std::vector<std::string>& words);

/// What is found in a recording.
struct Verification {
  VXRecordingInspection recording;
  std::vector<TimeSpan> black;              ///< black stretches, which stand for pauses
  std::optional<std::string> blackTrouble;  ///< why they could not be looked for

  bool isWhole() const { return recording.state() == VXRecordingState::whole; }
};

/// Reads the recording, all of it.
/// Errors: throws InputError when the file cannot be read.
Verification verifyRecording(const std::string& path);

Timeline timelineOf(const std::string& path, const Verification& verification);

/// One line: the object that --json prints.
std::string asJson(const std::string& path, const Verification& verification);
/// Some lines for people.
std::string asText(const std::string& path, const Verification& verification);

/// Whether the words ask for this and not for a recording.
bool isVerifyCommand(const std::vector<std::string>& words);

/// The command: 0 for a whole recording, 1 for one that is not, or when the picture cannot be
/// written.
/// Errors: throws UsageError and InputError.
ExitStatus runVerify(const std::vector<std::string>& words);

}  // namespace vxrecord
