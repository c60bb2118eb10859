// Reads ISO base media boxes back, written from ISO/IEC 14496-12, -14 and -15 alone.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vx::test {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

Bytes readWholeFile(const std::string& path);

/// A place in a box's payload. Reading beyond the end gives zeros and sets `overrun`.
class FieldReader {
 public:
  explicit FieldReader(ByteView bytes) : _bytes(bytes) {}
  std::uint64_t unsignedField(int byteCount);
  std::uint8_t u8() { return static_cast<std::uint8_t>(unsignedField(1)); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(unsignedField(2)); }
  std::uint32_t u24() { return static_cast<std::uint32_t>(unsignedField(3)); }
  std::uint32_t u32() { return static_cast<std::uint32_t>(unsignedField(4)); }
  std::uint64_t u64() { return unsignedField(8); }
  std::string text(std::size_t byteCount);
  Bytes bytes(std::size_t byteCount);
  void skip(std::size_t byteCount) { bytes(byteCount); }
  std::size_t left() const { return _bytes.size() - _position; }
  bool overrun() const { return _overrun; }

 private:
  ByteView _bytes;
  std::size_t _position = 0;
  bool _overrun = false;
};

/// One box with the boxes inside. Payloads are views of the bytes that were read.
struct BoxNode {
  std::string type;
  std::uint64_t offset = 0;  // from the start of the bytes
  std::uint64_t sizeBytes = 0;
  std::uint64_t headerBytes = 0;
  bool isTorn = false;  // reaches beyond the end of the bytes
  ByteView payload;
  std::vector<BoxNode> children;

  std::uint64_t end() const { return offset + sizeBytes; }
  /// The n-th box at a path of types such as "mdia/minf/stbl"; null when there is none.
  const BoxNode* find(std::string_view path, std::size_t n = 0) const;
};

/// All boxes of `bytes`; the node returned has no type and stands for the whole.
BoxNode readBoxes(ByteView bytes);

struct MovieHeaderBox {
  std::uint8_t version = 0;
  std::uint64_t creationTime = 0, modificationTime = 0;
  std::uint32_t timescale = 0;
  std::uint64_t duration = 0;
  std::uint32_t nextTrackId = 0;
};
struct TrackHeaderBox {
  std::uint8_t version = 0;
  std::uint32_t flags = 0;
  std::uint64_t creationTime = 0, modificationTime = 0;
  std::uint32_t trackId = 0;
  std::uint64_t duration = 0;
  std::uint16_t layer = 0, alternateGroup = 0, volume = 0;
  std::array<std::int32_t, 9> matrix{};
  std::uint32_t width = 0, height = 0;  // 16.16
};
struct MediaHeaderBox {
  std::uint8_t version = 0;
  std::uint64_t creationTime = 0, modificationTime = 0;
  std::uint32_t timescale = 0;
  std::uint64_t duration = 0;
  std::uint16_t language = 0;
};
struct EditBox {
  std::uint64_t segmentDuration = 0;
  std::int64_t mediaTime = 0;
  std::uint32_t rate = 0;
  friend bool operator==(const EditBox&, const EditBox&) = default;
};
struct RunEntry {
  std::uint32_t count = 0, value = 0;
  friend bool operator==(const RunEntry&, const RunEntry&) = default;
};
struct ChunkRun {
  std::uint32_t firstChunk = 0, samplesPerChunk = 0, description = 0;
  friend bool operator==(const ChunkRun&, const ChunkRun&) = default;
};
struct AvcConfigBox {
  std::uint8_t version = 0, profile = 0, constraints = 0, level = 0;
  int nalLengthBytes = 0;
  std::vector<Bytes> sps, pps;
  struct Format {
    int chroma = 0, bitDepthLuma = 0, bitDepthChroma = 0, extensionSets = 0;
    friend bool operator==(const Format&, const Format&) = default;
  };
  std::optional<Format> format;
};
struct ColourBox {
  std::string type;
  std::uint16_t primaries = 0, transfer = 0, matrix = 0;
  bool fullRange = false;
};
struct ElementaryStreamBox {
  std::uint16_t id = 0;
  std::uint8_t objectType = 0, streamType = 0;
  std::uint32_t maxBitRate = 0, averageBitRate = 0;
  Bytes decoderSpecificInfo;
  int syncLayerPredefined = -1;
};
struct SampleEntryBox {
  std::string type;
  std::uint16_t dataReference = 0;
  std::uint16_t width = 0, height = 0;  // video
  std::uint16_t channels = 0;           // audio
  std::uint32_t sampleRate = 0;         // audio, 16.16
};
struct RunBox {
  std::uint32_t flags = 0;
  std::int32_t dataOffset = 0;
  struct Sample {
    std::uint32_t duration = 0, sizeBytes = 0, flags = 0;
    friend bool operator==(const Sample&, const Sample&) = default;
  };
  std::vector<Sample> samples;
};
struct TrackExtendsBox {
  std::uint32_t trackId = 0, description = 0, duration = 0, sizeBytes = 0, flags = 0;
};
struct FragmentHeaderBox {
  std::uint32_t flags = 0, trackId = 0;
};

MovieHeaderBox parse_mvhd(const BoxNode& box);
TrackHeaderBox parse_tkhd(const BoxNode& box);
MediaHeaderBox parse_mdhd(const BoxNode& box);
std::vector<EditBox> parse_elst(const BoxNode& box);
std::vector<RunEntry> parse_stts(const BoxNode& box);
std::vector<std::uint32_t> parse_stss(const BoxNode& box);
std::vector<ChunkRun> parse_stsc(const BoxNode& box);
std::vector<std::uint32_t> parse_stsz(const BoxNode& box);
std::vector<std::uint64_t> parse_co64(const BoxNode& box);
SampleEntryBox parseSampleEntry(const BoxNode& avc1OrMp4a);
AvcConfigBox parse_avcC(const BoxNode& box);
ColourBox parse_colr(const BoxNode& box);
ElementaryStreamBox parse_esds(const BoxNode& box);
TrackExtendsBox parse_trex(const BoxNode& box);
std::uint32_t parse_mfhd(const BoxNode& box);
FragmentHeaderBox parse_tfhd(const BoxNode& box);
std::uint64_t parse_tfdt(const BoxNode& box);
RunBox parse_trun(const BoxNode& box);

/// The tree as text, one box a line with its size and what its fields say; times of day are left
/// out.
std::string dumpBoxes(const BoxNode& root);

}  // namespace vx::test
