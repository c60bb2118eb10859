#pragma once

#include "VXVideoRecorder/platform/CoreMedia.h"
#include "platform/cf_ref.h"
#include "platform/foundation/cf_object.h"

#include <string>
#include <vector>

namespace vx {

/// One picture or a run of coded samples, with times, sizes and attachments.
struct CMSampleBuffer final : CFObject {
  struct Attachment {
    std::string key;
    Object value;
    CMAttachmentMode mode = kCMAttachmentMode_ShouldNotPropagate;
  };

  CFRef<CVImageBufferRef> image;
  CFRef<CMBlockBufferRef> data;
  CFRef<CMFormatDescriptionRef> format;
  bool isDataReady = false;
  CMItemCount sampleCount = 0;
  std::vector<CMSampleTimingInfo> timings;  // none, one for all samples, or one each
  std::vector<std::size_t> sizes;           // in bytes; none, one for all samples, or one each
  std::vector<Attachment> attachments;

  /// Whether samples of the known sizes lie within `length` bytes.
  bool samplesFitInto(std::size_t length) const;

 private:
  ~CMSampleBuffer() override = default;
};

}  // namespace vx
