#include "platform/avfoundation/encoder/sps_timing.h"

#include "platform/avfoundation/bitstream/bits.h"
#include "platform/avfoundation/bitstream/nal_unit.h"
#include "platform/avfoundation/bitstream/sps.h"

#include <algorithm>
#include <bit>

namespace vx {
namespace {

// The number of bits up to the stop bit, with it. Behind it stand zeros up to a whole byte.
std::size_t lengthInBits(std::span<const std::uint8_t> payload) {
  while (!payload.empty() && payload.back() == 0) {
    payload = payload.first(payload.size() - 1);
  }
  return payload.empty() ? 0 : payload.size() * 8 - std::countr_zero(payload.back());
}

// num_units_in_tick, time_scale, fixed_frame_rate_flag. A tick is a field, half a picture.
void putTiming(BitWriter& bits, std::uint32_t picturesPerSecond) {
  bits.put(1, 32);
  bits.put(picturesPerSecond * 2, 32);
  bits.put(0, 1);
}

// A VUI with nothing but a timing. ITU-T H.264, E.1.1
void putVui(BitWriter& bits, std::uint32_t picturesPerSecond) {
  bits.put(0, 4);  // aspect ratio, overscan, signal type, chroma location
  bits.put(1, 1);
  putTiming(bits, picturesPerSecond);
  bits.put(0, 4);  // two buffer models, picture structure, restrictions
}

/// The payload up to the flag that is wrong, the flag and what belongs behind it, and the rest.
std::vector<std::uint8_t> mended(std::span<const std::uint8_t> payload, const SpsPlaces& places,
                                 std::uint32_t picturesPerSecond) {
  BitReader from(payload);
  BitWriter to;
  if (!places.hasVui) {
    copyBits(from, places.vuiFlag, to);
    to.put(1, 1);
    putVui(to, picturesPerSecond);
  } else if (!places.hasTiming) {
    copyBits(from, places.timingFlag, to);
    to.put(1, 1);
    putTiming(to, picturesPerSecond);
  } else {
    copyBits(from, places.fixedRateFlag, to);
    to.put(0, 1);
  }
  from.flag();  // the one that was wrong
  copyBits(from, lengthInBits(payload) - from.position(), to);
  return to.take();
}

}  // namespace

std::vector<std::uint8_t> withUsualFrameRate(std::span<const std::uint8_t> sps,
                                             std::uint32_t picturesPerSecond) {
  const std::vector<std::uint8_t> payload = payloadOf(sps);
  const std::optional<SpsPlaces> places = readSps(payload).places;
  const bool isAsItShouldBe =
      !places || (places->hasVui && places->hasTiming && !places->isFixedRate);
  // Without a stop bit behind the flags it is no parameter set.
  const bool isCut =
      places && lengthInBits(payload) <=
                    std::max({places->vuiFlag, places->timingFlag, places->fixedRateFlag});
  if (isAsItShouldBe || isCut) {
    return {sps.begin(), sps.end()};
  }
  return unitOf(sps[0], mended(payload, *places, picturesPerSecond));
}

}  // namespace vx
