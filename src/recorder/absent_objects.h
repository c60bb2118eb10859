// The writer and its inputs may be absent, and the recorder relies on what an absent one answers.
#pragma once

#include "VXVideoRecorder/platform/AVFoundation.h"

#include <memory>

namespace vx::recorder {

/// False for no input.
inline bool isReady(const std::shared_ptr<AVAssetWriterInput>& input) {
  return input && input->isReadyForMoreMediaData();
}

/// Unknown for no writer.
inline AVAssetWriterStatus statusOf(const std::shared_ptr<AVAssetWriter>& writer) {
  return writer ? writer->status() : AVAssetWriterStatusUnknown;
}

}  // namespace vx::recorder
