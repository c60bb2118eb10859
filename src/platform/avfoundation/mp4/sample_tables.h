// The tables of a finished track, streamed from its index. ISO/IEC 14496-12, 8.6 and 8.7
#pragma once

#include "platform/avfoundation/mp4/byte_stream.h"
#include "platform/avfoundation/mp4/sample_index.h"

#include <cstdint>

namespace vx::mp4 {

/// ISO/IEC 14496-12, 8.6.1.2
void write_stts(ByteStream& stream, const SampleIndex& index, std::uint32_t lastDuration);
/// Nothing when every sample is a key frame. ISO/IEC 14496-12, 8.6.2
void write_stss(ByteStream& stream, const SampleIndex& index);
/// ISO/IEC 14496-12, 8.7.4
void write_stsc(ByteStream& stream, const SampleIndex& index);
/// ISO/IEC 14496-12, 8.7.3.2
void write_stsz(ByteStream& stream, const SampleIndex& index);
/// ISO/IEC 14496-12, 8.7.5
void write_co64(ByteStream& stream, const SampleIndex& index);

struct TableSizes {
  std::uint64_t samples = 0;
  std::uint64_t keyFrames = 0;
  std::uint64_t chunks = 0;
};
/// No fewer bytes than tables of these sizes will take.
std::uint64_t sampleTablesBytesAtMost(const TableSizes& sizes);

}  // namespace vx::mp4
