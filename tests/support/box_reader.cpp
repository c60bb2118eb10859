#include "support/box_reader.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>

namespace vx::test {

namespace {

// Bytes of fields in front of the boxes inside, for the types that hold boxes.
const std::map<std::string, std::size_t, std::less<>> kContainers = {
    {"moov", 0}, {"trak", 0}, {"edts", 0}, {"mdia", 0}, {"minf", 0}, {"dinf", 0},  {"stbl", 0},
    {"mvex", 0}, {"moof", 0}, {"traf", 0}, {"stsd", 8}, {"dref", 8}, {"avc1", 78}, {"mp4a", 28}};

std::vector<BoxNode> readSiblings(ByteView bytes, std::uint64_t base) {
  std::vector<BoxNode> boxes;
  std::uint64_t position = 0;
  while (position < bytes.size()) {
    FieldReader reader(bytes.subspan(position));
    BoxNode box;
    box.offset = base + position;
    box.sizeBytes = reader.u32();
    box.type = reader.text(4);
    box.headerBytes = 8;
    if (box.sizeBytes == 1) {
      box.sizeBytes = reader.u64();
      box.headerBytes = 16;
    } else if (box.sizeBytes == 0) {
      box.sizeBytes = bytes.size() - position;
    }
    const std::uint64_t left = bytes.size() - position;
    box.isTorn = reader.overrun() || box.sizeBytes < box.headerBytes || box.sizeBytes > left;
    if (box.isTorn) {
      boxes.push_back(std::move(box));
      break;
    }
    box.payload = bytes.subspan(position + box.headerBytes, box.sizeBytes - box.headerBytes);
    if (auto it = kContainers.find(box.type);
        it != kContainers.end() && it->second <= box.payload.size())
      box.children =
          readSiblings(box.payload.subspan(it->second), box.offset + box.headerBytes + it->second);
    position += box.sizeBytes;
    boxes.push_back(std::move(box));
  }
  return boxes;
}

struct FullBoxHeader {
  std::uint8_t version;
  std::uint32_t flags;
};

FullBoxHeader fullBox(FieldReader& reader) {
  const std::uint8_t version = reader.u8();
  return {version, reader.u24()};
}

std::uint64_t versioned(FieldReader& reader, std::uint8_t version) {
  return version == 1 ? reader.u64() : reader.u32();
}

template <typename Entry, typename Read>
std::vector<Entry> table(const BoxNode& box, Read read) {
  FieldReader reader(box.payload);
  const FullBoxHeader header = fullBox(reader);
  std::vector<Entry> entries;
  for (std::uint32_t left = reader.u32(); left > 0 && !reader.overrun(); --left)
    entries.push_back(read(reader, header.version));
  return entries;
}

std::vector<Bytes> parameterSets(FieldReader& reader, int count) {
  std::vector<Bytes> sets;
  for (; count > 0; --count) sets.push_back(reader.bytes(reader.u16()));
  return sets;
}

// ISO/IEC 14496-1, 8.3.3
std::size_t descriptorSize(FieldReader& reader) {
  std::size_t size = 0;
  for (int i = 0; i < 4; ++i) {
    const std::uint8_t byte = reader.u8();
    size = size << 7 | (byte & 0x7F);
    if ((byte & 0x80) == 0) break;
  }
  return size;
}

FieldReader descriptor(FieldReader& reader, std::uint8_t& tag, Bytes& storage) {
  tag = reader.u8();
  storage = reader.bytes(descriptorSize(reader));
  return FieldReader(storage);
}

}  // namespace

Bytes readWholeFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(stream), {});
}

std::uint64_t FieldReader::unsignedField(int byteCount) {
  std::uint64_t value = 0;
  for (int i = 0; i < byteCount; ++i) {
    const bool isThere = _position < _bytes.size();
    _overrun = _overrun || !isThere;
    value = value << 8 | (isThere ? _bytes[_position++] : 0);
  }
  return value;
}

Bytes FieldReader::bytes(std::size_t byteCount) {
  _overrun = _overrun || byteCount > left();
  const ByteView view = _bytes.subspan(_position, std::min(byteCount, left()));
  _position += view.size();
  return Bytes(view.begin(), view.end());
}

std::string FieldReader::text(std::size_t byteCount) {
  const Bytes raw = bytes(byteCount);
  return std::string(raw.begin(), raw.end());
}

