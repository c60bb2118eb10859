// The choice of a video encoder.
#include "capi/structs.h"

#include "VXVideoRecorder/platform/AVVideoEncoder.h"

using namespace vx;
using namespace vx::capi;

size_t vx_encoder_count() {
  std::size_t count = 0;
  guarded([&] {
    count = AVVideoEncoder::availableEncoders().size();
    return VX_OK;
  });
  return count;
}

vx_result vx_encoder_get(size_t index, vx_encoder* encoder) {
  return guarded([&] {
    const auto& encoders = AVVideoEncoder::availableEncoders();
    if (index >= encoders.size()) {
      return fail(VX_INVALID_ARGUMENT,
                  "there are only " + std::to_string(encoders.size()) + " encoders");
    }
    const AVVideoEncoderDescription& description = encoders[index];
    return write({sizeof(vx_encoder), description.name.c_str(), description.description.c_str(),
                  description.licenceNote.c_str(), description.isHardware},
                 "vx_encoder", encoder);
  });
}

vx_result vx_encoder_is_usable(const char* name, bool* is_usable) {
  return guarded([&] {
    if (!name || !is_usable) {
      return fail(VX_INVALID_ARGUMENT, "the encoder's name or the answer is null");
    }
    *is_usable = AVVideoEncoder::isUsable(name);
    return vx_result{VX_OK};
  });
}

const char* vx_preferred_encoder() {
  thread_local std::string name;
  const vx_result result = guarded([&] {
    name = AVVideoEncoder::preferredEncoderName();
    return VX_OK;
  });
  return result == VX_OK ? name.c_str() : nullptr;
}

vx_result vx_set_preferred_encoder(const char* name) {
  return guarded([&] {
    if (!name || !AVVideoEncoder::setPreferredEncoderName(name)) {
      return fail(VX_INVALID_ARGUMENT, "there is no encoder of the name " +
                                           (name ? std::string(name) : "that was not given"));
    }
    return vx_result{VX_OK};
  });
}
