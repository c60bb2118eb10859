// The encoders of this build, and which of them the next writer uses.
#pragma once

#include "VXVideoRecorder/platform/AVVideoEncoder.h"
#include "platform/avfoundation/encoder/video_encoder.h"

namespace vx {

/// An encoder that can be chosen by name.
struct EncoderOffer {
  AVVideoEncoderDescription description;
  VideoEncoderFactory make;
};

/// Software first, in the order in which they are preferred.
const std::vector<EncoderOffer>& encoderOffers();

/// The encoder that `AVVideoEncoder::preferredEncoderName` stands for. Thread: any.
std::unique_ptr<VideoEncoder> makePreferredEncoder();

/// Opens an encoder and codes one black picture, which must come out at once and as a key frame.
/// The encoder is used up: for pictures that count, another one is opened.
Status proveEncoder(VideoEncoder& encoder, const VideoEncoderSettings& settings);

/// Tries the hardware encoders among `offers` when it is opened, in their order, and takes the
/// first that proves itself; otherwise the first software encoder. One log line says that it codes
/// on hardware, none that there is none.
std::unique_ptr<VideoEncoder> makeAutomaticEncoder(std::vector<EncoderOffer> offers);

}  // namespace vx