const BoxNode* BoxNode::find(std::string_view path, std::size_t n) const {
  const std::size_t slash = path.find('/');
  const std::string_view first = path.substr(0, slash);
  const bool isLast = slash == std::string_view::npos;
  for (const BoxNode& child : children) {
    if (child.type != first) continue;
    if (!isLast) return child.find(path.substr(slash + 1), n);
    if (n-- == 0) return &child;
  }
  return nullptr;
}

BoxNode readBoxes(ByteView bytes) {
  BoxNode root;
  root.sizeBytes = bytes.size();
  root.payload = bytes;
  root.children = readSiblings(bytes, 0);
  return root;
}

MovieHeaderBox parse_mvhd(const BoxNode& box) {
  FieldReader reader(box.payload);
  MovieHeaderBox header;
  header.version = fullBox(reader).version;
  header.creationTime = versioned(reader, header.version);
  header.modificationTime = versioned(reader, header.version);
  header.timescale = reader.u32();
  header.duration = versioned(reader, header.version);
  reader.skip(4 + 2 + 10 + 36 + 24);
  header.nextTrackId = reader.u32();
  return header;
}

TrackHeaderBox parse_tkhd(const BoxNode& box) {
  FieldReader reader(box.payload);
  TrackHeaderBox header;
  const FullBoxHeader full = fullBox(reader);
  header.version = full.version;
  header.flags = full.flags;
  header.creationTime = versioned(reader, full.version);
  header.modificationTime = versioned(reader, full.version);
  header.trackId = reader.u32();
  reader.skip(4);
  header.duration = versioned(reader, full.version);
  reader.skip(8);
  header.layer = reader.u16();
  header.alternateGroup = reader.u16();
  header.volume = reader.u16();
  reader.skip(2);
  for (std::int32_t& value : header.matrix) value = static_cast<std::int32_t>(reader.u32());
  header.width = reader.u32();
  header.height = reader.u32();
  return header;
}

MediaHeaderBox parse_mdhd(const BoxNode& box) {
  FieldReader reader(box.payload);
  MediaHeaderBox header;
  header.version = fullBox(reader).version;
  header.creationTime = versioned(reader, header.version);
  header.modificationTime = versioned(reader, header.version);
  header.timescale = reader.u32();
  header.duration = versioned(reader, header.version);
  header.language = reader.u16();
  return header;
}

std::vector<EditBox> parse_elst(const BoxNode& box) {
  return table<EditBox>(box, [](FieldReader& reader, std::uint8_t version) {
    EditBox edit;
    edit.segmentDuration = versioned(reader, version);
    edit.mediaTime = version == 1 ? static_cast<std::int64_t>(reader.u64())
                                  : static_cast<std::int32_t>(reader.u32());
    edit.rate = reader.u32();
    return edit;
  });
}

std::vector<RunEntry> parse_stts(const BoxNode& box) {
  return table<RunEntry>(box, [](FieldReader& reader, std::uint8_t) {
    const std::uint32_t count = reader.u32();
    return RunEntry{count, reader.u32()};
  });
}

std::vector<std::uint32_t> parse_stss(const BoxNode& box) {
  return table<std::uint32_t>(box, [](FieldReader& reader, std::uint8_t) { return reader.u32(); });
}

std::vector<ChunkRun> parse_stsc(const BoxNode& box) {
  return table<ChunkRun>(box, [](FieldReader& reader, std::uint8_t) {
    ChunkRun run;
    run.firstChunk = reader.u32();
    run.samplesPerChunk = reader.u32();
    run.description = reader.u32();
    return run;
  });
}

std::vector<std::uint32_t> parse_stsz(const BoxNode& box) {
  FieldReader reader(box.payload);
  fullBox(reader);
  const std::uint32_t common = reader.u32();
  const std::uint32_t count = reader.u32();
  std::vector<std::uint32_t> sizes;
  for (std::uint32_t i = 0; i < count && !reader.overrun(); ++i)
    sizes.push_back(common != 0 ? common : reader.u32());
  return sizes;
}

std::vector<std::uint64_t> parse_co64(const BoxNode& box) {
  return table<std::uint64_t>(box, [](FieldReader& reader, std::uint8_t) { return reader.u64(); });
}

