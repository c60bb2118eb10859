#include "sound.h"

#include <algorithm>

namespace vxrecord {

SoundBlock SoundBlock::part(std::int64_t from, std::int64_t until) const {
  const std::int64_t first = std::clamp(from, start, end());
  const std::int64_t last = std::clamp(until, first, end());
  SoundBlock cut;
  cut.start = first;
  for (std::size_t i = 0; i < kSoundChannels; ++i) {
    cut.channels[i].assign(channels[i].begin() + (first - start),
                           channels[i].begin() + (last - start));
  }
  return cut;
}

}  // namespace vxrecord
