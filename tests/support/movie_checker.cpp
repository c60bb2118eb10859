#include "support/movie_checker.h"

#include "support/movie_checker_parts.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <set>

namespace vx::test {

namespace checker {

void Findings::add(std::string text) {
  constexpr std::size_t kMost = 40;
  if (_texts.size() < kMost) _texts.push_back(std::move(text));
}

bool Findings::require(bool isRight, const std::string& text) {
  if (!isRight) add(text);
  return isRight;
}

const BoxNode* optionalChild(const BoxNode& parent, const char* type, Findings& findings) {
  findings.require(parent.find(type, 1) == nullptr,
                   parent.type + " has more than one " + std::string(type));
  return parent.find(type);
}

const BoxNode* onlyChild(const BoxNode& parent, const char* type, Findings& findings) {
  const BoxNode* child = optionalChild(parent, type, findings);
  findings.require(child != nullptr, parent.type + " has no " + std::string(type));
  return child;
}

FullBoxFields openFullBox(const BoxNode& box) {
  FieldReader reader(box.payload);
  const std::uint8_t version = reader.u8();
  const std::uint32_t flags = reader.u24();
  return {version, flags, reader};
}

std::uint32_t readEntryCount(const BoxNode& box, FieldReader& reader, std::size_t entryBytes,
                             Findings& findings) {
  const std::uint32_t count = reader.u32();
  const bool fits =
      !reader.overrun() && std::uint64_t{count} * entryBytes == std::uint64_t{reader.left()};
  findings.require(fits, box.type + " does not hold exactly the " + std::to_string(count) +
                             " entries that it names");
  return fits ? count : 0;
}

namespace {

// More than this cannot be meant.
constexpr std::uint64_t kLongest = std::uint64_t{1} << 62;

struct MovieTimes {
  std::uint32_t timescale = 0;
  std::uint64_t duration = 0;
};

bool isKnownAtTopLevel(const std::string& type) {
  static const std::set<std::string> known = {"ftyp", "free", "skip", "mdat", "moov",
                                              "moof", "mfra", "sidx", "styp", "meta"};
  return known.contains(type);
}

bool isZero(ByteView bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

// A box of no bytes and no type: what a file system shows where nothing was written.
bool isHole(ByteView file, const BoxNode& box) {
  const std::size_t left = file.size() - box.offset;
  return isZero(file.subspan(box.offset, std::min<std::size_t>(left, 8)));
}

// Behind it nothing counts. A torn box must be one that readers pass over.
bool isUnfinishedEnd(ByteView file, const BoxNode& box) {
  if (file.size() - box.offset < 8 || isHole(file, box)) return true;
  return box.isTorn && (box.type == "free" || box.type == "mdat");
}

void reportTornBoxes(const BoxNode& parent, Findings& findings) {
  for (const BoxNode& box : parent.children) {
    findings.require(!box.isTorn, "the box at byte " + std::to_string(box.offset) + " inside " +
                                      parent.type + " does not fit into it");
    reportTornBoxes(box, findings);
  }
}

// Top-level boxes: they tile the file. The unfinished end, if any, is taken away.
void checkTiling(BoxNode& root, ByteView file, FileEnd end, Findings& findings) {
  for (std::size_t i = 0; i < root.children.size(); ++i) {
    const BoxNode& box = root.children[i];
    if (end == FileEnd::mayBeTorn && isUnfinishedEnd(file, box)) {
      root.children.resize(i);
      return;
    }
    const std::string where = "the box at byte " + std::to_string(box.offset);
    if (!findings.require(!box.isTorn, where + " reaches beyond the end of the file")) {
      root.children.resize(i);
      return;
    }
    findings.require(isKnownAtTopLevel(box.type), where + " has an unknown type");
    if (box.type != "mdat") reportTornBoxes(box, findings);
  }
}

void checkBrands(const BoxNode& root, Findings& findings) {
  const BoxNode* ftyp = root.find("ftyp");
  if (!findings.require(ftyp != nullptr && ftyp == &root.children.front(),
                        "the file does not begin with ftyp"))
    return;
  findings.require(root.find("ftyp", 1) == nullptr, "there is more than one ftyp");
  FieldReader reader(ftyp->payload);
  const std::string major = reader.text(4);
  reader.u32();
  if (!findings.require(!reader.overrun() && reader.left() % 4 == 0, "ftyp is cut off")) return;
  bool isRepeated = false;
  while (reader.left() > 0) isRepeated |= reader.text(4) == major;
  findings.require(isRepeated, "the major brand is not among the compatible ones");
}

std::uint64_t versioned(FullBoxFields& box) {
  return box.version == 1 ? box.reader.u64() : box.reader.u32();
}

void requireWhole(const BoxNode& box, const FullBoxFields& fields, Findings& findings) {
  findings.require(!fields.reader.overrun() && fields.reader.left() == 0,
                   box.type + " has not the length of its fields");
  findings.require(fields.version <= 1, box.type + " has an unknown version");
}

// 8.2.2
MovieTimes readMovieHeader(const BoxNode& mvhd, std::uint32_t& nextTrackId, Findings& findings) {
  FullBoxFields box = openFullBox(mvhd);
  versioned(box);
  versioned(box);
  MovieTimes times;
  times.timescale = box.reader.u32();
  times.duration = versioned(box);
  findings.require(box.reader.u32() == 0x10000, "mvhd does not play at rate 1");
  box.reader.skip(2 + 10 + 36 + 24);
  nextTrackId = box.reader.u32();
  requireWhole(mvhd, box, findings);
  findings.require(times.timescale > 0, "mvhd has the timescale 0");
  return times;
}

// 8.3.2
void readTrackHeader(const BoxNode& tkhd, CheckedTrack& track, Findings& findings) {
  FullBoxFields box = openFullBox(tkhd);
  versioned(box);
  versioned(box);
  track.id = box.reader.u32();
  box.reader.skip(4);
  track.movieDuration = versioned(box);
  box.reader.skip(8 + 2 + 2 + 2 + 2 + 36 + 4 + 4);
  requireWhole(tkhd, box, findings);
  findings.require(track.id != 0, "a track has the number 0");
  findings.require((box.flags & 1) != 0, "a track is not enabled");
}

// 8.4.2
void readMediaHeader(const BoxNode& mdhd, CheckedTrack& track, Findings& findings) {
  FullBoxFields box = openFullBox(mdhd);
  versioned(box);
  versioned(box);
  track.timescale = box.reader.u32();
  track.mediaDuration = versioned(box);
  findings.require((box.reader.u16() & 0x8000) == 0, "mdhd has a bit set that must be 0");
  box.reader.skip(2);
  requireWhole(mdhd, box, findings);
  findings.require(track.timescale > 0, "mdhd has the timescale 0");
}

// 8.4.3
void readHandler(const BoxNode& hdlr, CheckedTrack& track, Findings& findings) {
  FullBoxFields box = openFullBox(hdlr);
  box.reader.skip(4);
  track.handler = box.reader.text(4);
  box.reader.skip(12);
  const std::string name = box.reader.text(box.reader.left());
  findings.require(!box.reader.overrun() && !name.empty() && name.back() == '\0',
                   "hdlr does not end with a zero byte");
}

// 8.6.6
void readEdits(const BoxNode& trak, CheckedTrack& track, Findings& findings) {
  const BoxNode* edts = optionalChild(trak, "edts", findings);
  const BoxNode* elst = edts == nullptr ? nullptr : onlyChild(*edts, "elst", findings);
  if (elst == nullptr) return;
  FullBoxFields box = openFullBox(*elst);
  const std::uint32_t count =
      readEntryCount(*elst, box.reader, box.version == 1 ? 20 : 12, findings);
  for (std::uint32_t i = 0; i < count; ++i) {
    EditBox edit;
    edit.segmentDuration = versioned(box);
    edit.mediaTime = box.version == 1 ? static_cast<std::int64_t>(box.reader.u64())
                                      : static_cast<std::int32_t>(box.reader.u32());
    edit.rate = box.reader.u32();
    findings.require(edit.mediaTime >= -1, "an edit begins at a negative time");
    findings.require(edit.rate == 0x10000, "an edit does not play at rate 1");
    findings.require(edit.segmentDuration < kLongest, "an edit lasts longer than anything can");
    track.edits.push_back(edit);
  }
  findings.require(
      !track.edits.empty() && track.edits.back().mediaTime != -1,
      "the edit list of track " + std::to_string(track.id) + " ends with an empty edit");
}

// 8.7.2
std::size_t readDataReferences(const BoxNode& minf, Findings& findings) {
  const BoxNode* dinf = onlyChild(minf, "dinf", findings);
  const BoxNode* dref = dinf == nullptr ? nullptr : onlyChild(*dinf, "dref", findings);
  if (dref == nullptr) return 0;
  FullBoxFields box = openFullBox(*dref);
  findings.require(box.reader.u32() == dref->children.size(),
                   "dref does not hold the entries that it names");
  for (const BoxNode& entry : dref->children)
    findings.require(entry.type == "url " && openFullBox(entry).flags == 1,
                     "dref names another file");
  return dref->children.size();
}

void readMedia(const BoxNode& mdia, FileState& state, TrackState& track, Findings& findings) {
  if (const BoxNode* mdhd = onlyChild(mdia, "mdhd", findings))
    readMediaHeader(*mdhd, track.track, findings);
  if (const BoxNode* hdlr = onlyChild(mdia, "hdlr", findings))
    readHandler(*hdlr, track.track, findings);
  const BoxNode* minf = onlyChild(mdia, "minf", findings);
  if (minf == nullptr) return;
  if (track.track.handler == "vide") onlyChild(*minf, "vmhd", findings);
  if (track.track.handler == "soun") onlyChild(*minf, "smhd", findings);
  const std::size_t dataReferences = readDataReferences(*minf, findings);
  const BoxNode* stbl = onlyChild(*minf, "stbl", findings);
  if (stbl == nullptr) return;
  if (const BoxNode* stsd = onlyChild(*stbl, "stsd", findings))
    readSampleDescription(*stsd, dataReferences, track, findings);
  readSampleTables(*stbl, state, track, findings);
}

void readTrack(const BoxNode& trak, FileState& state, Findings& findings) {
  TrackState track;
  if (const BoxNode* tkhd = onlyChild(trak, "tkhd", findings))
    readTrackHeader(*tkhd, track.track, findings);
  readEdits(trak, track.track, findings);
  if (const BoxNode* mdia = onlyChild(trak, "mdia", findings))
    readMedia(*mdia, state, track, findings);
  for (const TrackState& other : state.tracks)
    findings.require(other.track.id != track.track.id,
                     "two tracks have the number " + std::to_string(track.track.id));
  state.tracks.push_back(std::move(track));
}

// Whether two durations in different timescales are the same but for rounding to the coarser one.
bool areSame(std::uint64_t a, std::uint32_t scaleOfA, std::uint64_t b, std::uint32_t scaleOfB) {
  const long double inA = static_cast<long double>(b) * scaleOfA / std::max(scaleOfB, 1U);
  const long double difference = inA - static_cast<long double>(a);
  const long double unit =
      std::max<long double>(1, static_cast<long double>(scaleOfA) / std::max(scaleOfB, 1U));
  return difference < unit && -difference < unit;
}

std::uint64_t playedDuration(const CheckedTrack& track) {
  std::uint64_t sum = 0;
  for (const EditBox& edit : track.edits) sum += edit.segmentDuration;
  return sum;
}

// Where the last picture or sound ends; reordered pictures end later than their decoding. 8.6.1.3
std::uint64_t presentationEnd(const CheckedTrack& track) {
  std::int64_t end = 0;
  for (const CheckedSample& sample : track.samples)
    end = std::max(end, sample.time + sample.compositionOffset + sample.duration);
  return static_cast<std::uint64_t>(end);
}

void checkEditsAgainstMedia(const CheckedTrack& track, std::uint32_t movieTimescale,
                            const std::string& name, Findings& findings) {
  const std::uint64_t end = presentationEnd(track);
  for (const EditBox& edit : track.edits) {
    if (edit.mediaTime == -1) continue;
    const auto start = static_cast<std::uint64_t>(edit.mediaTime);
    findings.require(start <= end, name + " has an edit behind its end");
    const std::uint64_t left = end - std::min(start, end);
    // One unit of either timescale may be due to rounding.
    const bool isLonger = static_cast<long double>(edit.segmentDuration) * track.timescale >
                          (static_cast<long double>(left) + 1) * movieTimescale +
                              static_cast<long double>(track.timescale);
    findings.require(!isLonger, name + " has an edit that is longer than its media");
  }
}

// The durations of a plain movie agree: samples, media, track, movie. 8.2.2, 8.3.2, 8.4.2
void checkDurations(const FileState& state, const MovieTimes& movie, Findings& findings) {
  std::uint64_t longest = 0;
  for (const TrackState& each : state.tracks) {
    const CheckedTrack& track = each.track;
    const std::string name = "track " + std::to_string(track.id);
    findings.require(track.mediaDuration == static_cast<std::uint64_t>(each.end),
                     "mdhd of " + name + " lasts " + std::to_string(track.mediaDuration) +
                         ", its samples " + std::to_string(each.end));
    if (track.edits.empty())
      findings.require(
          areSame(track.movieDuration, movie.timescale, track.mediaDuration, track.timescale),
          "tkhd of " + name + " does not last as long as its media");
    else
      findings.require(track.movieDuration == playedDuration(track),
                       "tkhd of " + name + " does not last as long as its edits");
    checkEditsAgainstMedia(track, movie.timescale, name, findings);
    longest = std::max(longest, track.movieDuration);
  }
  findings.require(movie.duration == longest, "mvhd does not last as long as the longest track");
}

void readMovieBox(const BoxNode& root, const BoxNode& moov, FileState& state, CheckedMovie& movie,
                  Findings& findings) {
  std::uint32_t nextTrackId = 0;
  MovieTimes times;
  if (const BoxNode* mvhd = onlyChild(moov, "mvhd", findings))
    times = readMovieHeader(*mvhd, nextTrackId, findings);
  for (const BoxNode& child : moov.children)
    if (child.type == "trak") readTrack(child, state, findings);
  for (const TrackState& track : state.tracks)
    findings.require(track.track.id < nextTrackId, "mvhd offers a track number that is in use");
  movie.timescale = times.timescale;
  movie.duration = times.duration;
  const BoxNode* mvex = optionalChild(moov, "mvex", findings);
  movie.form = mvex == nullptr ? MovieForm::plain : MovieForm::fragmented;
  if (mvex == nullptr) {
    findings.require(root.find("moof") == nullptr, "there are fragments that no mvex announces");
    checkDurations(state, times, findings);
    return;
  }
  readFragmentDefaults(*mvex, state, findings);
  readFragments(root, state, movie, findings);
}

}  // namespace

}  // namespace checker

std::uint64_t CheckedTrack::startDelay() const {
  std::uint64_t delay = 0;
  for (const EditBox& edit : edits) {
    if (edit.mediaTime != -1) break;
    delay += edit.segmentDuration;
  }
  return delay;
}

const CheckedTrack* CheckedMovie::track(std::string_view handler) const {
  for (const CheckedTrack& each : tracks)
    if (each.handler == handler) return &each;
  return nullptr;
}

CheckedMovie checkMovie(ByteView file, FileEnd end) {
  CheckedMovie movie;
  checker::Findings findings(movie.findings);
  BoxNode root = readBoxes(file);
  root.type = "the file";
  checker::checkTiling(root, file, end, findings);
  movie.wholeBytes = root.children.empty() ? 0 : root.children.back().end();
  if (!findings.require(!root.children.empty(), "the file holds no box")) return movie;
  checker::checkBrands(root, findings);

  checker::FileState state;
  state.file = file;
  for (const BoxNode& box : root.children)
    if (box.type == "mdat") state.media.push_back({box.offset + box.headerBytes, box.end()});
  const BoxNode* moov = checker::onlyChild(root, "moov", findings);
  if (moov == nullptr) return movie;
  checker::readMovieBox(root, *moov, state, movie, findings);
  checker::checkSampleBytes(state, findings);
  for (checker::TrackState& track : state.tracks) movie.tracks.push_back(std::move(track.track));
  return movie;
}

CheckedMovie checkMovieFile(const std::string& path, FileEnd end) {
  CheckedMovie unreadable;
  unreadable.findings = {"the file cannot be opened: " + path};
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return unreadable;
  struct stat status {};
  ::fstat(descriptor, &status);
  const auto size = static_cast<std::size_t>(status.st_size);
  void* bytes = size == 0 ? nullptr : ::mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
  ::close(descriptor);
  if (size == 0) return checkMovie({}, end);
  if (bytes == MAP_FAILED) return unreadable;
  CheckedMovie movie = checkMovie({static_cast<const std::uint8_t*>(bytes), size}, end);
  ::munmap(bytes, size);
  return movie;
}

ByteView sampleBytes(ByteView file, const CheckedSample& sample) {
  if (sample.offset > file.size() || sample.sizeBytes > file.size() - sample.offset) return {};
  return file.subspan(sample.offset, sample.sizeBytes);
}

}  // namespace vx::test
