#include "platform/avfoundation/mp4/movie_file.h"

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/mp4/track_timeline.h"

#include <array>
#include <new>

namespace vx::mp4 {

namespace {

// A fragment's offsets have 31 bits. Whoever records commits long before.
constexpr std::size_t kMaxFragmentBytes = std::size_t{1} << 30;

Status wrongUse(std::string text) {
  return NSError(AVFoundationErrorDomain, AVErrorUnknown, std::move(text));
}

Status outOfMemory() {
  return NSError(AVFoundationErrorDomain, AVErrorOutOfMemory,
                 "There is not enough memory to go on recording. Close other programs.");
}

Status unsuitable(std::string text) {
  return NSError(AVFoundationErrorDomain, AVErrorInvalidSourceMedia, std::move(text));
}

}  // namespace

Status RecordingFile::create(const std::string& path, std::unique_ptr<RecordingFile>& out) {
  std::unique_ptr<OutputFile> file;
  try {
    if (Status status = createPosixFile(path, file); !status.ok()) return status;
    out = std::make_unique<MovieFile>(std::move(file));
    return {};
  } catch (const std::bad_alloc&) {
    if (file) file->discard();  // it was not handed on
    return outOfMemory();
  }
}

MovieFile::MovieFile(std::unique_ptr<OutputFile> file)
    : _file(std::move(file)), _committer(*_file), _creationTime(secondsSince1904()) {}

MovieFile::~MovieFile() {
  if (_state == State::finished) return;
  if (_state == State::created) _file->discard();
  // Nobody is left to tell, and what was committed stands whether this succeeds or not.
  static_cast<void>(_committer.releaseRoom());
  static_cast<void>(_file->close());
}

// ---- errors --------------------------------------------------------------------------------

template <typename Step>
Status MovieFile::guarded(Step step) {
  try {
    return step();
  } catch (const std::bad_alloc&) {
    giveUpPending();
    if (_state == State::recording) _state = State::full;
    if (_firstError.ok()) _firstError = outOfMemory();
    return _firstError;
  }
}

Status MovieFile::keepFirst(Status status) {
  if (status.ok()) return status;
  giveUpPending();
  _state = isOutOfSpace(status) && _committer.isTrusted() ? State::full : State::failed;
  if (_firstError.ok()) _firstError = std::move(status);
  return _firstError;
}

void MovieFile::giveUpPending() {
  _videoTrack.dropPending();
  _audioTrack.dropPending();
}

Status MovieFile::requireRecording() const {
  if (!_firstError.ok()) return _firstError;
  return _state == State::recording ? Status() : wrongUse("The recording file is not open.");
}

// ---- head ----------------------------------------------------------------------------------

Status MovieFile::begin(const VideoTrackDescription& video, bool reserveAudio) {
  return guarded([&]() -> Status {
    if (_state != State::created) return wrongUse("The recording file was begun before.");
    if (video.width > 0xFFFF || video.height > 0xFFFF)
      return unsuitable("Pictures wider or higher than 65535 pixels cannot be recorded.");
    _video = video;
    if (Status s = buildMovieHead(video, reserveAudio, _creationTime, _head); !s.ok()) return s;
    if (Status s = keepFirst(_committer.writeHead(_head)); !s.ok()) {
      _state = State::failed;
      _file->discard();
      return s;
    }
    _state = State::recording;
    return {};
  });
}

Status MovieFile::declareAudio(const AudioTrackDescription& audio) {
  return guarded([&]() -> Status {
    if (Status s = requireRecording(); !s.ok()) return s;
    if (_head.reservedTrakOffset == 0 || _audio)
      return wrongUse("The recording file has no room for this audio track.");
    if (audio.sampleRate < kMinSampleRate || audio.sampleRate > kMaxSampleRate)
      return unsuitable("Audio of " + std::to_string(audio.sampleRate) +
                        " samples a second cannot be recorded.");
    if (audio.channels == 0) return unsuitable("Audio without channels cannot be recorded.");
    // Tried now with the longest edit list, so that it cannot fail when the first sample is there.
    ReservedAudioBoxes boxes;
    AudioTrackDescription longest = audio;
    longest.trimAtStart = 1;
    if (Status s = buildReservedAudioBoxes(longest, audio.sampleRate, _creationTime, boxes);
        !s.ok())
      return s;
    _audio = audio;
    return {};
  });
}

// ---- samples -------------------------------------------------------------------------------

Status MovieFile::appendVideo(const CodedSample& sample) {
  return guarded([&] {
    const auto& last = _videoTrack.last();
    const std::optional<std::int64_t> previous = last ? std::optional(last->time) : std::nullopt;
    return append(_videoTrack, sample, placeVideoSample(previous, sample.time));
  });
}

Status MovieFile::appendAudio(const CodedSample& sample) {
  return guarded([&]() -> Status {
    if (Status s = requireRecording(); !s.ok()) return s;
    if (!_audio) return wrongUse("The audio track was not declared.");
    const auto& last = _audioTrack.last();
    const std::optional<PlacedAudio> previous =
        last ? std::optional(PlacedAudio{last->time, provisionalDuration(last->ownDuration)})
             : std::nullopt;
    return append(_audioTrack, sample, placeAudioSample(previous, sample.time));
  });
}

Status MovieFile::append(TrackRecorder& track, const CodedSample& sample, std::int64_t time) {
  if (Status s = requireRecording(); !s.ok()) return s;
  if (sample.bytes.size() > kMaxFragmentBytes)
    return unsuitable("A sample of more than 1 GiB cannot be recorded.");
  // A fragment has 31 bits for its bytes, and no reader expects more for the time between two
  // samples in it; the next fragment tells its own time.
  const bool isFull = uncommittedBytes() + sample.bytes.size() > kMaxFragmentBytes;
  const bool isFar = track.hasPending() && time - track.last()->time >= kWrappedDuration;
  if (isFull || isFar)
    if (Status s = commitPending(); !s.ok()) return s;
  track.append(sample, time);
  return {};
}

std::size_t MovieFile::uncommittedBytes() const {
  return _videoTrack.pendingBytes() + _audioTrack.pendingBytes();
}

bool MovieFile::hasUncommittedSamples() const {
  return _videoTrack.hasPending() || _audioTrack.hasPending();
}

// ---- commit --------------------------------------------------------------------------------

Status MovieFile::commit() {
  return guarded([&]() -> Status {
    if (Status s = requireRecording(); !s.ok()) return s;
    return commitPending();
  });
}

Status MovieFile::commitPending() {
  if (!hasUncommittedSamples()) return keepFirst(_committer.settle());
  if (Status s = publishAudio(); !s.ok()) return keepFirst(s);
  return keepFirst(commitFragment());
}

Status MovieFile::publishAudio() {
  if (_isAudioPublished || !_audioTrack.hasPending()) return {};
  ReservedAudioBoxes boxes;
  if (Status s = buildReservedAudioBoxes(*_audio, _audioTrack.startTime(), _creationTime, boxes);
      !s.ok())
    return s;
  if (Status s = _committer.publishAudio(_head, boxes); !s.ok()) return s;
  _isAudioPublished = true;
  return {};
}

Status MovieFile::commitFragment() {
  struct Part {
    TrackRecorder* recorder;
    std::int64_t origin;
  };
  std::vector<TrackRecorder*> recorders;
  std::vector<const PendingTrack*> tracks;
  for (const Part& part : {Part{&_videoTrack, 0}, Part{&_audioTrack, _audioTrack.startTime()}}) {
    if (!part.recorder->hasPending()) continue;
    recorders.push_back(part.recorder);
    tracks.push_back(&part.recorder->pending(part.origin));
  }
  Fragment fragment(++_sequenceNumber, tracks);
  if (Status s = fragment.status(); !s.ok()) return s;

  const std::uint64_t start = _committer.committedEnd();
  std::uint64_t movieBytes = movieBytesAtMost(_videoTrack.index(), _audioTrack.index());
  for (const PendingTrack* track : tracks) movieBytes += pendingMovieBytesAtMost(*track);
  if (Status s = _committer.commit(fragment, movieBytes); !s.ok()) return s;
  for (std::size_t i = 0; i < recorders.size(); ++i)
    recorders[i]->markCommitted(start + fragment.payloadOffset(i));
  return {};
}

// ---- finish --------------------------------------------------------------------------------

Status MovieFile::finish(std::optional<std::int64_t> sessionEndMs) {
  return guarded([&]() -> Status {
    if (_state == State::finished || _state == State::created)
      return wrongUse("The recording file is not open.");
    // The result of a failed commit is kept, and decides below how the file is left.
    if (_state == State::recording) static_cast<void>(keepFirst(commitPending()));
    // A recording that stopped for want of room ends with its last picture, not much later.
    if (_state == State::full) sessionEndMs.reset();
    const bool isComplete = _state != State::failed && keepFirst(finishMovie(sessionEndMs)).ok();
    if (!isComplete) static_cast<void>(_committer.releaseRoom());
    static_cast<void>(keepFirst(_file->checkStillNamed()));
    static_cast<void>(keepFirst(_file->close()));
    _state = State::finished;
    return _firstError;
  });
}

Status MovieFile::finishMovie(std::optional<std::int64_t> sessionEndMs) {
  if (Status s = _committer.cutBack(); !s.ok()) return s;
  const FinishedMovie movie = finishedMovie(sessionEndMs);
  return _committer.finish([&](ByteStream& stream) { write_moov(stream, movie); });
}

FinishedMovie MovieFile::finishedMovie(std::optional<std::int64_t> sessionEndMs) const {
  FinishedMovie movie;
  movie.creationTime = _creationTime;
  movie.modificationTime = secondsSince1904();
  movie.sessionEndMs = sessionEndMs;
  movie.video = &_video;
  movie.videoTrack = {&_videoTrack.index(), _videoTrack.startTime(), 0};
  if (const auto& last = _videoTrack.lastCommitted())
    movie.videoTrack.lastDuration =
        lastVideoDuration({last->time, last->nominalTime, last->ownDuration}, sessionEndMs);
  if (const auto& last = _audioTrack.lastCommitted()) {
    movie.audio = &*_audio;
    movie.audioTrack = {&_audioTrack.index(), _audioTrack.startTime(),
                        provisionalDuration(last->ownDuration)};
  }
  return movie;
}

}  // namespace vx::mp4
