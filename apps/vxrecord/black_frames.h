// Finds the black pictures of a recording, which stand for its pauses.
#pragma once

#include <string>
#include <vector>

#include "VXVideoRecorder/VXRecordingRepair.h"
#include "timeline.h"

namespace vxrecord {

/// Decodes the recording at `path` and tells when it is black. Groups of pictures in which every
/// picture is too large to be black are passed over.
/// Errors: throws InputError when the recording cannot be opened or decoded.
std::vector<TimeSpan> findBlack(const std::string& path, const VXRecordingInspection& recording);

}  // namespace vxrecord
