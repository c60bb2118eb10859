#include "platform/avfoundation/mp4/reader_sample_entry.h"

#include "platform/avfoundation/bitstream/descriptor_tags.h"

namespace vx::mp4 {

namespace {

constexpr std::uint64_t kTableHeaderBytes = kFullBoxBytes + 4;  // and the number of entries
constexpr std::uint64_t kVideoEntryBytes = 78;
constexpr std::uint64_t kAudioEntryBytes = 28;
constexpr std::uint64_t kBeforeSize = 24;      // reserved, data reference, reserved
constexpr std::uint64_t kBeforeChannels = 16;  // reserved, data reference, reserved
constexpr std::size_t kMaxParameterSetBytes = 0xFFFF;
constexpr std::size_t kMaxConfigurationBytes = 4096;
constexpr int kMaxLengthBytes = 4;  // of a descriptor

bool read_avcC(ByteReader reader, ParameterSets& sets) {
  constexpr std::uint8_t kFourLengthBytes = 0xFF;
  constexpr std::uint8_t kOneSet = 0xE1;
  reader.skip(4);  // version, profile, constraints, level
  if (reader.u8() != kFourLengthBytes || reader.u8() != kOneSet) return false;
  sets.sps = reader.bytes(reader.u16(), kMaxParameterSetBytes);
  if (reader.u8() != 1) return false;
  sets.pps = reader.bytes(reader.u16(), kMaxParameterSetBytes);
  return reader.ok() && !sets.sps.empty() && !sets.pps.empty();
}

bool read_colr(ByteReader reader, ColourTags& colour) {
  if (reader.u32() != fourCC("nclx")) return false;
  colour.primaries = reader.u16();
  colour.transfer = reader.u16();
  colour.matrix = reader.u16();
  colour.fullRange = (reader.u8() & 0x80) != 0;
  return reader.ok();
}

/// The length behind a descriptor's tag: seven bits a byte.
std::uint32_t descriptorLength(ByteReader& reader) {
  std::uint32_t length = 0;
  for (int i = 0; i < kMaxLengthBytes; ++i) {
    const std::uint8_t byte = reader.u8();
    length = length << 7 | (byte & 0x7F);
    if ((byte & 0x80) == 0) break;
  }
  return length;
}

bool read_esds(ByteReader reader, AudioTrackDescription& audio) {
  reader.skip(kFullBoxBytes);
  if (reader.u8() != kEsDescriptorTag) return false;
  descriptorLength(reader);
  reader.skip(3);  // id, flags
  if (reader.u8() != kDecoderConfigTag) return false;
  descriptorLength(reader);
  reader.skip(13);  // coding, type, buffer size, bit rates
  if (reader.u8() != kDecoderSpecificInfoTag) return false;
  audio.audioSpecificConfig = reader.bytes(descriptorLength(reader), kMaxConfigurationBytes);
  return reader.ok();
}

std::optional<FoundBox> onlyEntry(ReaderInput& input, const FoundBox& stsd, std::uint32_t type) {
  return findBox({input, stsd, kTableHeaderBytes}, type);
}

}  // namespace

bool readVideoSampleEntry(ReaderInput& input, const FoundBox& stsd, VideoTrackDescription& video) {
  const auto avc1 = onlyEntry(input, stsd, fourCC("avc1"));
  if (!avc1) return false;
  ByteReader fields(input, avc1->payload, avc1->end);
  fields.skip(kBeforeSize);
  video.width = fields.u16();
  video.height = fields.u16();
  if (!fields.ok()) return false;
  const auto avcC = findBox({input, *avc1, kVideoEntryBytes}, fourCC("avcC"));
  if (!avcC || !read_avcC({input, avcC->payload, avcC->end}, video.parameterSets)) return false;
  const auto colr = findBox({input, *avc1, kVideoEntryBytes}, fourCC("colr"));
  return colr && read_colr({input, colr->payload, colr->end}, video.colour);
}

bool readAudioSampleEntry(ReaderInput& input, const FoundBox& stsd, AudioTrackDescription& audio) {
  const auto mp4a = onlyEntry(input, stsd, fourCC("mp4a"));
  if (!mp4a) return false;
  ByteReader fields(input, mp4a->payload, mp4a->end);
  fields.skip(kBeforeChannels);
  audio.channels = fields.u16();
  if (!fields.ok() || audio.channels == 0) return false;
  const auto esds = findBox({input, *mp4a, kAudioEntryBytes}, fourCC("esds"));
  return esds && read_esds({input, esds->payload, esds->end}, audio);
}

}  // namespace vx::mp4
