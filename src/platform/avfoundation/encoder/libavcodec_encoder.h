// The H.264 encoders that libavcodec was built with: those of the hardware, and others by name.
#pragma once

#include "platform/avfoundation/encoder/encoder_choice.h"

#include <string>
#include <vector>

namespace vx {

/// Hardware first, in the order in which it is tried. Whether a device is there shows when one is
/// opened.
std::vector<EncoderOffer> libavcodecOffers();

/// The encoder of that name. It is refused when it keeps pictures inside: each has to come out at
/// once.
std::unique_ptr<VideoEncoder> makeLibavcodecEncoder(const std::string& name);

}  // namespace vx
