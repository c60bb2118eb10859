#include "platform/avfoundation/mp4/recording_repair.h"

#include "platform/avfoundation/mp4/fragment_committer.h"

namespace vx::mp4 {

namespace {

FinishedMovie finishedMovie(const FoundRecording& recording, const AudioTrackDescription& audio) {
  FinishedMovie movie;
  movie.creationTime = recording.movie.creationTime;
  movie.modificationTime = secondsSince1904();
  movie.video = &recording.movie.video.description;
  movie.videoMatrix = &recording.movie.video.matrix;
  movie.videoTrack = {&recording.video.index(), startOfPictures(recording),
                      recording.video.lastDuration()};
  if (!recording.hasAudio()) return movie;
  movie.audio = &audio;
  movie.audioTrack = {&recording.audio.index(), startOfSound(recording),
                      recording.audio.lastDuration()};
  return movie;
}

AudioTrackDescription audioOf(const FoundRecording& recording) {
  if (!recording.hasAudio()) return {};
  AudioTrackDescription audio = recording.movie.audio->description;
  audio.trimAtStart = trimOfSound(recording);
  return audio;
}

}  // namespace

Status completeRecording(const FoundRecording& recording, OutputFile& file) {
  FragmentCommitter committer(file, recording.committedEnd, recording.sizeBytes);
  // 1. A header whose index is gone becomes the placeholder again, so that there is a movie.
  if (recording.form == FoundRecording::Form::indexLost)
    if (Status s = committer.restorePlaceholder(); !s.ok()) return s;
  // 2. The torn end goes: it would stand behind the box that comes next.
  if (Status s = committer.cutBack(); !s.ok()) return s;
  // 3. Like any recording's finish.
  const AudioTrackDescription audio = audioOf(recording);
  const FinishedMovie movie = finishedMovie(recording, audio);
  Status status = file.reserve(recording.committedEnd +
                               movieBytesAtMost(recording.video.index(), recording.audio.index()));
  if (status.ok())
    status = committer.finish([&](ByteStream& stream) { write_moov(stream, movie); });
  // The first error counts, and what was written on the way to it goes again.
  if (!status.ok()) static_cast<void>(committer.releaseRoom());
  return status;
}

}  // namespace vx::mp4
