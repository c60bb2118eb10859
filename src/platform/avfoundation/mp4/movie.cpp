#include "platform/avfoundation/mp4/movie.h"

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/mp4/sample_tables.h"
#include "platform/avfoundation/mp4/track_timeline.h"

#include <algorithm>
#include <chrono>

namespace vx::mp4 {

namespace {

constexpr std::int16_t kFullVolume = 0x100;
constexpr std::int16_t kAudioGroup = 1;

/// A track's times, in the units in which its boxes hold them.
struct TrackTimes {
  std::uint64_t creationTime = 0;
  std::uint64_t modificationTime = 0;
  std::uint64_t mediaDuration = 0;
  std::uint64_t movieDuration = 0;
  std::vector<Edit> edits;
};

void write_stbl_tables(ByteStream& stream, const FinishedTrack& track) {
  write_stts(stream, *track.index, track.lastDuration);
  write_stss(stream, *track.index);
  write_stsc(stream, *track.index);
  write_stsz(stream, *track.index);
  write_co64(stream, *track.index);
}

MediaHeader mediaHeader(const TrackTimes& times, std::uint32_t timescale) {
  return {times.creationTime, times.modificationTime, timescale, times.mediaDuration};
}

TrackHeader trackHeader(const TrackTimes& times, std::uint32_t trackId) {
  TrackHeader header;
  header.creationTime = times.creationTime;
  header.modificationTime = times.modificationTime;
  header.trackId = trackId;
  header.duration = times.movieDuration;
  return header;
}

Matrix matrixOf(const VideoTrackDescription& video) {
  return displayMatrix(video.transform, video.width, video.height);
}

void write_video_trak(ByteStream& stream, const VideoTrackDescription& video, const Matrix& matrix,
                      const TrackTimes& times, const FinishedTrack& track) {
  Box trak(stream, "trak");
  TrackHeader header = trackHeader(times, kVideoTrackId);
  header.matrix = matrix;
  header.width = video.width;
  header.height = video.height;
  write_tkhd(stream, header);
  write_edts(stream, times.edits);
  Box mdia(stream, "mdia");
  write_mdhd(stream, mediaHeader(times, kVideoTimescale));
  write_hdlr(stream, "vide", "Video");
  Box minf(stream, "minf");
  write_vmhd(stream);
  write_dinf(stream);
  Box stbl(stream, "stbl");
  write_stsd_avc1(stream, {video.width, video.height, video.parameterSets, video.colour});
  write_stbl_tables(stream, track);
}

std::uint32_t averageBitRate(const AudioTrackDescription& audio, const TrackTimes& times,
                             const SampleIndex& index) {
  if (times.mediaDuration == 0) return 0;
  const double seconds = static_cast<double>(times.mediaDuration) / audio.sampleRate;
  return static_cast<std::uint32_t>(
      std::min(static_cast<double>(index.totalBytes()) * 8 / seconds, 4294967295.0));
}

void write_audio_trak_boxes(ByteStream& stream, const AudioTrackDescription& audio,
                            const TrackTimes& times, const FinishedTrack& track) {
  TrackHeader header = trackHeader(times, kAudioTrackId);
  header.alternateGroup = kAudioGroup;
  header.volume = kFullVolume;
  write_tkhd(stream, header);
  write_edts(stream, times.edits);
  Box mdia(stream, "mdia");
  write_mdhd(stream, mediaHeader(times, audio.sampleRate));
  write_hdlr(stream, "soun", "Sound");
  Box minf(stream, "minf");
  write_smhd(stream);
  write_dinf(stream);
  Box stbl(stream, "stbl");
  write_stsd_mp4a(stream, {audio.channels, audio.sampleRate, audio.audioSpecificConfig,
                           averageBitRate(audio, times, *track.index)});
  write_stbl_tables(stream, track);
}

std::uint64_t mediaDuration(const FinishedTrack& track) {
  if (track.index->sampleCount() == 0) return 0;
  return static_cast<std::uint64_t>(track.index->span()) + track.lastDuration;
}

TrackTimes videoTimes(const FinishedMovie& movie) {
  TrackTimes times{
      movie.creationTime, movie.modificationTime, mediaDuration(movie.videoTrack), 0, {}};
  const auto start = static_cast<std::uint64_t>(movie.videoTrack.startTime);
  times.movieDuration = start + times.mediaDuration;
  if (start > 0) times.edits = {{start, kEmptyEdit}, {times.mediaDuration, 0}};
  return times;
}

/// What of the sound is heard, in the track's timescale.
struct Audible {
  std::int64_t unheard = 0;  // at the start of the sound
  std::int64_t from = 0;     // on the movie's timeline
};

// What is trimmed leaves silence in its place: the rest is heard at the times its samples carry, in
// step with the pictures. Nothing is heard before the pictures begin.
Audible audibleOf(const AudioTrackDescription& audio, std::int64_t startTime) {
  Audible audible;
  audible.unheard = std::max<std::int64_t>(audio.trimAtStart, -startTime);
  audible.from = startTime + audible.unheard;
  return audible;
}

std::uint64_t silenceBefore(const Audible& audible, const AudioTrackDescription& audio) {
  return static_cast<std::uint64_t>(rescale(audible.from, audio.sampleRate, kMovieTimescale));
}

std::vector<Edit> audioEdits(std::uint64_t emptyDuration, std::uint64_t playedDuration,
                             std::int64_t unheard) {
  std::vector<Edit> edits;
  if (emptyDuration > 0) edits.push_back({emptyDuration, kEmptyEdit});
  edits.push_back({playedDuration, unheard});
  return edits;
}

// The movie's end, unless the audio alone reaches beyond it.
std::optional<std::uint64_t> endOfAudio(const FinishedMovie& movie, std::uint64_t videoEnd) {
  if (!movie.sessionEndMs || *movie.sessionEndMs <= 0) return std::nullopt;
  return std::max(videoEnd, static_cast<std::uint64_t>(*movie.sessionEndMs));
}

TrackTimes audioTimes(const FinishedMovie& movie, std::uint64_t videoEnd) {
  const AudioTrackDescription& audio = *movie.audio;
  TrackTimes times{
      movie.creationTime, movie.modificationTime, mediaDuration(movie.audioTrack), 0, {}};
  const Audible audible = audibleOf(audio, movie.audioTrack.startTime);
  const std::uint64_t empty = silenceBefore(audible, audio);
  // A sound may be shorter than what is trimmed of it; an edit cannot begin behind its media.
  const auto unheard = std::min(audible.unheard, static_cast<std::int64_t>(times.mediaDuration));
  const auto heard = static_cast<std::int64_t>(times.mediaDuration) - unheard;
  auto played = static_cast<std::uint64_t>(rescaleUp(heard, audio.sampleRate, kMovieTimescale));
  bool isCut = false;
  if (const auto end = endOfAudio(movie, videoEnd); end && *end > empty && *end < empty + played) {
    played = *end - empty;
    isCut = true;
  }
  times.movieDuration = empty + played;
  if (empty > 0 || unheard > 0 || isCut) times.edits = audioEdits(empty, played, unheard);
  return times;
}

TableSizes sizeOf(const SampleIndex& index) {
  return {index.sampleCount(), index.keyFrameCount(), index.chunkCount()};
}

void padToAlignment(ByteStream& stream) {
  const std::size_t over = stream.position() % kFragmentAlignment;
  if (over != 0) write_free(stream, kFragmentAlignment - over);
}

void write_head_moov(ByteStream& stream, const VideoTrackDescription& video, bool reserveAudio,
                     std::uint64_t creationTime, MovieHead& head) {
  const SampleIndex noSamples;
  Box moov(stream, "moov");
  write_mvhd(stream, {creationTime, creationTime, 0, kAudioTrackId + 1});
  write_video_trak(stream, video, matrixOf(video), {creationTime, creationTime, 0, 0, {}},
                   {&noSamples, 0, 0});
  padToAlignment(stream);
  if (reserveAudio) {
    head.reservedTrakOffset = stream.position();
    write_free(stream, kReservedTrakBytes - kBoxHeaderBytes);
  }
  Box mvex(stream, "mvex");
  write_trex(stream, kVideoTrackId);
  if (reserveAudio) {
    head.reservedTrexOffset = stream.position();
    ByteStream trex;
    write_trex(trex, kAudioTrackId);
    write_free(stream, trex.bytes().size() - kBoxHeaderBytes);
  }
}

}  // namespace

Status buildMovieHead(const VideoTrackDescription& video, bool reserveAudio,
                      std::uint64_t creationTime, MovieHead& head) {
  ByteStream stream;
  write_ftyp(stream);
  write_free(stream, kPlaceholderBytes - kBoxHeaderBytes);
  write_head_moov(stream, video, reserveAudio, creationTime, head);
  Status status = stream.finish();
  head.bytes = stream.takeBytes();
  return status;
}

Status buildReservedAudioBoxes(const AudioTrackDescription& audio, std::int64_t startTime,
                               std::uint64_t creationTime, ReservedAudioBoxes& boxes) {
  const SampleIndex noSamples;
  TrackTimes times{creationTime, creationTime, 0, 0, {}};
  const Audible audible = audibleOf(audio, startTime);
  const std::uint64_t empty = silenceBefore(audible, audio);
  // A duration of 0 stands for all that the fragments will bring.
  if (empty > 0 || audible.unheard > 0) times.edits = audioEdits(empty, 0, audible.unheard);

  ByteStream stream;
  {
    Box trak(stream, "trak");
    write_audio_trak_boxes(stream, audio, times, {&noSamples, 0, 0});
    if (audible.unheard > 0)
      write_udta_priming(
          stream, static_cast<std::uint32_t>(std::min<std::int64_t>(audible.unheard, 0xFFFFFFFF)));
    if (stream.position() + kBoxHeaderBytes <= kReservedTrakBytes)
      write_free(stream, kReservedTrakBytes - stream.position() - kBoxHeaderBytes);
  }
  if (Status status = stream.finish(); !status.ok()) return status;
  if (stream.position() != kReservedTrakBytes)
    return NSError(AVFoundationErrorDomain, AVErrorInvalidSourceMedia,
                   "The audio's configuration is too long for the recording.");
  ByteStream trex;
  write_trex(trex, kAudioTrackId);
  boxes = {stream.takeBytes(), trex.takeBytes()};
  return {};
}

void write_moov(ByteStream& stream, const FinishedMovie& movie) {
  const TrackTimes video = videoTimes(movie);
  TrackTimes audio;
  if (movie.audio != nullptr) audio = audioTimes(movie, video.movieDuration);
  Box moov(stream, "moov");
  write_mvhd(stream, {movie.creationTime, movie.modificationTime,
                      std::max(video.movieDuration, audio.movieDuration), kAudioTrackId + 1});
  write_video_trak(stream, *movie.video,
                   movie.videoMatrix != nullptr ? *movie.videoMatrix : matrixOf(*movie.video),
                   video, movie.videoTrack);
  if (movie.audio == nullptr) return;
  Box trak(stream, "trak");
  write_audio_trak_boxes(stream, *movie.audio, audio, movie.audioTrack);
}

std::uint64_t secondsSince1904() {
  constexpr std::int64_t kUnixEpoch = 2082844800;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::seconds>(now).count() +
                                    kUnixEpoch);
}

std::uint64_t movieBytesAtMost(const SampleIndex& video, const SampleIndex& audio) {
  constexpr std::uint64_t kFixedParts = 4096 + 2 * 65536;  // with the longest parameter sets
  return kFixedParts + sampleTablesBytesAtMost(sizeOf(video)) +
         sampleTablesBytesAtMost(sizeOf(audio));
}

std::uint64_t pendingMovieBytesAtMost(const PendingTrack& track) {
  return sampleTablesBytesAtMost({track.samples.size(), track.samples.size(), 1});
}

}  // namespace vx::mp4
