#pragma once

#include "VXVideoRecorder/platform/CoreMedia.h"
#include "platform/foundation/cf_object.h"

#include <memory>

namespace vx {

/// A block of bytes of its own.
struct CMBlockBuffer final : CFObject {
  std::unique_ptr<std::uint8_t[]> bytes;
  std::size_t length = 0;

 private:
  ~CMBlockBuffer() override = default;
};

/// A block of `length` bytes (not 0) whose contents are still to be written.
OSStatus createBlockBuffer(std::size_t length, CMBlockBufferRef* blockBufferOut);

}  // namespace vx
