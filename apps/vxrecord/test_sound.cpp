#include "test_sound.h"

#include <cmath>
#include <numbers>

namespace vxrecord {

SoundBlock makeTestSound(std::int64_t start, std::size_t length) {
  constexpr double kHertz = 1000;
  constexpr double kAmplitude = 0.5;
  SoundBlock block;
  block.start = start;
  for (std::size_t i = 0; i < length; ++i) {
    const std::int64_t inSecond = (start + static_cast<std::int64_t>(i)) % kSoundRate;
    const double wave = kAmplitude * std::sin(2 * std::numbers::pi * kHertz *
                                              static_cast<double>(inSecond) / kSoundRate);
    const bool isLoud = inSecond < soundSamplesAt(kBeepMs);
    for (auto& channel : block.channels) {
      channel.push_back(isLoud ? static_cast<float>(wave) : 0.0F);
    }
  }
  return block;
}

}  // namespace vxrecord
