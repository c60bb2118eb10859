#include "platform/avfoundation/encoder/sps_timing.h"

#include <algorithm>
#include <cstddef>
#include <optional>

namespace vx {
namespace {

using Bits = std::vector<bool>;

constexpr std::size_t kHeaderBytes = 1;  // of a NAL unit

// A NAL unit's payload without its emulation prevention bytes. ITU-T H.264, 7.3.1
Bits payloadBits(std::span<const std::uint8_t> unit) {
  Bits bits;
  int zeros = 0;
  for (std::size_t i = kHeaderBytes; i < unit.size(); ++i) {
    if (zeros >= 2 && unit[i] == 3) {
      zeros = 0;
      continue;
    }
    zeros = unit[i] == 0 ? zeros + 1 : 0;
    for (int bit = 7; bit >= 0; --bit) {
      bits.push_back((unit[i] >> bit & 1) != 0);
    }
  }
  return bits;
}

// The other way. The bits end with their own stop bit, and zeros up to a whole byte.
std::vector<std::uint8_t> unitFromBits(std::uint8_t header, const Bits& bits) {
  std::vector<std::uint8_t> unit{header};
  int zeros = 0;
  for (std::size_t at = 0; at < bits.size(); at += 8) {
    unsigned byte = 0;
    for (std::size_t i = at; i < at + 8; ++i) {
      byte = byte << 1 | (i < bits.size() && bits[i] ? 1u : 0u);
    }
    if (zeros >= 2 && byte <= 3) {
      unit.push_back(3);
      zeros = 0;
    }
    zeros = byte == 0 ? zeros + 1 : 0;
    unit.push_back(static_cast<std::uint8_t>(byte));
  }
  return unit;
}

/// Steps over syntax elements; beyond the end every bit is 0, and `failed` tells.
class Walker {
 public:
  explicit Walker(const Bits& bits) : _bits(bits) {}

  std::uint32_t u(int count) {
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
      value = value << 1 | static_cast<std::uint32_t>(_at < _bits.size() && _bits[_at]);
      ++_at;
    }
    return value;
  }
  bool flag() { return u(1) != 0; }
  std::uint32_t ue() {
    int zeros = 0;
    while (zeros < 32 && _at < _bits.size() && !_bits[_at]) {
      ++zeros;
      ++_at;
    }
    ++_at;
    return (zeros < 32 ? (1u << zeros) - 1 : 0) + u(zeros);
  }
  std::size_t position() const { return _at; }
  bool failed() const { return _at > _bits.size(); }

