// One fragment: the samples of each track since the last commit, as they go to the file.
#pragma once

#include "platform/avfoundation/mp4/boxes.h"

#include <cstdint>
#include <span>
#include <vector>

namespace vx::mp4 {

/// Samples of one track that are not in the file yet.
struct PendingTrack {
  std::uint32_t trackId = 0;
  std::int64_t firstTime = 0;  // on the track's own timeline
  std::vector<RunSample> samples;
  std::vector<std::uint8_t> bytes;

  bool empty() const { return samples.empty(); }
  void clear();
};

/// moof | mdat | free. The payloads stay with their tracks, which must outlive this.
class Fragment {
 public:
  /// From the tracks that have samples.
  Fragment(std::uint32_t sequenceNumber, std::span<const PendingTrack* const> tracks);

  /// The pieces in file order, with the type `moof` in place.
  const std::vector<std::span<const std::uint8_t>>& pieces() const { return _pieces; }
  std::uint64_t sizeBytes() const { return _sizeBytes; }
  /// Bytes from the fragment's start to the first sample of the n-th track given.
  std::uint64_t payloadOffset(std::size_t trackNumber) const {
    return _payloadOffsets[trackNumber];
  }
  /// Not ok when a box grew too large.
  Status status();

 private:
  ByteStream _head;  // moof and the header of mdat
  ByteStream _tail;  // the checksums
  std::vector<std::span<const std::uint8_t>> _pieces;
  std::vector<std::uint64_t> _payloadOffsets;
  std::uint64_t _sizeBytes = 0;
};

}  // namespace vx::mp4
