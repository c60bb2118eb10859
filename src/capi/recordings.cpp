// Recordings that were broken off: what is in them, and their repair.
#include "VXVideoRecorder/VXRecordingRepair.h"
#include "capi/structs.h"

using namespace vx::capi;

namespace {

vx_recording_info infoOf(const VXRecordingInspection& inspection) {
  vx_recording_info info = VX_RECORDING_INFO_INIT;
  info.state = static_cast<std::int32_t>(inspection.state());
  info.can_be_repaired = inspection.canBeRepaired();
  info.size_bytes = inspection.sizeBytes();
  info.duration_ms = inspection.durationMs();
  info.torn_bytes = inspection.tornBytes();
  info.damaged_parts = inspection.damagedPartCount();
  if (const std::optional<VXRecordedTrack>& video = inspection.videoTrack()) {
    info.width = video->width;
    info.height = video->height;
    info.rotation_degrees = video->rotationDegrees;
    info.video_samples = video->sampleCount;
    info.video_key_frames = video->keyFrameCount;
  }
  if (const std::optional<VXRecordedTrack>& audio = inspection.audioTrack()) {
    info.sample_rate = audio->timescale;
    info.channels = audio->channels;
    info.audio_samples = audio->sampleCount;
  }
  return info;
}

vx_result failWith(const std::optional<vx::NSError>& error, const char* path) {
  return fail(VX_FAILED,
              error ? error->localizedDescription() : std::string(path) + " cannot be read");
}

vx_result inspect(const char* path, bool thoroughly, vx_recording_info* info) {
  if (!path) {
    return fail(VX_INVALID_ARGUMENT, "the path is null");
  }
  const auto depth = thoroughly ? VXInspectionDepth::contents : VXInspectionDepth::index;
  std::optional<vx::NSError> error;
  const auto inspection = VXRecordingRepair::inspectRecordingAtPath(path, depth, &error);
  return inspection ? write(infoOf(*inspection), "vx_recording_info", info) : failWith(error, path);
}

vx_result repair(const char* path, bool* isChanged) {
  if (!path) {
    return fail(VX_INVALID_ARGUMENT, "the path is null");
  }
  std::optional<vx::NSError> error;
  const auto result = VXRecordingRepair::repairRecordingAtPath(path, &error);
  if (!result) {
    return failWith(error, path);
  }
  if (isChanged) {
    *isChanged = result->isChanged;
  }
  return VX_OK;
}

}  // namespace

static_assert(VX_RECORDING_WHOLE == static_cast<int>(VXRecordingState::whole));
static_assert(VX_RECORDING_INTERRUPTED == static_cast<int>(VXRecordingState::interrupted));
static_assert(VX_RECORDING_DAMAGED == static_cast<int>(VXRecordingState::damaged));
static_assert(VX_RECORDING_RECORDING == static_cast<int>(VXRecordingState::recording));
static_assert(VX_RECORDING_EMPTY == static_cast<int>(VXRecordingState::empty));
static_assert(VX_RECORDING_FOREIGN == static_cast<int>(VXRecordingState::foreign));

vx_result vx_recording_inspect(const char* path, bool thoroughly, vx_recording_info* info) {
  return guarded([&] { return inspect(path, thoroughly, info); });
}

vx_result vx_recording_repair(const char* path, bool* is_changed) {
  return guarded([&] { return repair(path, is_changed); });
}
