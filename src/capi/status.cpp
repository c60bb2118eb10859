// How a recording stands.
#include "capi/recorder.h"
#include "capi/structs.h"
#include "recorder/absent_objects.h"
#include "recorder/timing.h"

using namespace vx;
using namespace vx::capi;
using vx::recorder::isReady;
using vx::recorder::kMillisecondTimescale;

namespace {

void describeWriter(const AVAssetWriter& writer, vx_recorder& handle, vx_status& status) {
  const std::optional<NSURL> url = writer.outputURL();
  handle.outputPath = url ? std::optional(url->path()) : std::nullopt;
  status.output_path = handle.outputPath ? handle.outputPath->c_str() : nullptr;
  status.writer_status = static_cast<std::int32_t>(writer.status());
  if (const std::optional<NSError> error = writer.error()) {
    handle.error = error->localizedDescription();
    status.error = handle.error->c_str();
    status.error_code = error->code();
  }
}

vx_status statusOf(vx_recorder& handle) {
  const VXVideoRecorder& recorder = *handle.recorder;
  vx_status status = VX_STATUS_INIT;
  if (recorder.writer()) {
    describeWriter(*recorder.writer(), handle, status);
  }
  const CMTime first = recorder.firstVideoFrameTime();
  if (CMTIME_IS_NUMERIC(first)) {
    status.first_video_frame_time_ms = CMTimeConvertScale(first, kMillisecondTimescale).value;
  }
  status.writing = recorder.writing();
  status.done = handle.host->isDone();
  status.ready_for_video = isReady(recorder.videoWriterInput());
  status.ready_for_audio = isReady(recorder.audioWriterInput());
  status.started_session = recorder.startedSession();
  status.first_video_buffer = recorder.firstVideoBuffer();
  status.first_audio_buffer = recorder.firstAudioBuffer();
  status.is_video_rotation = recorder.isVideoRotation();
  return status;
}

}  // namespace

vx_result vx_recorder_get_status(vx_recorder* recorder, vx_status* status) {
  return guardedWith(
      recorder, [&](vx_recorder& handle) { return write(statusOf(handle), "vx_status", status); });
}
