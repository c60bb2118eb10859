#include "platform/avfoundation/mp4/recording_repair.h"

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/mp4/fragment_committer.h"

#include <algorithm>

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

Status changedMeanwhile() {
  return NSError(AVFoundationErrorDomain, AVErrorMediaChanged,
                 "The recording became shorter while it was repaired. Let nobody else change it, "
                 "and repair it again.");
}

/// Writes once more what was never published. The sync that was to precede its publication may have
/// failed, and then the system takes its pages for written, whatever the disk holds.
Status rewriteUnpublished(const FoundRecording& recording, ReaderInput& input, OutputFile& file) {
  constexpr std::size_t kBlockBytes = std::size_t{1} << 20;
  if (recording.unpublishedCount == 0) return {};
  std::vector<std::uint8_t> block(kBlockBytes);
  std::uint64_t offset = recording.unpublishedStart;
  while (offset < recording.committedEnd) {
    const auto wanted = static_cast<std::size_t>(
        std::min<std::uint64_t>(block.size(), recording.committedEnd - offset));
    const std::size_t count = input.read(offset, {block.data(), wanted});
    if (!input.status().ok()) return input.status();
    if (count == 0) return changedMeanwhile();
    if (Status s = file.writeAt(offset, {block.data(), count}); !s.ok()) return s;
    offset += count;
  }
  return {};
}

}  // namespace

Status completeRecording(const FoundRecording& recording, ReaderInput& input, OutputFile& file) {
  FragmentCommitter committer(file, recording.committedEnd, recording.sizeBytes);
  // 1. A header whose index is gone becomes the placeholder again, so that there is a movie.
  if (recording.form == FoundRecording::Form::indexLost)
    if (Status s = committer.restorePlaceholder(); !s.ok()) return s;
  // 2. The torn end goes: it would stand behind the box that comes next.
  if (Status s = committer.cutBack(); !s.ok()) return s;
  // 3. Like any recording's finish, which syncs what is rewritten first.
  const AudioTrackDescription audio = audioOf(recording);
  const FinishedMovie movie = finishedMovie(recording, audio);
  Status status = file.reserve(recording.committedEnd +
                               movieBytesAtMost(recording.video.index(), recording.audio.index()));
  if (status.ok()) status = rewriteUnpublished(recording, input, file);
  if (status.ok())
    status = committer.finish([&](ByteStream& stream) { write_moov(stream, movie); });
  // The first error counts, and what was written on the way to it goes again.
  if (!status.ok()) static_cast<void>(committer.releaseRoom());
  return status;
}

}  // namespace vx::mp4
