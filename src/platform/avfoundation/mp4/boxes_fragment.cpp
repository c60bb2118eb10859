#include "platform/avfoundation/mp4/boxes.h"

namespace vx::mp4 {

namespace {

// ISO/IEC 14496-12, 8.8.3.1
constexpr std::uint32_t kSyncSampleFlags = 0x02000000;                       // depends on no other
constexpr std::uint32_t kNonSyncSampleFlags = 0x01000000 | kIsNoSyncSample;  // depends on others

}  // namespace

void write_trex(ByteStream& stream, std::uint32_t trackId) {
  FullBox box(stream, "trex", 0, 0);
  stream.put32(trackId);
  stream.put32(1);  // sample description
  stream.put32(0);  // duration
  stream.put32(0);  // size
  stream.put32(0);  // flags
}

void write_mfhd(ByteStream& stream, std::uint32_t sequenceNumber) {
  FullBox box(stream, "mfhd", 0, 0);
  stream.put32(sequenceNumber);
}

void write_tfhd(ByteStream& stream, std::uint32_t trackId) {
  FullBox box(stream, "tfhd", 0, kDefaultBaseIsMoof);
  stream.put32(trackId);
}

void write_tfdt(ByteStream& stream, std::uint64_t baseMediaDecodeTime) {
  FullBox box(stream, "tfdt", 1, 0);
  stream.put64(baseMediaDecodeTime);
}

std::uint64_t write_trun(ByteStream& stream, std::span<const RunSample> samples) {
  FullBox box(stream, "trun", 0, kRunFlags);
  EntryCount count(stream);
  const std::uint64_t dataOffsetPosition = stream.position();
  stream.put32(0);
  for (const RunSample& sample : samples) {
    stream.put32(sample.duration);
    stream.put32(sample.sizeBytes);
    stream.put32(sample.isKeyFrame ? kSyncSampleFlags : kNonSyncSampleFlags);
    count.add();
  }
  return dataOffsetPosition;
}

void write_checksums(ByteStream& stream, const FragmentChecksums& checksums,
                     std::uint64_t bytesBefore) {
  const std::uint64_t start = stream.position();
  Box box(stream, "free");
  stream.putText(kChecksumTag);
  stream.put32(checksums.moof);
  stream.put32(checksums.mdat);
  while ((bytesBefore + stream.position() - start) % kFragmentAlignment != 0) stream.put8(0);
}

}  // namespace vx::mp4
