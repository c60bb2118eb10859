// `mvex` and `moof`.
#include "support/movie_checker_parts.h"

#include <algorithm>

namespace vx::test::checker {

namespace {

// 8.8.7.1
constexpr std::uint32_t kBaseDataOffset = 0x000001;
constexpr std::uint32_t kDescriptionIndex = 0x000002;
constexpr std::uint32_t kDefaultDuration = 0x000008;
constexpr std::uint32_t kDefaultSize = 0x000010;
constexpr std::uint32_t kDefaultFlags = 0x000020;
constexpr std::uint32_t kBaseIsMoof = 0x020000;
// 8.8.8.1
constexpr std::uint32_t kDataOffset = 0x000001;
constexpr std::uint32_t kFirstSampleFlags = 0x000004;
constexpr std::uint32_t kSampleDuration = 0x000100;
constexpr std::uint32_t kSampleSize = 0x000200;
constexpr std::uint32_t kSampleFlags = 0x000400;
constexpr std::uint32_t kSampleCompositionOffset = 0x000800;
// 8.8.3.1
constexpr std::uint32_t kIsNonSync = 0x00010000;

TrackState* findTrack(FileState& state, std::uint32_t id) {
  for (TrackState& track : state.tracks)
    if (track.track.id == id) return &track;
  return nullptr;
}

/// Where a run begins and what its samples have in common.
struct RunContext {
  std::uint64_t base = 0;  // data offsets count from here
  std::uint64_t next = 0;  // where a run without a data offset begins
  FragmentDefaults defaults;
};

// 8.8.7
TrackState* readTrackFragmentHeader(const BoxNode& tfhd, std::uint64_t moofOffset, FileState& state,
                                    RunContext& context, Findings& findings) {
  FullBoxFields box = openFullBox(tfhd);
  const std::uint32_t id = box.reader.u32();
  TrackState* track = findTrack(state, id);
  if (!findings.require(track != nullptr, "a fragment belongs to track " + std::to_string(id) +
                                              ", which is not there"))
    return nullptr;
  findings.require(track->defaults.isThere, "there is no trex for track " + std::to_string(id));
  context.defaults = track->defaults;
  const bool hasBase = (box.flags & kBaseDataOffset) != 0;
  context.base = hasBase ? box.reader.u64() : moofOffset;
  findings.require(hasBase || (box.flags & kBaseIsMoof) != 0,
                   "a fragment's offsets count from the end of another track's data");
  if (box.flags & kDescriptionIndex) context.defaults.description = box.reader.u32();
  if (box.flags & kDefaultDuration) context.defaults.duration = box.reader.u32();
  if (box.flags & kDefaultSize) context.defaults.sizeBytes = box.reader.u32();
  if (box.flags & kDefaultFlags) context.defaults.flags = box.reader.u32();
  findings.require(!box.reader.overrun() && box.reader.left() == 0,
                   "tfhd has not the length of its fields");
  findings.require(
      context.defaults.description >= 1 && context.defaults.description <= track->descriptionCount,
      "a fragment names a description that stsd has not");
  context.next = context.base;
  return track;
}

// 8.8.12: a time beyond the samples so far makes the last of them longer.
void readDecodeTime(const BoxNode& tfdt, TrackState& track, Findings& findings) {
  FullBoxFields box = openFullBox(tfdt);
  const std::uint64_t time = box.version == 1 ? box.reader.u64() : box.reader.u32();
  findings.require(!box.reader.overrun() && box.reader.left() == 0 && time < std::uint64_t{1} << 62,
                   "tfdt has not the length of its fields, or a time that cannot be meant");
  const auto start = static_cast<std::int64_t>(time & ((std::uint64_t{1} << 62) - 1));
  if (!findings.require(start >= track.end,
                        "a fragment of track " + std::to_string(track.track.id) + " begins at " +
                            std::to_string(start) + ", before the end of the one before at " +
                            std::to_string(track.end)))
    return;
  if (!track.track.samples.empty())
    track.track.samples.back().duration = start - track.track.samples.back().time;
  track.end = start;
}

std::size_t bytesPerSample(std::uint32_t flags) {
  std::size_t bytes = 0;
  for (std::uint32_t field : {kSampleDuration, kSampleSize, kSampleFlags, kSampleCompositionOffset})
    if (flags & field) bytes += 4;
  return bytes;
}

// 8.8.8
void readRun(const BoxNode& trun, TrackState& track, RunContext& context, std::size_t fileBytes,
             Findings& findings) {
  FullBoxFields box = openFullBox(trun);
  const std::uint32_t count = box.reader.u32();
  std::uint64_t offset = context.next;
  if (box.flags & kDataOffset)
    offset = context.base +
             static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(box.reader.u32())});
  std::uint32_t firstFlags = context.defaults.flags;
  if (box.flags & kFirstSampleFlags) firstFlags = box.reader.u32();
  findings.require((box.flags & kFirstSampleFlags) == 0 || (box.flags & kSampleFlags) == 0,
                   "trun tells the first sample's flags twice");
  const bool fits = !box.reader.overrun() && count <= fileBytes &&
                    bytesPerSample(box.flags) * count == box.reader.left();
  if (!findings.require(fits, "trun does not hold exactly the samples that it names")) return;
  for (std::uint32_t i = 0; i < count; ++i) {
    CheckedSample sample;
    sample.time = track.end;
    sample.duration = box.flags & kSampleDuration ? box.reader.u32() : context.defaults.duration;
    sample.sizeBytes = box.flags & kSampleSize ? box.reader.u32() : context.defaults.sizeBytes;
    std::uint32_t flags = i == 0 ? firstFlags : context.defaults.flags;
    if (box.flags & kSampleFlags) flags = box.reader.u32();
    if (box.flags & kSampleCompositionOffset) {
      const std::uint32_t raw = box.reader.u32();
      sample.compositionOffset =
          box.version == 0 ? std::int64_t{raw} : std::int64_t{static_cast<std::int32_t>(raw)};
    }
    sample.isSync = (flags & kIsNonSync) == 0;
    sample.offset = offset;
    offset += sample.sizeBytes;
    track.end += sample.duration;
    track.track.samples.push_back(sample);
  }
  context.next = offset;
}

