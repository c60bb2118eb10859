#include "repair/inspection.h"

#include "platform/avfoundation/mp4/track_timeline.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vx::repair {

namespace {

using mp4::FoundRecording;
using Form = FoundRecording::Form;

VXRecordingState stateOf(const FoundRecording& found, bool isHeld) {
  if (isHeld && found.form != Form::foreign) return VXRecordingState::recording;
  switch (found.form) {
    case Form::foreign:
      return VXRecordingState::foreign;
    case Form::beginning:
      return VXRecordingState::empty;
    case Form::growing:
      return VXRecordingState::interrupted;
    case Form::finished:
      return found.damagedPartCount == 0 ? VXRecordingState::whole : VXRecordingState::damaged;
    case Form::indexLost:
    case Form::headLost:
      break;
  }
  return VXRecordingState::damaged;
}

VXRecordedTrack trackOf(const mp4::FoundSamples& samples, std::uint32_t timescale) {
  VXRecordedTrack track;
  track.timescale = timescale;
  track.sampleCount = samples.index().sampleCount();
  track.keyFrameCount = samples.index().keyFrameCount();
  track.sizeBytes = samples.index().totalBytes();
  track.longestSample = samples.longestDuration();
  track.leftOutSamples = samples.leftOutCount();
  return track;
}

/// Clockwise; the matrix is one of a turn, perhaps mirrored or scaled.
int degreesOf(const mp4::Matrix& matrix) {
  const double radians = std::atan2(matrix[1], matrix[0]);
  const int degrees = static_cast<int>(std::lround(radians * 180 / std::numbers::pi));
  return (degrees + 360) % 360;
}

VXRecordedTrack videoOf(const FoundRecording& found) {
  const mp4::StoredVideoTrack& read = found.movie.video;
  VXRecordedTrack track = trackOf(found.video, mp4::kVideoTimescale);
  track.startMs = mp4::startOfPictures(found);
  track.durationMs = track.startMs + static_cast<std::int64_t>(found.video.mediaDuration());
  track.width = read.description.width;
  track.height = read.description.height;
  track.rotationDegrees = degreesOf(read.matrix);
  return track;
}

VXRecordedTrack audioOf(const FoundRecording& found) {
  const mp4::StoredAudioTrack& read = *found.movie.audio;
  const std::uint32_t rate = read.description.sampleRate;
  VXRecordedTrack track = trackOf(found.audio, rate);
  const std::int64_t start = mp4::startOfSound(found);
  const std::int64_t end = start + static_cast<std::int64_t>(found.audio.mediaDuration());
  const std::int64_t heard = std::max<std::int64_t>(start + mp4::trimOfSound(found), 0);
  track.startMs = mp4::rescale(heard, rate, mp4::kMovieTimescale);
  track.durationMs = mp4::rescaleUp(std::max<std::int64_t>(end, 0), rate, mp4::kMovieTimescale);
  // A finished sound may end with the pictures, before its last sample does.
  if (found.form == Form::finished)
    track.durationMs = static_cast<std::int64_t>(read.movieDuration);
  track.channels = read.description.channels;
  track.trimAtStart = mp4::trimOfSound(found);
  return track;
}

void enumerate(const mp4::FoundSamples& samples, std::int64_t start,
               const std::function<bool(const VXRecordedSample&)>& visit) {
  mp4::SampleIndex::SampleReader reader(samples.index());
  mp4::SampleIndex::ChunkReader chunks(samples.index());
  mp4::IndexedChunk chunk;
  mp4::IndexedSample next;
  if (!reader.next(next)) return;
  VXRecordedSample sample;
  sample.time = start;
  for (bool hasNext = true; hasNext;) {
    const mp4::IndexedSample current = next;
    if (chunk.sampleCount == 0 && !chunks.next(chunk)) return;
    hasNext = reader.next(next);
    sample.duration = hasNext ? next.delta : samples.lastDuration();
    sample.sizeBytes = current.sizeBytes;
    sample.offset = chunk.offset;
    sample.isKeyFrame = current.isKeyFrame;
    if (!visit(sample)) return;
    sample.time += sample.duration;
    chunk.offset += current.sizeBytes;
    --chunk.sampleCount;
  }
}

}  // namespace

std::shared_ptr<const VXRecordingInspection::Contents> contentsOf(FoundRecording found,
                                                                  bool isHeld) {
  auto contents = std::make_shared<VXRecordingInspection::Contents>();
  contents->state = stateOf(found, isHeld);
  for (const mp4::DamagedPart& part : found.damagedParts)
    contents->damagedParts.push_back({part.offset, part.sizeBytes});
  if (found.hasTracks()) {
    contents->video = videoOf(found);
    contents->durationMs = contents->video->durationMs;
  }
  if (found.hasTracks() && found.hasAudio()) {
    contents->audio = audioOf(found);
    contents->durationMs = std::max(contents->durationMs, contents->audio->durationMs);
  }
  contents->found = std::move(found);
  return contents;
}

}  // namespace vx::repair

VXRecordingInspection::VXRecordingInspection(std::shared_ptr<const Contents> contents)
    : _contents(std::move(contents)) {}

VXRecordingState VXRecordingInspection::state() const { return _contents->state; }

bool VXRecordingInspection::canBeRepaired() const {
  const bool isBroken = state() == VXRecordingState::interrupted ||
                        (state() == VXRecordingState::damaged &&
                         _contents->found.form == vx::mp4::FoundRecording::Form::indexLost);
  return isBroken && _contents->found.isRepairable();
}

std::string VXRecordingInspection::localizedDescription() const {
  return vx::repair::textOf(*_contents);
}

std::uint64_t VXRecordingInspection::sizeBytes() const { return _contents->found.sizeBytes; }

std::int64_t VXRecordingInspection::durationMs() const { return _contents->durationMs; }

const std::optional<VXRecordedTrack>& VXRecordingInspection::videoTrack() const {
  return _contents->video;
}

const std::optional<VXRecordedTrack>& VXRecordingInspection::audioTrack() const {
  return _contents->audio;
}

std::uint64_t VXRecordingInspection::tornBytes() const { return _contents->found.tornBytes; }

const std::vector<VXDamagedPart>& VXRecordingInspection::damagedParts() const {
  return _contents->damagedParts;
}

std::uint64_t VXRecordingInspection::damagedPartCount() const {
  return _contents->found.damagedPartCount;
}

void VXRecordingInspection::enumerateVideoSamples(
    const std::function<bool(const VXRecordedSample&)>& visit) const {
  if (_contents->video)
    vx::repair::enumerate(_contents->found.video, vx::mp4::startOfPictures(_contents->found),
                          visit);
}

void VXRecordingInspection::enumerateAudioSamples(
    const std::function<bool(const VXRecordedSample&)>& visit) const {
  if (_contents->audio)
    vx::repair::enumerate(_contents->found.audio, vx::mp4::startOfSound(_contents->found), visit);
}
