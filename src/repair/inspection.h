// What an inspection holds.
#pragma once

#include "VXVideoRecorder/VXRecordingRepair.h"
#include "platform/avfoundation/mp4/recording_reader.h"

#include <memory>
#include <optional>
#include <vector>

struct VXRecordingInspection::Contents {
  VXRecordingState state = VXRecordingState::foreign;
  vx::mp4::FoundRecording found;
  std::int64_t durationMs = 0;
  std::optional<VXRecordedTrack> video;
  std::optional<VXRecordedTrack> audio;
  std::vector<VXDamagedPart> damagedParts;
};

namespace vx::repair {

/// `isHeld`: a recorder or a repair has the file.
std::shared_ptr<const VXRecordingInspection::Contents> contentsOf(mp4::FoundRecording found,
                                                                  bool isHeld);

/// The state in one or two sentences.
std::string textOf(const VXRecordingInspection::Contents& contents);

}  // namespace vx::repair
