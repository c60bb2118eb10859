#include "platform/avfoundation/mp4/reader_movie.h"

#include "platform/avfoundation/mp4/reader_sample_entry.h"

namespace vx::mp4 {

namespace {

// A recording's tracks have at most two edits: nothing, then the samples.
constexpr std::uint32_t kMaxEdits = 2;

/// What is common to both kinds of tracks.
struct TrackBoxes {
  std::uint32_t trackId = 0;
  std::uint64_t movieDuration = 0;
  Matrix matrix{};
  std::uint32_t timescale = 0;
  std::uint32_t handler = 0;
  std::vector<Edit> edits;
  FoundBox stsd;
  TableBoxes tables;
};

bool read_tkhd(ByteReader reader, TrackBoxes& track) {
  constexpr std::uint64_t kBeforeMatrix = 8 + 4 + 4;  // reserved, layer, group, volume, reserved
  if (reader.u8() != 1) return false;
  reader.skip(3 + 8 + 8);  // flags, times
  track.trackId = reader.u32();
  reader.skip(4);
  track.movieDuration = reader.u64();
  reader.skip(kBeforeMatrix);
  for (std::int32_t& value : track.matrix) value = static_cast<std::int32_t>(reader.u32());
  return reader.ok() && track.movieDuration <= kMaxFinishedTime;
}

bool read_elst(ByteReader reader, TrackBoxes& track) {
  if (reader.u8() != 1) return false;
  reader.skip(3);
  const std::uint32_t count = reader.u32();
  if (count > kMaxEdits) return false;
  for (std::uint32_t i = 0; i < count; ++i) {
    Edit edit;
    edit.segmentDuration = reader.u64();
    edit.mediaTime = static_cast<std::int64_t>(reader.u64());
    reader.skip(4);
    track.edits.push_back(edit);
  }
  return reader.ok();
}

bool read_mdhd(ByteReader reader, TrackBoxes& track) {
  if (reader.u8() != 1) return false;
  reader.skip(3 + 8 + 8);
  track.timescale = reader.u32();
  return reader.ok();
}

bool read_hdlr(ByteReader reader, TrackBoxes& track) {
  reader.skip(kFullBoxBytes + 4);
  track.handler = reader.u32();
  return reader.ok();
}

bool read_stbl(ReaderInput& input, const FoundBox& stbl, TrackBoxes& track) {
  struct Wanted {
    std::uint32_t type;
    FoundBox& box;
  };
  BoxReader boxes(input, stbl);
  while (const auto box = boxes.next()) {
    if (box->type == fourCC("stss")) track.tables.stss = *box;
    for (const Wanted& wanted :
         {Wanted{fourCC("stsd"), track.stsd}, Wanted{fourCC("stts"), track.tables.stts},
          Wanted{fourCC("stsc"), track.tables.stsc}, Wanted{fourCC("stsz"), track.tables.stsz},
          Wanted{fourCC("co64"), track.tables.co64}})
      if (box->type == wanted.type) wanted.box = *box;
  }
  const TableBoxes& tables = track.tables;
  const auto isMissing = [](const FoundBox& box) { return box.end == 0; };
  return !isMissing(track.stsd) && !isMissing(tables.stts) && !isMissing(tables.stsc) &&
         !isMissing(tables.stsz) && !isMissing(tables.co64);
}

ByteReader payloadOf(ReaderInput& input, const FoundBox& box) {
  return {input, box.payload, box.end};
}

bool read_mdia(ReaderInput& input, const FoundBox& mdia, TrackBoxes& track) {
  const auto mdhd = findBox({input, mdia}, fourCC("mdhd"));
  const auto hdlr = findBox({input, mdia}, fourCC("hdlr"));
  const auto minf = findBox({input, mdia}, fourCC("minf"));
  if (!mdhd || !hdlr || !minf) return false;
  const auto stbl = findBox({input, *minf}, fourCC("stbl"));
  return stbl && read_mdhd(payloadOf(input, *mdhd), track) &&
         read_hdlr(payloadOf(input, *hdlr), track) && read_stbl(input, *stbl, track);
}

bool read_trak(ReaderInput& input, const FoundBox& trak, TrackBoxes& track) {
  const auto tkhd = findBox({input, trak}, fourCC("tkhd"));
  const auto mdia = findBox({input, trak}, fourCC("mdia"));
  if (!tkhd || !mdia) return false;
  if (const auto edts = findBox({input, trak}, fourCC("edts"))) {
    const auto elst = findBox({input, *edts}, fourCC("elst"));
    if (!elst || !read_elst(payloadOf(input, *elst), track)) return false;
  }
  return read_tkhd(payloadOf(input, *tkhd), track) && read_mdia(input, *mdia, track);
}

/// What the edits say: nothing for a while, then the samples from `mediaTime` on.
bool readEdits(const TrackBoxes& boxes, StoredTrack& track, std::uint64_t& mediaTime) {
  mediaTime = 0;
  bool hasMedia = false;
  for (const Edit& edit : boxes.edits) {
    if (edit.segmentDuration > kMaxFinishedTime || hasMedia) return false;
    if (edit.mediaTime == kEmptyEdit) {
      if (track.emptyDuration > 0) return false;
      track.emptyDuration = edit.segmentDuration;
      continue;
    }
    if (edit.mediaTime < 0) return false;
    mediaTime = static_cast<std::uint64_t>(edit.mediaTime);
    hasMedia = true;
  }
  track.movieDuration = boxes.movieDuration;
  track.tables = boxes.tables;
  return true;
}

bool takeVideo(ReaderInput& input, const TrackBoxes& boxes, StoredVideoTrack& video) {
  std::uint64_t mediaTime = 0;
  video.matrix = boxes.matrix;
  return boxes.trackId == kVideoTrackId && boxes.timescale == kVideoTimescale &&
         readEdits(boxes, video, mediaTime) && mediaTime == 0 &&
         readVideoSampleEntry(input, boxes.stsd, video.description);
}

bool takeAudio(ReaderInput& input, const TrackBoxes& boxes, StoredAudioTrack& audio) {
  std::uint64_t mediaTime = 0;
  audio.description.sampleRate = boxes.timescale;
  if (boxes.timescale < kMinSampleRate || boxes.timescale > kMaxSampleRate) return false;
  if (boxes.trackId != kAudioTrackId || !readEdits(boxes, audio, mediaTime) ||
      mediaTime > 0xFFFFFFFF)
    return false;
  audio.description.trimAtStart = static_cast<std::uint32_t>(mediaTime);
  return readAudioSampleEntry(input, boxes.stsd, audio.description);
}

bool read_mvhd(ByteReader reader, StoredMovie& movie) {
  if (reader.u8() != 1) return false;
  reader.skip(3);
  movie.creationTime = reader.u64();
  reader.skip(8);
  return reader.u32() == kMovieTimescale && reader.ok();
}

// A track that was described and not published is a `free` box that begins as a track does.
bool isTrack(ReaderInput& input, const FoundBox& box) {
  if (box.type == fourCC("trak")) return true;
  if (box.type != fourCC("free")) return false;
  const auto first = BoxReader(input, box).next();
  return first && first->type == fourCC("tkhd");
}

}  // namespace

bool readStoredMovie(ReaderInput& input, const FoundBox& moov, StoredMovie& movie) {
  bool hasHeader = false;
  bool hasVideo = false;
  BoxReader boxes(input, moov);
  while (const auto box = boxes.next()) {
    if (box->type == fourCC("mvhd")) hasHeader = read_mvhd(payloadOf(input, *box), movie);
    if (box->type == fourCC("mvex")) movie.isFragmented = true;
    if (!isTrack(input, *box)) continue;
    const bool isPublished = box->type == fourCC("trak");
    TrackBoxes track;
    bool isFine = read_trak(input, *box, track);
    if (isFine && track.handler == fourCC("vide") && !hasVideo) {
      isFine = hasVideo = takeVideo(input, track, movie.video);
    } else if (isFine && track.handler == fourCC("soun") && !movie.audio) {
      StoredAudioTrack audio;
      isFine = takeAudio(input, track, audio);
      if (isFine) movie.audio = std::move(audio);
    } else {
      isFine = false;
    }
    // What was not published may be torn.
    if (!isFine && isPublished) return false;
  }
  return hasHeader && hasVideo;
}

}  // namespace vx::mp4
