#include "support/box_reader.h"

#include <functional>
#include <map>
#include <sstream>

namespace vx::test {

namespace {

template <typename... Values>
std::string joined(const Values&... values) {
  std::ostringstream text;
  ((text << ' ' << values), ...);
  return text.str();
}

std::string describe_tkhd(const BoxNode& box) {
  const TrackHeaderBox header = parse_tkhd(box);
  std::string text = joined("track", header.trackId, "duration", header.duration, "size",
                            header.width >> 16, header.height >> 16, "matrix");
  for (std::int32_t value : header.matrix) text += joined(value);
  return text;
}

std::string describe_elst(const BoxNode& box) {
  std::string text;
  for (const EditBox& edit : parse_elst(box))
    text += joined("edit", edit.segmentDuration, edit.mediaTime);
  return text;
}

std::string describe_stts(const BoxNode& box) {
  std::string text;
  for (const RunEntry& run : parse_stts(box))
    text += " " + std::to_string(run.count) + "*" + std::to_string(run.value);
  return text;
}

std::string describe_stsc(const BoxNode& box) {
  std::string text;
  for (const ChunkRun& run : parse_stsc(box))
    text += joined("from", run.firstChunk, "each", run.samplesPerChunk);
  return text;
}

template <typename Value>
std::string describeList(const std::vector<Value>& values) {
  std::string text;
  for (const Value& value : values) text += joined(value);
  return text;
}

std::string describe_trun(const BoxNode& box) {
  const RunBox run = parse_trun(box);
  std::string text = joined("data at", run.dataOffset);
  for (const RunBox::Sample& sample : run.samples)
    text += joined("|", sample.duration, sample.sizeBytes,
                   (sample.flags & 0x10000) != 0 ? "delta" : "key");
  return text;
}

std::string describe_mvhd(const BoxNode& box) {
  const MovieHeaderBox header = parse_mvhd(box);
  return joined("timescale", header.timescale, "duration", header.duration, "next track",
                header.nextTrackId);
}

std::string describe_mdhd(const BoxNode& box) {
  const MediaHeaderBox header = parse_mdhd(box);
  return joined("timescale", header.timescale, "duration", header.duration);
}

std::string describeEntry(const BoxNode& box) {
  const SampleEntryBox entry = parseSampleEntry(box);
  return entry.type == "avc1" ? joined(entry.width, "x", entry.height)
                              : joined(entry.channels, "channels", entry.sampleRate >> 16, "Hz");
}

std::string describe_avcC(const BoxNode& box) {
  const AvcConfigBox config = parse_avcC(box);
  return joined("profile", int{config.profile}, "level", int{config.level}, "sets",
                config.sps.size(), config.pps.size());
}

std::string describe_colr(const BoxNode& box) {
  const ColourBox colour = parse_colr(box);
  return joined(colour.type, colour.primaries, colour.transfer, colour.matrix,
                colour.fullRange ? "full" : "video");
}

std::string describe_esds(const BoxNode& box) {
  const ElementaryStreamBox stream = parse_esds(box);
  return joined("object type", int{stream.objectType}, "bit rate", stream.averageBitRate,
                "config bytes", stream.decoderSpecificInfo.size());
}

std::string describe_tfdt(const BoxNode& box) { return joined(parse_tfdt(box)); }

using Describe = std::function<std::string(const BoxNode&)>;
const std::map<std::string, Describe> kDescriptions = {
    {"mvhd", describe_mvhd},
    {"tkhd", describe_tkhd},
    {"mdhd", describe_mdhd},
    {"elst", describe_elst},
    {"stts", describe_stts},
    {"stsc", describe_stsc},
    {"stss", [](const BoxNode& box) { return describeList(parse_stss(box)); }},
    {"stsz", [](const BoxNode& box) { return describeList(parse_stsz(box)); }},
    {"co64", [](const BoxNode& box) { return describeList(parse_co64(box)); }},
    {"trun", describe_trun},
    {"tfdt", describe_tfdt},
    {"tfhd", [](const BoxNode& box) { return joined("track", parse_tfhd(box).trackId); }},
    {"mfhd", [](const BoxNode& box) { return joined(parse_mfhd(box)); }},
    {"trex", [](const BoxNode& box) { return joined("track", parse_trex(box).trackId); }},
    {"avc1", describeEntry},
    {"mp4a", describeEntry},
    {"avcC", describe_avcC},
    {"colr", describe_colr},
    {"esds", describe_esds},
};

void dump(const BoxNode& box, int depth, std::string& text) {
  text += std::string(static_cast<std::size_t>(depth) * 2, ' ') + box.type + " [" +
          std::to_string(box.sizeBytes) + "]" + (box.isTorn ? " torn" : "");
  if (auto it = kDescriptions.find(box.type); it != kDescriptions.end() && !box.isTorn)
    text += it->second(box);
  text += '\n';
  for (const BoxNode& child : box.children) dump(child, depth + 1, text);
}

}  // namespace

std::string dumpBoxes(const BoxNode& root) {
  std::string text;
  for (const BoxNode& box : root.children) dump(box, 0, text);
  return text;
}

}  // namespace vx::test
