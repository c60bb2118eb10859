#include "platform/avfoundation/mp4/recording_reader.h"

#include "platform/avfoundation/mp4/movie.h"
#include "platform/avfoundation/mp4/reader_fragment.h"
#include "platform/avfoundation/mp4/track_timeline.h"

#include <algorithm>

namespace vx::mp4 {

namespace {

using Form = FoundRecording::Form;

constexpr std::size_t kMaxDamagedParts = 1000;
// No head is longer, and no fragment that one commit writes.
constexpr std::uint64_t kMaxHeadBytes = std::uint64_t{1} << 20;
constexpr std::uint64_t kMaxTornBytes = std::uint64_t{64} << 20;
constexpr std::uint64_t kHeadStart = kPlaceholderOffset + kPlaceholderBytes;

void addDamage(FoundRecording& recording, std::uint64_t begin, std::uint64_t end) {
  ++recording.damagedPartCount;
  if (recording.damagedParts.size() < kMaxDamagedParts)
    recording.damagedParts.push_back({begin, end - begin});
}

// ---- the start of the file -----------------------------------------------------------------

/// What every recording begins with, as far as it never changes.
std::vector<std::uint8_t> constantStart() {
  ByteStream stream;
  write_ftyp(stream);
  return stream.takeBytes();
}

bool beginsLikeARecording(ReaderInput& input) {
  const std::vector<std::uint8_t> expected = constantStart();
  std::vector<std::uint8_t> start(expected.size());
  start.resize(input.read(0, start));
  return std::equal(start.begin(), start.end(), expected.begin());
}

/// What stands where the placeholder was.
enum class Placeholder { none, free, swallowing };

Placeholder placeholderOf(ReaderInput& input, FoundBox& box) {
  ByteReader reader(input, kPlaceholderOffset, kHeadStart);
  const std::uint32_t size = reader.u32();
  const std::uint32_t type = reader.u32();
  const std::uint64_t longSize = reader.u64();
  if (!reader.ok()) return Placeholder::none;
  if (size == kPlaceholderBytes && type == fourCC("free")) return Placeholder::free;
  if (size != 1 || type != fourCC("mdat") || longSize < kPlaceholderBytes) return Placeholder::none;
  if (longSize > (std::uint64_t{1} << 62)) return Placeholder::none;
  box = {type, kPlaceholderOffset, kHeadStart, kPlaceholderOffset + longSize};
  return Placeholder::swallowing;
}

// ---- fragments -----------------------------------------------------------------------------

/// Follows the fragments from `begin` on. What lies between two whole ones is damaged; what lies
/// behind the last one is torn.
void readFragments(ReaderInput& input, std::uint64_t begin, FoundRecording& recording) {
  const std::uint64_t limit = recording.sizeBytes;
  FragmentFinder finder(input, limit);
  std::uint64_t position = begin;
  recording.committedEnd = begin;
  FoundSamples* audio = recording.movie.audio ? &recording.audio : nullptr;
  while (position < limit) {
    const auto found = finder.findFrom(position);
    if (!found) break;
    position = found->end;
    const bool isFollowing = found->moof.offset == recording.committedEnd;
    if (!isPayloadSound(input, *found)) continue;
    if (!isFollowing) recording.video.skipToKeyFrame();
    if (!addSamples(input, *found, recording.video, audio)) continue;
    if (!isFollowing) addDamage(recording, recording.committedEnd, found->moof.offset);
    recording.committedEnd = found->end;
    ++recording.fragmentCount;
    if (found->isPublished) continue;
    if (recording.unpublishedCount++ == 0) recording.unpublishedStart = found->moof.offset;
  }
  recording.tornBytes = limit - recording.committedEnd;
}

bool readGrowing(ReaderInput& input, FoundRecording& recording) {
  const auto moov = BoxReader(input, kHeadStart, recording.sizeBytes).next();
  StoredMovie& movie = recording.movie;
  if (!moov || moov->type != fourCC("moov") || !readStoredMovie(input, *moov, movie)) return false;
  if (!movie.isFragmented || movie.video.emptyDuration > 0) return false;
  if (movie.audio && movie.audio->emptyDuration > kMaxRecordedTime) return false;
  readFragments(input, moov->end, recording);
  return true;
}

// ---- the finished file ---------------------------------------------------------------------

bool readFinished(ReaderInput& input, const FoundBox& mdat, FoundRecording& recording) {
  const auto moov = BoxReader(input, mdat.end, recording.sizeBytes).next();
  if (!moov || moov->type != fourCC("moov")) return false;
  StoredMovie& movie = recording.movie;
  if (!readStoredMovie(input, *moov, movie) || movie.isFragmented) return false;
  return readTables(input, movie.video.tables, mdat, recording.video) &&
         (!movie.audio || readTables(input, movie.audio->tables, mdat, recording.audio));
}

/// The chunks of one track with the bytes that each takes.
class ChunkExtents {
 public:
  explicit ChunkExtents(const SampleIndex& index) : _chunks(index), _samples(index) { advance(); }
  bool atEnd() const { return !_hasChunk; }
  std::uint64_t begin() const { return _chunk.offset; }
  std::uint64_t end() const { return _end; }
  void advance() {
    _hasChunk = _chunks.next(_chunk);
    if (!_hasChunk) return;
    _end = _chunk.offset;
    IndexedSample sample;
    for (std::uint32_t i = 0; i < _chunk.sampleCount && _samples.next(sample); ++i)
      _end += sample.sizeBytes;
  }

