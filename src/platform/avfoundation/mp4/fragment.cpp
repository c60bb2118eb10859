#include "platform/avfoundation/mp4/fragment.h"

#include "platform/avfoundation/mp4/crc32c.h"

namespace vx::mp4 {

namespace {

// Returns where the run's data offset stands.
std::uint64_t write_traf(ByteStream& stream, const PendingTrack& track) {
  Box traf(stream, "traf");
  write_tfhd(stream, track.trackId);
  write_tfdt(stream, static_cast<std::uint64_t>(track.firstTime));
  return write_trun(stream, track.samples);
}

std::vector<std::uint64_t> write_moof(ByteStream& stream, std::uint32_t sequenceNumber,
                                      std::span<const PendingTrack* const> tracks) {
  std::vector<std::uint64_t> dataOffsetPositions;
  Box moof(stream, "moof");
  write_mfhd(stream, sequenceNumber);
  for (const PendingTrack* track : tracks)
    dataOffsetPositions.push_back(write_traf(stream, *track));
  return dataOffsetPositions;
}

}  // namespace

void PendingTrack::clear() {
  samples.clear();
  bytes.clear();
}

Fragment::Fragment(std::uint32_t sequenceNumber, std::span<const PendingTrack* const> tracks) {
  const auto dataOffsetPositions = write_moof(_head, sequenceNumber, tracks);
  const auto moofBytes = static_cast<std::size_t>(_head.position());

  std::uint64_t offset = moofBytes + kBoxHeaderBytes;
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    _payloadOffsets.push_back(offset);
    _head.patch32(dataOffsetPositions[i], static_cast<std::uint32_t>(offset));
    offset += tracks[i]->bytes.size();
  }
  _head.put32(static_cast<std::uint32_t>(offset - moofBytes));
  _head.put32(fourCC("mdat"));

  const std::span<const std::uint8_t> head = _head.bytes();
  FragmentChecksums checksums{crc32c(head.first(moofBytes)), crc32c(head.subspan(moofBytes))};
  _pieces.push_back(head);
  for (const PendingTrack* track : tracks) {
    checksums.mdat = crc32c(track->bytes, checksums.mdat);
    _pieces.push_back(track->bytes);
  }
  write_checksums(_tail, checksums, offset);
  _pieces.push_back(_tail.bytes());
  _sizeBytes = offset + _tail.position();
}

Status Fragment::status() {
  if (Status status = _head.finish(); !status.ok()) return status;
  return _tail.finish();
}

}  // namespace vx::mp4