 private:
  const Bits& _bits;
  std::size_t _at = 0;
};

bool hasChromaFormat(std::uint32_t profile) {
  return profile == 100 || profile == 110 || profile == 122 || profile == 244 || profile == 44;
}

// Up to the flag that says whether there is a VUI. False for what no encoder here makes: scaling
// matrices, or picture order counts with a table of their own. ITU-T H.264, 7.3.2.1.1
bool skipToVuiFlag(Walker& walker) {
  const std::uint32_t profile = walker.u(8);
  walker.u(16);  // constraints, level
  walker.ue();   // seq_parameter_set_id
  if (hasChromaFormat(profile)) {
    if (walker.ue() == 3) walker.flag();  // chroma_format_idc, separate_colour_plane_flag
    walker.ue();                          // bit depths
    walker.ue();
    walker.flag();                    // qpprime_y_zero_transform_bypass_flag
    if (walker.flag()) return false;  // seq_scaling_matrix_present_flag
  }
  walker.ue();  // log2_max_frame_num_minus4
  const std::uint32_t pictureOrderCountType = walker.ue();
  if (pictureOrderCountType == 1) return false;
  if (pictureOrderCountType == 0) walker.ue();
  walker.ue();    // max_num_ref_frames
  walker.flag();  // gaps_in_frame_num_value_allowed_flag
  walker.ue();    // size in macroblocks
  walker.ue();
  if (!walker.flag()) walker.flag();  // frame_mbs_only_flag, mb_adaptive_frame_field_flag
  walker.flag();                      // direct_8x8_inference_flag
  if (walker.flag()) {                // frame_cropping_flag
    for (int side = 0; side < 4; ++side) walker.ue();
  }
  return true;
}

// Annex E.1.1, up to timing_info_present_flag.
void skipToTimingFlag(Walker& walker) {
  constexpr std::uint32_t kExtendedAspect = 255;
  if (walker.flag() && walker.u(8) == kExtendedAspect) walker.u(32);
  if (walker.flag()) walker.flag();  // overscan
  if (walker.flag()) {               // video_signal_type_present_flag
    walker.u(4);                     // video_format, video_full_range_flag
    if (walker.flag()) walker.u(24);
  }
  if (walker.flag()) {  // chroma_loc_info_present_flag
    walker.ue();
    walker.ue();
  }
}

/// Where the flags in question stand.
struct TimingPlaces {
  std::size_t vuiFlag = 0;
  bool hasVui = false;
  std::size_t timingFlag = 0;  // in the VUI
  bool hasTiming = false;
  std::size_t fixedRateFlag = 0;  // in the timing
};

std::optional<TimingPlaces> findTiming(const Bits& bits) {
  Walker walker(bits);
  if (!skipToVuiFlag(walker)) return std::nullopt;
  TimingPlaces places;
  places.vuiFlag = walker.position();
  places.hasVui = walker.flag();
  if (places.hasVui) {
    skipToTimingFlag(walker);
    places.timingFlag = walker.position();
    places.hasTiming = walker.flag();
  }
  if (places.hasTiming) {
    walker.u(32);  // num_units_in_tick
    walker.u(32);  // time_scale
    places.fixedRateFlag = walker.position();
    walker.flag();
  }
  return walker.failed() ? std::nullopt : std::optional(places);
}

void append(Bits& bits, std::uint32_t value, int count) {
  for (int bit = count - 1; bit >= 0; --bit) {
    bits.push_back((value >> bit & 1) != 0);
  }
}

// num_units_in_tick, time_scale, fixed_frame_rate_flag. A tick is a field, half a picture.
Bits timingOf(std::uint32_t picturesPerSecond) {
  Bits timing;
  append(timing, 1, 32);
  append(timing, picturesPerSecond * 2, 32);
  timing.push_back(false);
  return timing;
}

// A VUI with nothing but a timing. Annex E.1.1
Bits vuiOf(std::uint32_t picturesPerSecond) {
  Bits vui;
  append(vui, 0, 4);  // aspect ratio, overscan, signal type, chroma location
  vui.push_back(true);
  const Bits timing = timingOf(picturesPerSecond);
  vui.insert(vui.end(), timing.begin(), timing.end());
  append(vui, 0, 4);  // two buffer models, picture structure, restrictions
  return vui;
}

void insertBehind(Bits& bits, std::size_t flag, const Bits& what) {
  bits[flag] = true;
  bits.insert(bits.begin() + static_cast<std::ptrdiff_t>(flag) + 1, what.begin(), what.end());
}

}  // namespace

std::vector<std::uint8_t> withUsualFrameRate(std::span<const std::uint8_t> sps,
                                             std::uint32_t picturesPerSecond) {
  Bits bits = payloadBits(sps);
  const std::optional<TimingPlaces> places = findTiming(bits);
  const bool isChanged =
      places && (!places->hasVui || !places->hasTiming || bits[places->fixedRateFlag]);
  if (!isChanged) {
    return {sps.begin(), sps.end()};
  }
  // Behind the stop bit stand zeros up to a whole byte; they are made anew.
  bits.resize(
      static_cast<std::size_t>(std::find(bits.rbegin(), bits.rend(), true).base() - bits.begin()));
  if (!places->hasVui) {
    insertBehind(bits, places->vuiFlag, vuiOf(picturesPerSecond));
  } else if (!places->hasTiming) {
    insertBehind(bits, places->timingFlag, timingOf(picturesPerSecond));
  } else {
    bits[places->fixedRateFlag] = false;
  }
  return unitFromBits(sps[0], bits);
}

}  // namespace vx
