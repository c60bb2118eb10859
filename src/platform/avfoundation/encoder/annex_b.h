// Coded pictures as a byte stream (ITU-T H.264, Annex B), the form that most encoders give.
#pragma once

#include "platform/avfoundation/encoder/video_encoder.h"

#include <cstdint>
#include <span>
#include <vector>

namespace vx {

/// Takes a byte stream apart: what belongs into a sample, with length prefixes instead of start
/// codes, and the parameter sets, which belong into the file's head.
class AnnexBReader {
 public:
  /// Replaces what was read before. The parameter sets are kept until others come.
  void read(std::span<const std::uint8_t> stream);

  /// The units of the picture, each behind its length; without delimiters and parameter sets.
  const std::vector<std::uint8_t>& sample() const { return _sample; }
  bool hasKeyFrame() const { return _hasKeyFrame; }
  const ParameterSets& parameterSets() const { return _parameterSets; }

 private:
  void take(std::span<const std::uint8_t> unit);

  std::vector<std::uint8_t> _sample;
  bool _hasKeyFrame = false;
  ParameterSets _parameterSets;
};

}  // namespace vx