void readTrackFragment(const BoxNode& traf, std::uint64_t moofOffset, FileState& state,
                       Findings& findings) {
  const BoxNode* tfhd = onlyChild(traf, "tfhd", findings);
  if (tfhd == nullptr) return;
  RunContext context;
  TrackState* track = readTrackFragmentHeader(*tfhd, moofOffset, state, context, findings);
  if (track == nullptr) return;
  if (const BoxNode* tfdt = optionalChild(traf, "tfdt", findings))
    readDecodeTime(*tfdt, *track, findings);
  for (const BoxNode& child : traf.children)
    if (child.type == "trun") readRun(child, *track, context, state.file.size(), findings);
}

}  // namespace

void readFragmentDefaults(const BoxNode& mvex, FileState& state, Findings& findings) {
  for (const BoxNode& child : mvex.children) {
    if (child.type != "trex") continue;
    FullBoxFields box = openFullBox(child);
    const std::uint32_t id = box.reader.u32();
    FragmentDefaults defaults{true, box.reader.u32(), box.reader.u32(), box.reader.u32(),
                              box.reader.u32()};
    findings.require(!box.reader.overrun() && box.reader.left() == 0,
                     "trex has not the length of its fields");
    // Defaults without a track mean nothing: a track may be described after them.
    TrackState* track = findTrack(state, id);
    if (track == nullptr) continue;
    findings.require(!track->defaults.isThere,
                     "there is more than one trex for track " + std::to_string(id));
    track->defaults = defaults;
  }
  for (const TrackState& track : state.tracks)
    findings.require(track.defaults.isThere,
                     "there is no trex for track " + std::to_string(track.track.id));
}

void readFragments(const BoxNode& root, FileState& state, CheckedMovie& movie, Findings& findings) {
  std::uint32_t previous = 0;
  for (const BoxNode& box : root.children) {
    if (box.type != "moof") continue;
    ++movie.fragmentCount;
    if (const BoxNode* mfhd = onlyChild(box, "mfhd", findings)) {
      const std::uint32_t number = openFullBox(*mfhd).reader.u32();
      findings.require(number > previous, "the fragments' numbers do not rise");
      previous = number;
    }
    for (const BoxNode& child : box.children)
      if (child.type == "traf") readTrackFragment(child, box.offset, state, findings);
  }
}

}  // namespace vx::test::checker
