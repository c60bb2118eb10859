#include "platform/avfoundation/bitstream/sps.h"

#include "platform/avfoundation/bitstream/bits.h"

namespace vx {
namespace {

SpsFormat readFormat(BitReader& bits) {
  constexpr std::uint32_t k444 = 3;
  SpsFormat format;
  const std::uint32_t chroma = bits.exponentialGolomb();  // chroma_format_idc
  if (chroma == k444) bits.flag();                        // separate_colour_plane_flag
  format.chromaFormat = static_cast<std::uint8_t>(chroma & 3);
  format.bitDepthLuma = static_cast<std::uint8_t>(8 + (bits.exponentialGolomb() & 7));
  format.bitDepthChroma = static_cast<std::uint8_t>(8 + (bits.exponentialGolomb() & 7));
  return format;
}

// From behind the format up to the flag that says whether there is a VUI. False for what cannot be
// skipped.
bool skipToVuiFlag(BitReader& bits, bool hasFormat) {
  if (hasFormat) {
    bits.flag();                    // qpprime_y_zero_transform_bypass_flag
    if (bits.flag()) return false;  // seq_scaling_matrix_present_flag
  }
  bits.exponentialGolomb();  // log2_max_frame_num_minus4
  const std::uint32_t pictureOrderCountType = bits.exponentialGolomb();
  if (pictureOrderCountType == 1) return false;
  if (pictureOrderCountType == 0) bits.exponentialGolomb();
  bits.exponentialGolomb();  // max_num_ref_frames
  bits.flag();               // gaps_in_frame_num_value_allowed_flag
  bits.exponentialGolomb();  // size in macroblocks
  bits.exponentialGolomb();
  if (!bits.flag()) bits.flag();  // frame_mbs_only_flag, mb_adaptive_frame_field_flag
  bits.flag();                    // direct_8x8_inference_flag
  if (bits.flag()) {              // frame_cropping_flag
    for (int side = 0; side < 4; ++side) bits.exponentialGolomb();
  }
  return true;
}

void skipToTimingFlag(BitReader& bits) {
  constexpr std::uint32_t kExtendedAspect = 255;
  if (bits.flag() && bits.get(8) == kExtendedAspect) bits.get(32);
  if (bits.flag()) bits.flag();  // overscan
  if (bits.flag()) {             // video_signal_type_present_flag
    bits.get(4);                 // video_format, video_full_range_flag
    if (bits.flag()) bits.get(24);
  }
  if (bits.flag()) {  // chroma_loc_info_present_flag
    bits.exponentialGolomb();
    bits.exponentialGolomb();
  }
}

SpsPlaces readPlaces(BitReader& bits) {
  SpsPlaces places;
  places.vuiFlag = bits.position();
  places.hasVui = bits.flag();
  if (places.hasVui) {
    skipToTimingFlag(bits);
    places.timingFlag = bits.position();
    places.hasTiming = bits.flag();
  }
  if (places.hasTiming) {
    bits.get(32);  // num_units_in_tick
    bits.get(32);  // time_scale
    places.fixedRateFlag = bits.position();
    places.isFixedRate = bits.flag();
  }
  return places;
}

}  // namespace

bool profileHasFormat(std::uint8_t profile) {
  // 144 is what 244 was called in the first editions.
  return profile == 100 || profile == 110 || profile == 122 || profile == 244 || profile == 44 ||
         profile == 144;
}

Sps readSps(std::span<const std::uint8_t> payload) {
  BitReader bits(payload);
  Sps sps;
  const bool hasFormat = profileHasFormat(static_cast<std::uint8_t>(bits.get(8)));
  bits.get(16);              // constraints, level
  bits.exponentialGolomb();  // seq_parameter_set_id
  if (hasFormat) {
    const SpsFormat format = readFormat(bits);
    if (!bits.overrun()) sps.format = format;
  }
  if (skipToVuiFlag(bits, hasFormat)) sps.places = readPlaces(bits);
  if (bits.overrun()) sps.places.reset();
  return sps;
}

}  // namespace vx
