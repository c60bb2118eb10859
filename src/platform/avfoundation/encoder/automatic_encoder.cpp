// The encoder "auto": hardware that proves itself, or else software.
#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/encoder/encoder_choice.h"

#include <algorithm>
#include <utility>

namespace vx {
namespace {

constexpr std::uint8_t kBlackLuma = 16;  // video range
constexpr std::uint8_t kNoChroma = 128;

class AutomaticEncoder final : public VideoEncoder {
 public:
  explicit AutomaticEncoder(std::vector<EncoderOffer> offers) : _offers(std::move(offers)) {}

  Status open(const VideoEncoderSettings& settings) override;
  const ParameterSets& parameterSets() const override { return _chosen->parameterSets(); }
  Status encode(const PlanarPicture& picture, const PictureRequest& request,
                AccessUnit& accessUnit) override {
    return _chosen->encode(picture, request, accessUnit);
  }
  EncoderSpeeds speeds() const override { return _chosen->speeds(); }
  int firstSpeed() const override { return _chosen->firstSpeed(); }
  void setSpeed(int level) override { _chosen->setSpeed(level); }

 private:
  bool openHardware(const VideoEncoderSettings& settings);
  Status openSoftware(const VideoEncoderSettings& settings);

  std::vector<EncoderOffer> _offers;
  std::unique_ptr<VideoEncoder> _chosen;
};

Status AutomaticEncoder::open(const VideoEncoderSettings& settings) {
  if (openHardware(settings)) {
    return Status::success();
  }
  return openSoftware(settings);
}

// The first that opens; when none does, why the first of them did not.
Status AutomaticEncoder::openSoftware(const VideoEncoderSettings& settings) {
  Status result =
      NSError(AVFoundationErrorDomain, AVErrorEncoderNotFound,
              "No hardware encoder works here, and this build has no software encoder.");
  bool hasTried = false;
  for (const EncoderOffer& offer : _offers) {
    if (offer.description.isHardware) {
      continue;
    }
    _chosen = offer.make();
    const Status opened = _chosen->open(settings);
    if (opened) {
      return opened;
    }
    if (!std::exchange(hasTried, true)) {
      result = opened;
    }
  }
  return result;
}

bool AutomaticEncoder::openHardware(const VideoEncoderSettings& settings) {
  for (const EncoderOffer& offer : _offers) {
    if (!offer.description.isHardware || !proveEncoder(*offer.make(), settings)) {
      continue;
    }
    _chosen = offer.make();
    if (_chosen->open(settings)) {
      NSLog("Video is coded by " + offer.description.name + ".");
      return true;
    }
  }
  return false;
}

}  // namespace

Status proveEncoder(VideoEncoder& encoder, const VideoEncoderSettings& settings) {
  if (Status status = encoder.open(settings); !status) {
    return status;
  }
  const std::size_t luma = static_cast<std::size_t>(settings.width) * settings.height;
  std::vector<std::uint8_t> bytes(luma + luma / 2, kNoChroma);
  std::fill_n(bytes.begin(), luma, kBlackLuma);
  const PlanarPicture picture{settings.width,
                              settings.height,
                              {bytes.data(), bytes.data() + luma, bytes.data() + luma + luma / 4},
                              {settings.width, settings.width / 2, settings.width / 2}};
  AccessUnit unit;
  if (Status status = encoder.encode(picture, {0, 33, true}, unit); !status) {
    return status;
  }
  if (!unit.isKeyFrame || unit.bytes.empty() || encoder.parameterSets().sps.empty()) {
    return NSError(AVFoundationErrorDomain, AVErrorEncodeFailed,
                   "The encoder's first picture cannot be decoded by itself.");
  }
  return Status::success();
}

std::unique_ptr<VideoEncoder> makeAutomaticEncoder(std::vector<EncoderOffer> offers) {
  return std::make_unique<AutomaticEncoder>(std::move(offers));
}

}  // namespace vx