SampleEntryBox parseSampleEntry(const BoxNode& box) {
  FieldReader reader(box.payload);
  SampleEntryBox entry;
  entry.type = box.type;
  reader.skip(6);
  entry.dataReference = reader.u16();
  if (box.type == "avc1") {
    reader.skip(16);
    entry.width = reader.u16();
    entry.height = reader.u16();
  } else {
    reader.skip(8);
    entry.channels = reader.u16();
    reader.skip(6);
    entry.sampleRate = reader.u32();
  }
  return entry;
}

AvcConfigBox parse_avcC(const BoxNode& box) {
  FieldReader reader(box.payload);
  AvcConfigBox config;
  config.version = reader.u8();
  config.profile = reader.u8();
  config.constraints = reader.u8();
  config.level = reader.u8();
  config.nalLengthBytes = (reader.u8() & 3) + 1;
  config.sps = parameterSets(reader, reader.u8() & 0x1F);
  config.pps = parameterSets(reader, reader.u8());
  if (reader.left() >= 4) {
    AvcConfigBox::Format format;
    format.chroma = reader.u8() & 3;
    format.bitDepthLuma = (reader.u8() & 7) + 8;
    format.bitDepthChroma = (reader.u8() & 7) + 8;
    format.extensionSets = reader.u8();
    config.format = format;
  }
  return config;
}

ColourBox parse_colr(const BoxNode& box) {
  FieldReader reader(box.payload);
  ColourBox colour;
  colour.type = reader.text(4);
  colour.primaries = reader.u16();
  colour.transfer = reader.u16();
  colour.matrix = reader.u16();
  colour.fullRange = (reader.u8() & 0x80) != 0;
  return colour;
}

ElementaryStreamBox parse_esds(const BoxNode& box) {
  FieldReader boxReader(box.payload);
  fullBox(boxReader);
  ElementaryStreamBox result;
  std::uint8_t tag = 0;
  Bytes streamBytes, configBytes, infoBytes, syncBytes;
  FieldReader stream = descriptor(boxReader, tag, streamBytes);
  if (tag != 3) return result;
  result.id = stream.u16();
  stream.skip(1);
  FieldReader config = descriptor(stream, tag, configBytes);
  if (tag != 4) return result;
  result.objectType = config.u8();
  result.streamType = static_cast<std::uint8_t>(config.u8() >> 2);
  config.skip(3);
  result.maxBitRate = config.u32();
  result.averageBitRate = config.u32();
  descriptor(config, tag, infoBytes);
  if (tag == 5) result.decoderSpecificInfo = infoBytes;
  FieldReader sync = descriptor(stream, tag, syncBytes);
  if (tag == 6) result.syncLayerPredefined = sync.u8();
  return result;
}

TrackExtendsBox parse_trex(const BoxNode& box) {
  FieldReader reader(box.payload);
  fullBox(reader);
  TrackExtendsBox extends;
  extends.trackId = reader.u32();
  extends.description = reader.u32();
  extends.duration = reader.u32();
  extends.sizeBytes = reader.u32();
  extends.flags = reader.u32();
  return extends;
}

std::uint32_t parse_mfhd(const BoxNode& box) {
  FieldReader reader(box.payload);
  fullBox(reader);
  return reader.u32();
}

FragmentHeaderBox parse_tfhd(const BoxNode& box) {
  FieldReader reader(box.payload);
  const std::uint32_t flags = fullBox(reader).flags;
  return {flags, reader.u32()};
}

std::uint64_t parse_tfdt(const BoxNode& box) {
  FieldReader reader(box.payload);
  return versioned(reader, fullBox(reader).version);
}

RunBox parse_trun(const BoxNode& box) {
  FieldReader reader(box.payload);
  RunBox run;
  run.flags = fullBox(reader).flags;
  const std::uint32_t count = reader.u32();
  if (run.flags & 0x1) run.dataOffset = static_cast<std::int32_t>(reader.u32());
  if (run.flags & 0x4) reader.skip(4);
  for (std::uint32_t i = 0; i < count && !reader.overrun(); ++i) {
    RunBox::Sample sample;
    if (run.flags & 0x100) sample.duration = reader.u32();
    if (run.flags & 0x200) sample.sizeBytes = reader.u32();
    if (run.flags & 0x400) sample.flags = reader.u32();
    if (run.flags & 0x800) reader.skip(4);
    run.samples.push_back(sample);
  }
  return run;
}

}  // namespace vx::test
