// The tone of the built-in picture: a beep at every full second, while the picture flashes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sound.h"

namespace vxrecord {

inline constexpr std::int64_t kBeepPeriodMs = 1000;
inline constexpr std::int64_t kBeepMs = 100;

constexpr bool isBeeping(std::int64_t timeMs) { return timeMs % kBeepPeriodMs < kBeepMs; }

SoundBlock makeTestSound(std::int64_t start, std::size_t length);

}  // namespace vxrecord
