#include "repair/inspection.h"

namespace vx::repair {

namespace {

std::string damagedText(const VXRecordingInspection::Contents& contents) {
  using Form = mp4::FoundRecording::Form;
  const mp4::FoundRecording& found = contents.found;
  if (found.form == Form::finished)
    return "Parts of the recording are not what was recorded any more; what they show may be "
           "wrong. A repair cannot bring them back: use a copy if there is one.";
  if (found.form == Form::headLost)
    return "The start of the recording, without which its pictures cannot be read, is damaged. It "
           "cannot be repaired: use a copy if there is one.";
  if (!found.isRepairable())
    return "The recording's index is lost and none of its pictures can be recognised. It cannot be "
           "repaired: use a copy if there is one.";
  return "The recording's index is lost, perhaps because a copy of it was broken off. A repair "
         "makes a new one for what is there.";
}

std::string interruptedText(const VXRecordingInspection::Contents& contents) {
  if (!contents.found.isRepairable())
    return "The recording was broken off, and nothing in it can be recognised. It cannot be "
           "repaired: use a copy if there is one.";
  if (contents.found.video.index().sampleCount() == 0)
    return "The recording was broken off before its first picture was stored. It holds nothing and "
           "can be deleted.";
  return "The recording was broken off. It can be played as it is; a repair completes it.";
}

}  // namespace

std::string textOf(const VXRecordingInspection::Contents& contents) {
  switch (contents.state) {
    case VXRecordingState::whole:
      return "The recording is complete.";
    case VXRecordingState::interrupted:
      return interruptedText(contents);
    case VXRecordingState::damaged:
      return damagedText(contents);
    case VXRecordingState::recording:
      return "The recording is being written right now, by a recorder or a repair. Wait until it "
             "is done.";
    case VXRecordingState::empty:
      return "The recording was broken off before anything was stored. It can be deleted.";
    case VXRecordingState::foreign:
      break;
  }
  return "The file is not a recording of VXVideoRecorder, or its first bytes are lost.";
}

}  // namespace vx::repair
