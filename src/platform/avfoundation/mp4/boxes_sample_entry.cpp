#include "platform/avfoundation/bitstream/descriptor_tags.h"
#include "platform/avfoundation/bitstream/nal_unit.h"
#include "platform/avfoundation/bitstream/sps.h"
#include "platform/avfoundation/mp4/boxes.h"

#include <algorithm>
#include <limits>

namespace vx::mp4 {

namespace {

constexpr std::uint32_t k72Dpi = 0x480000;  // 16.16
constexpr std::uint8_t kNalLengthBytes = 4;
constexpr std::uint16_t kDataReferenceIndex = 1;
constexpr std::size_t kSpsHeaderBytes = 4;  // NAL header, profile, constraints, level

constexpr std::uint8_t kObjectTypeAac = 0x40;
constexpr std::uint8_t kAudioStream = 0x05 << 2 | 1;  // type, upstream flag, reserved bit
constexpr std::uint8_t kSyncLayerForFiles = 2;

void putParameterSet(ByteStream& stream, std::span<const std::uint8_t> set) {
  if (set.size() > std::numeric_limits<std::uint16_t>::max())
    stream.failTooLarge("a parameter set over 64 KiB");
  stream.put16(static_cast<std::uint16_t>(set.size()));
  stream.putBytes(set);
}

void write_avc1(ByteStream& stream, const VideoSampleEntry& entry) {
  Box box(stream, "avc1");
  stream.putZeros(6);
  stream.put16(kDataReferenceIndex);
  stream.putZeros(16);
  stream.put16(static_cast<std::uint16_t>(entry.width));
  stream.put16(static_cast<std::uint16_t>(entry.height));
  stream.put32(k72Dpi);
  stream.put32(k72Dpi);
  stream.put32(0);
  stream.put16(1);       // frames a sample
  stream.putZeros(32);   // compressor name
  stream.put16(0x18);    // colour without alpha
  stream.put16(0xFFFF);  // no colour table
  write_avcC(stream, entry.parameterSets);
  write_colr(stream, entry.colour);
}

void write_mp4a(ByteStream& stream, const AudioSampleEntry& entry) {
  Box box(stream, "mp4a");
  stream.putZeros(6);
  stream.put16(kDataReferenceIndex);
  stream.putZeros(8);
  stream.put16(entry.channels);
  stream.put16(16);  // bits a sample
  stream.put32(0);
  // 16.16 has no room for rates from 65536 Hz on; decoders read the configuration then.
  stream.put32(entry.sampleRate <= 0xFFFF ? entry.sampleRate << 16 : 0);
  write_esds(stream, entry);
}

}  // namespace

void write_stsd_avc1(ByteStream& stream, const VideoSampleEntry& entry) {
  FullBox box(stream, "stsd", 0, 0);
  EntryCount count(stream);
  write_avc1(stream, entry);
  count.add();
}

void write_avcC(ByteStream& stream, const ParameterSets& parameterSets) {
  std::vector<std::uint8_t> sps = parameterSets.sps;
  sps.resize(std::max(sps.size(), kSpsHeaderBytes));
  Box box(stream, "avcC");
  stream.put8(1);
  stream.put8(sps[1]);  // profile
  stream.put8(sps[2]);  // constraints
  stream.put8(sps[3]);  // level
  stream.put8(0xFC | (kNalLengthBytes - 1));
  stream.put8(0xE0 | 1);
  putParameterSet(stream, parameterSets.sps);
  stream.put8(1);
  putParameterSet(stream, parameterSets.pps);
  if (!profileHasFormat(sps[1])) return;
  const SpsFormat format = readSps(payloadOf(sps)).format;
  stream.put8(static_cast<std::uint8_t>(0xFC | format.chromaFormat));
  stream.put8(static_cast<std::uint8_t>(0xF8 | (format.bitDepthLuma - 8)));
  stream.put8(static_cast<std::uint8_t>(0xF8 | (format.bitDepthChroma - 8)));
  stream.put8(0);  // no extension sets
}

void write_colr(ByteStream& stream, const ColourTags& colour) {
  Box box(stream, "colr");
  stream.putText("nclx");
  stream.put16(colour.primaries);
  stream.put16(colour.transfer);
  stream.put16(colour.matrix);
  stream.put8(colour.fullRange ? 0x80 : 0);
}

void write_stsd_mp4a(ByteStream& stream, const AudioSampleEntry& entry) {
  FullBox box(stream, "stsd", 0, 0);
  EntryCount count(stream);
  write_mp4a(stream, entry);
  count.add();
}

void write_esds(ByteStream& stream, const AudioSampleEntry& entry) {
  FullBox box(stream, "esds", 0, 0);
  Descriptor elementaryStream(stream, kEsDescriptorTag);
  stream.put16(0);
  stream.put8(0);
  {
    Descriptor decoder(stream, kDecoderConfigTag);
    stream.put8(kObjectTypeAac);
    stream.put8(kAudioStream);
    stream.put24(0);
    stream.put32(entry.averageBitRate);  // maximum
    stream.put32(entry.averageBitRate);
    Descriptor config(stream, kDecoderSpecificInfoTag);
    stream.putBytes(entry.audioSpecificConfig);
  }
  Descriptor syncLayer(stream, kSyncLayerConfigTag);
  stream.put8(kSyncLayerForFiles);
}

}  // namespace vx::mp4