 private:
  SampleIndex::ChunkReader _chunks;
  SampleIndex::SampleReader _samples;
  IndexedChunk _chunk;
  std::uint64_t _end = 0;
  bool _hasChunk = false;
};

/// Chunks up to `end` that do not lie within what was proven are damaged.
void checkChunks(ChunkExtents& chunks, const FoundBox& proven, std::uint64_t end,
                 FoundRecording& recording) {
  for (; !chunks.atEnd() && chunks.begin() < end; chunks.advance())
    if (chunks.begin() < proven.payload || chunks.end() > proven.end)
      addDamage(recording, chunks.begin(), chunks.end());
}

/// The fragments are still there, inside the finished file's mdat, with their checksums.
void checkContents(ReaderInput& input, const FoundBox& mdat, FoundRecording& recording) {
  ChunkExtents video(recording.video.index());
  ChunkExtents audio(recording.audio.index());
  FragmentFinder finder(input, mdat.end);
  const auto head = BoxReader(input, kHeadStart, mdat.end).next();
  std::uint64_t position = head ? head->end : kHeadStart;
  while (position < mdat.end && !(video.atEnd() && audio.atEnd())) {
    const auto found = finder.findFrom(position);
    if (!found) break;
    position = found->end;
    if (!isPayloadSound(input, *found)) continue;
    ++recording.fragmentCount;
    checkChunks(video, found->mdat, found->end, recording);
    checkChunks(audio, found->mdat, found->end, recording);
  }
  checkChunks(video, {}, mdat.end, recording);
  checkChunks(audio, {}, mdat.end, recording);
}

}  // namespace

Status readRecording(ReaderInput& input, ReadDepth depth, FoundRecording& recording) {
  recording = {};
  recording.sizeBytes = input.sizeBytes();
  if (!beginsLikeARecording(input)) return input.status();
  FoundBox mdat;
  const Placeholder placeholder = placeholderOf(input, mdat);
  if (placeholder == Placeholder::swallowing && readFinished(input, mdat, recording)) {
    recording.form = Form::finished;
    if (depth == ReadDepth::contents) checkContents(input, mdat, recording);
    return input.status();
  }
  recording.movie = {};
  recording.video = {};
  recording.audio = {};
  if (placeholder == Placeholder::none) {
    const bool isShort = recording.sizeBytes < kHeadStart;
    recording.form = isShort ? Form::beginning : Form::foreign;
  } else if (readGrowing(input, recording)) {
    recording.form = placeholder == Placeholder::free ? Form::growing : Form::indexLost;
  } else {
    const bool hasContents = recording.sizeBytes > kMaxHeadBytes ||
                             FragmentFinder(input, recording.sizeBytes).findFrom(kHeadStart);
    recording.form = hasContents ? Form::headLost : Form::beginning;
  }
  return input.status();
}

bool FoundRecording::isRepairable() const {
  if (form != Form::growing && form != Form::indexLost) return false;
  return fragmentCount > 0 || (form == Form::growing && tornBytes <= kMaxTornBytes);
}

std::int64_t startOfPictures(const FoundRecording& recording) {
  return static_cast<std::int64_t>(recording.movie.video.emptyDuration +
                                   recording.video.startTime());
}

std::int64_t startOfSound(const FoundRecording& recording) {
  const StoredAudioTrack& track = *recording.movie.audio;
  const std::int64_t heardFrom = rescale(static_cast<std::int64_t>(track.emptyDuration),
                                         kMovieTimescale, track.description.sampleRate);
  return heardFrom - track.description.trimAtStart +
         static_cast<std::int64_t>(recording.audio.startTime());
}

std::uint32_t trimOfSound(const FoundRecording& recording) {
  // With the sound's first samples, what was to be cut off them is lost too.
  const std::uint64_t trim = recording.movie.audio->description.trimAtStart;
  return static_cast<std::uint32_t>(trim - std::min(trim, recording.audio.startTime()));
}

}  // namespace vx::mp4
