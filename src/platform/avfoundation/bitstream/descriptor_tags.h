// What descriptors begin with. ISO/IEC 14496-1, 7.2.2.1
#pragma once

#include <cstdint>

namespace vx {

inline constexpr std::uint8_t kEsDescriptorTag = 3;
inline constexpr std::uint8_t kDecoderConfigTag = 4;
inline constexpr std::uint8_t kDecoderSpecificInfoTag = 5;
inline constexpr std::uint8_t kSyncLayerConfigTag = 6;

}  // namespace vx
