#include "platform/avfoundation/encoder/encoder_choice.h"

#if VX_WITH_LIBAVCODEC
#include "platform/avfoundation/encoder/libavcodec_encoder.h"
#endif

#include <algorithm>
#include <iterator>
#include <mutex>

#ifndef VX_DEFAULT_VIDEO_ENCODER
#error "The build names the encoder that is used when the host names none."
#endif

namespace vx {
namespace {

/// What `setPreferredEncoderName` was told last.
struct Preference {
  std::mutex mutex;
  std::string name = VX_DEFAULT_VIDEO_ENCODER;  // guarded by mutex
};

// Never destroyed: a recorder that ends with the program may still ask.
Preference& preference() {
  static Preference* const instance = new Preference;
  return *instance;
}

const EncoderOffer* findOffer(std::string_view name) {
  const std::vector<EncoderOffer>& offers = encoderOffers();
  const auto found = std::find_if(offers.begin(), offers.end(), [&](const EncoderOffer& offer) {
    return offer.description.name == name;
  });
  return found == offers.end() ? nullptr : &*found;
}

VideoEncoderSettings smallPicture() {
  VideoEncoderSettings settings;
  settings.width = 640;  // hardware refuses much smaller ones
  settings.height = 360;
  settings.averageBitRate = 1'000'000;
  settings.maxKeyFrameInterval = 30;
  settings.expectedSourceFrameRate = 30;
  return settings;
}

std::vector<EncoderOffer> makeOffers() {
  std::vector<EncoderOffer> offers;
#if VX_WITH_X264
  offers.push_back({{"x264", "libx264, software; its speed follows the load", false,
                     "GNU GPL 2 or later: a program that is shipped with it is under the GPL"},
                    makeX264Encoder});
#endif
#if VX_WITH_OPENH264
  offers.push_back({{"openh264", "libopenh264, software", false,
                     "BSD 2-clause: name its authors; patent fees are paid only for the binaries "
                     "that Cisco hands out"},
                    makeOpenH264Encoder});
#endif
#if VX_WITH_LIBAVCODEC
  std::ranges::move(libavcodecOffers(), std::back_inserter(offers));
#endif
  return offers;
}

}  // namespace

const std::vector<EncoderOffer>& encoderOffers() {
  static const auto* const offers = new std::vector<EncoderOffer>(makeOffers());
  return *offers;
}

std::unique_ptr<VideoEncoder> makePreferredEncoder() {
  const EncoderOffer* offer = findOffer(AVVideoEncoder::preferredEncoderName());
  return offer ? offer->make() : makeAutomaticEncoder(encoderOffers());
}

const std::vector<AVVideoEncoderDescription>& AVVideoEncoder::availableEncoders() {
  static const auto* const descriptions = [] {
    auto* list = new std::vector<AVVideoEncoderDescription>;
    for (const EncoderOffer& offer : encoderOffers()) {
      list->push_back(offer.description);
    }
    return list;
  }();
  return *descriptions;
}

std::string AVVideoEncoder::preferredEncoderName() {
  std::lock_guard lock(preference().mutex);
  return preference().name;
}

bool AVVideoEncoder::setPreferredEncoderName(std::string_view name) {
  if (name != kAuto && !findOffer(name)) {
    return false;
  }
  std::lock_guard lock(preference().mutex);
  preference().name = name;
  return true;
}

bool AVVideoEncoder::isUsable(std::string_view name) {
  if (name == kAuto) {
    return true;
  }
  const EncoderOffer* offer = findOffer(name);
  return offer && proveEncoder(*offer->make(), smallPicture()).ok();
}

}  // namespace vx
