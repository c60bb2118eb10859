// `stbl`: sample descriptions and sample tables.
#include "support/movie_checker_parts.h"

#include <limits>

namespace vx::test::checker {

namespace {

std::string nameOf(const TrackState& track) { return "track " + std::to_string(track.track.id); }

bool isHighProfile(std::uint8_t profile) {
  return profile == 100 || profile == 110 || profile == 122 || profile == 144;
}

// ISO/IEC 14496-15, 5.3.3.1
bool readParameterSets(FieldReader& reader, int count, int nalType, ByteView like, const char* name,
                       Findings& findings) {
  for (; count > 0; --count) {
    const Bytes set = reader.bytes(reader.u16());
    if (!findings.require(!reader.overrun() && !set.empty(), "avcC is cut off")) return false;
    findings.require((set[0] & 0x9F) == nalType,
                     std::string("avcC holds no ") + name + " where it says so");
    const bool agrees =
        like.empty() || (set.size() >= 4 && std::equal(like.begin(), like.end(), set.begin() + 1));
    findings.require(agrees, "avcC and its parameter set name different profiles");
  }
  return true;
}

void readAvcConfig(const BoxNode& avcC, CheckedTrack& track, Findings& findings) {
  FieldReader reader(avcC.payload);
  findings.require(reader.u8() == 1, "avcC has an unknown version");
  const Bytes profile = reader.bytes(3);
  const std::uint8_t lengthField = reader.u8();
  findings.require((lengthField & 0xFC) == 0xFC, "avcC has reserved bits that are not 1");
  track.nalLengthBytes = (lengthField & 3) + 1;
  findings.require(track.nalLengthBytes != 3, "avcC gives lengths of 3 bytes");
  const int spsCount = reader.u8() & 0x1F;
  findings.require(spsCount > 0, "avcC has no sequence parameter set");
  if (!readParameterSets(reader, spsCount, 7, profile, "sequence parameter set", findings)) return;
  const int ppsCount = reader.u8();
  findings.require(ppsCount > 0, "avcC has no picture parameter set");
  if (!readParameterSets(reader, ppsCount, 8, {}, "picture parameter set", findings)) return;
  if (!profile.empty() && isHighProfile(profile[0]) && reader.left() > 0) {
    findings.require((reader.u8() & 0xFC) == 0xFC, "avcC has reserved bits that are not 1");
    findings.require((reader.u8() & 0xF8) == 0xF8, "avcC has reserved bits that are not 1");
    findings.require((reader.u8() & 0xF8) == 0xF8, "avcC has reserved bits that are not 1");
    for (int extensions = reader.u8(); extensions > 0; --extensions) reader.skip(reader.u16());
  }
  findings.require(!reader.overrun() && reader.left() == 0,
                   "avcC has not the length of its fields");
}

// ISO/IEC 14496-14, 5.6
void checkAudioConfig(const BoxNode& esds, Findings& findings) {
  const ElementaryStreamBox stream = parse_esds(esds);
  findings.require(stream.objectType == 0x40 && stream.streamType == 5,
                   "esds does not describe AAC sound");
  findings.require(stream.decoderSpecificInfo.size() >= 2,
                   "esds has no configuration of the decoder");
}

void readSampleEntry(const BoxNode& entry, std::size_t dataReferences, CheckedTrack& track,
                     Findings& findings) {
  track.codec = entry.type;
  const SampleEntryBox fields = parseSampleEntry(entry);
  findings.require(fields.dataReference >= 1 && fields.dataReference <= dataReferences,
                   entry.type + " lies in a file that dref does not name");
  if (entry.type == "avc1") {
    findings.require(track.handler == "vide", "avc1 is in a track that is no video");
    findings.require(fields.width > 0 && fields.height > 0, "avc1 has no size");
    if (const BoxNode* avcC = onlyChild(entry, "avcC", findings))
      readAvcConfig(*avcC, track, findings);
  } else if (entry.type == "mp4a") {
    findings.require(track.handler == "soun", "mp4a is in a track that is no sound");
    if (const BoxNode* esds = onlyChild(entry, "esds", findings)) checkAudioConfig(*esds, findings);
  }
}

// 8.7.3. False when the tables cannot be used.
bool readSizes(const BoxNode& stbl, const FileState& state, std::vector<CheckedSample>& samples,
               Findings& findings) {
  const BoxNode* stsz = onlyChild(stbl, "stsz", findings);
  if (stsz == nullptr) return false;
  FieldReader reader = openFullBox(*stsz).reader;
  const std::uint32_t common = reader.u32();
  if (common == 0) {
    const std::uint32_t count = readEntryCount(*stsz, reader, 4, findings);
    samples.resize(count);
    for (CheckedSample& sample : samples) sample.sizeBytes = reader.u32();
    return true;
  }
  const std::uint32_t count = reader.u32();
  findings.require(!reader.overrun() && reader.left() == 0,
                   "stsz has not the length of its fields");
  if (!findings.require(std::uint64_t{common} * count <= state.file.size(),
                        "stsz names more bytes than the file has"))
    return false;
  samples.resize(count);
  for (CheckedSample& sample : samples) sample.sizeBytes = common;
  return true;
}

struct Run {
  std::uint32_t count = 0;
  std::uint32_t value = 0;
};

// The entries of `stts` and `ctts`, when together they are for exactly this many samples.
std::vector<Run> readRuns(const BoxNode& box, std::size_t sampleCount, Findings& findings) {
  FieldReader reader = openFullBox(box).reader;
  std::vector<Run> runs(readEntryCount(box, reader, 8, findings));
  std::uint64_t sum = 0;
  for (Run& run : runs) {
    run.count = reader.u32();
    run.value = reader.u32();
    sum += run.count;
    findings.require(run.count > 0, box.type + " has an entry for no sample");
  }
  if (!findings.require(sum == sampleCount, box.type + " is for " + std::to_string(sum) +
                                                " samples, stsz for " +
                                                std::to_string(sampleCount)))
    runs.clear();
  return runs;
}

// 8.6.1.2
void readTimes(const BoxNode& stbl, TrackState& track, Findings& findings) {
  const BoxNode* stts = onlyChild(stbl, "stts", findings);
  if (stts == nullptr) return;
  auto sample = track.track.samples.begin();
  for (const Run& run : readRuns(*stts, track.track.samples.size(), findings)) {
    for (std::uint32_t i = 0; i < run.count; ++i, ++sample) {
      sample->time = track.end;
      sample->duration = run.value;
      track.end += run.value;
    }
  }
}

// 8.6.1.3
void readCompositionOffsets(const BoxNode& stbl, TrackState& track, Findings& findings) {
  const BoxNode* ctts = optionalChild(stbl, "ctts", findings);
  if (ctts == nullptr) return;
  const bool isSigned = openFullBox(*ctts).version == 1;
  auto sample = track.track.samples.begin();
  for (const Run& run : readRuns(*ctts, track.track.samples.size(), findings))
    for (std::uint32_t i = 0; i < run.count; ++i, ++sample)
      sample->compositionOffset =
          isSigned ? std::int64_t{static_cast<std::int32_t>(run.value)} : std::int64_t{run.value};
}

// 8.6.2: without the box every sample is a sync sample.
void readSyncSamples(const BoxNode& stbl, TrackState& track, Findings& findings) {
  const BoxNode* stss = optionalChild(stbl, "stss", findings);
  if (stss == nullptr) return;
  for (CheckedSample& sample : track.track.samples) sample.isSync = false;
  FieldReader reader = openFullBox(*stss).reader;
  std::uint32_t previous = 0;
  for (std::uint32_t left = readEntryCount(*stss, reader, 4, findings); left > 0; --left) {
    const std::uint32_t number = reader.u32();
    if (!findings.require(number > previous && number <= track.track.samples.size(),
                          "stss of " + nameOf(track) + " does not rise or names no sample"))
      return;
    track.track.samples[number - 1].isSync = true;
    previous = number;
  }
}

// 8.7.5
std::vector<std::uint64_t> readChunkOffsets(const BoxNode& stbl, Findings& findings) {
  const BoxNode* co64 = optionalChild(stbl, "co64", findings);
  const BoxNode* stco = optionalChild(stbl, "stco", findings);
  if (!findings.require((co64 == nullptr) != (stco == nullptr),
                        "stbl has not exactly one of stco and co64"))
    return {};
  const BoxNode& box = co64 != nullptr ? *co64 : *stco;
  FieldReader reader = openFullBox(box).reader;
  std::vector<std::uint64_t> offsets(
      readEntryCount(box, reader, co64 != nullptr ? 8 : 4, findings));
  for (std::uint64_t& offset : offsets) offset = co64 != nullptr ? reader.u64() : reader.u32();
  return offsets;
}

// 8.7.4. The number of samples of each chunk; empty when the box makes no sense.
std::vector<std::uint32_t> readChunkLengths(const BoxNode& stbl, std::size_t chunkCount,
                                            std::size_t descriptionCount, Findings& findings) {
  std::vector<std::uint32_t> lengths;
  const BoxNode* stsc = onlyChild(stbl, "stsc", findings);
  if (stsc == nullptr) return lengths;
  FieldReader reader = openFullBox(*stsc).reader;
  const std::uint32_t count = readEntryCount(*stsc, reader, 12, findings);
  std::uint32_t length = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t first = reader.u32();
    // `lengths` is filled up to the chunk before `first` with the entry before.
    const bool isNext = i == 0 ? first == 1 : first > lengths.size() + 1;
    if (!findings.require(isNext && first <= chunkCount, "stsc names chunks out of order"))
      return {};
    lengths.resize(first - 1, length);
    length = reader.u32();
    const std::uint32_t description = reader.u32();
    findings.require(length > 0, "stsc has chunks without samples");
    findings.require(description >= 1 && description <= descriptionCount,
                     "stsc names a description that stsd has not");
  }
  if (count > 0) lengths.resize(chunkCount, length);
  return lengths;
}

void placeSamples(const BoxNode& stbl, TrackState& track, Findings& findings) {
  const std::vector<std::uint64_t> offsets = readChunkOffsets(stbl, findings);
  const std::vector<std::uint32_t> lengths =
      readChunkLengths(stbl, offsets.size(), track.descriptionCount, findings);
  std::uint64_t sum = 0;
  for (std::uint32_t length : lengths) sum += length;
  if (!findings.require(sum == track.track.samples.size(),
                        "the chunks of " + nameOf(track) + " hold " + std::to_string(sum) +
                            " samples, stsz " + std::to_string(track.track.samples.size())))
    return;
  auto sample = track.track.samples.begin();
  for (std::size_t chunk = 0; chunk < lengths.size(); ++chunk) {
    std::uint64_t offset = offsets[chunk];
    for (std::uint32_t i = 0; i < lengths[chunk]; ++i, ++sample) {
      sample->offset = offset;
      offset += sample->sizeBytes;
    }
  }
}

}  // namespace

void readSampleDescription(const BoxNode& stsd, std::size_t dataReferences, TrackState& track,
                           Findings& findings) {
  FieldReader reader = openFullBox(stsd).reader;
  track.descriptionCount = stsd.children.size();
  findings.require(reader.u32() == track.descriptionCount && track.descriptionCount > 0,
                   "stsd does not hold the entries that it names");
  for (const BoxNode& entry : stsd.children)
    readSampleEntry(entry, dataReferences, track.track, findings);
}

void readSampleTables(const BoxNode& stbl, FileState& state, TrackState& track,
                      Findings& findings) {
  if (!readSizes(stbl, state, track.track.samples, findings)) return;
  readTimes(stbl, track, findings);
  readCompositionOffsets(stbl, track, findings);
  readSyncSamples(stbl, track, findings);
  placeSamples(stbl, track, findings);
}

}  // namespace vx::test::checker
