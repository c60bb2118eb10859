// The asset writer with its parts chosen.
#pragma once

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/writer_core.h"

#include <memory>

namespace vx {

/// What `AVAssetWriter::initWithURL` makes, with an encoder and a file of the caller's choice.
std::shared_ptr<AVAssetWriter> makeFileAssetWriter(const NSURL& url, WriterParts parts);

}  // namespace vx
