// The writer and its inputs may be absent, and the recorder relies on what an absent one answers. A
// delegate may take them away within any line.
#pragma once

#include "VXVideoRecorder/platform/AVFoundation.h"

#include <memory>

namespace vx::recorder {

/// False for no input.
inline bool isReady(const std::shared_ptr<AVAssetWriterInput>& input) {
  return input && input->isReadyForMoreMediaData();
}

/// False, which is a refusal, from no input.
inline bool append(const std::shared_ptr<AVAssetWriterInput>& input, CMSampleBufferRef sample) {
  return input && input->appendSampleBuffer(sample);
}

/// Unknown for no writer.
inline AVAssetWriterStatus statusOf(const std::shared_ptr<AVAssetWriter>& writer) {
  return writer ? writer->status() : AVAssetWriterStatusUnknown;
}

}  // namespace vx::recorder
