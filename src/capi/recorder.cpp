// Creation, pause, stop and destruction.
#include "capi/recorder.h"

#include "capi/structs.h"

#include <new>

using namespace vx::capi;

namespace {

vx_result createRecorder(const vx_callbacks* given, vx_recorder** out) {
  if (!out) {
    return fail(VX_INVALID_ARGUMENT, "there is no place for the recorder: it is null");
  }
  *out = nullptr;
  vx_callbacks callbacks = VX_CALLBACKS_INIT;
  if (given) {
    if (const vx_result result = read(given, "vx_callbacks", callbacks); result != VX_OK) {
      return result;
    }
  }
  auto handle = std::make_unique<vx_recorder>();
  handle->host = std::make_shared<Host>(callbacks);
  handle->recorder = VXVideoRecorder::initWithDelegate(handle->host);
  if (!handle->recorder) {
    return fail(VX_OUT_OF_MEMORY, "there is no memory for a recorder");
  }
  handle->host->setRecorder(handle->recorder);
  *out = handle.release();
  return VX_OK;
}

vx_result stopRecorder(vx_recorder& handle) {
  // Held on to: a callback may destroy the recorder.
  const std::shared_ptr<VXVideoRecorder> recorder = handle.recorder;
  const std::shared_ptr<Host> host = handle.host;
  if (!recorder->writer()) {
    return VX_OK;
  }
  if (std::exchange(handle.isStopped, true)) {
    return fail(VX_WRONG_STATE, "the recording was stopped before");
  }
  host->forgetTrouble();
  recorder->stop();
  // A lost last frame is the log's business; what keeps the file from being ended is ours.
  const std::optional<Trouble> trouble = host->trouble();
  const bool wasRaised = trouble && trouble->result == VX_EXCEPTION;
  if (!wasRaised && !recorder->writing()) {
    return VX_OK;
  }
  if (!host->isDetached()) {  // else the handle is gone
    handle.isStopped = false;
  }
  return wasRaised ? fail(VX_EXCEPTION, trouble->line)
                   : fail(VX_OUT_OF_MEMORY, "there is no memory; stop the recording again");
}

vx_result waitUntilDone(const vx_recorder& handle, std::int32_t timeoutMs) {
  if (!handle.isStopped) {
    return fail(VX_WRONG_STATE, "nothing was recorded, or the recording was not stopped");
  }
  // Held on to: the notice may destroy the recorder.
  const std::shared_ptr<Host> host = handle.host;
  const std::shared_ptr<VXVideoRecorder> recorder = handle.recorder;
  if (host->isWithinCallback()) {
    return fail(VX_WRONG_STATE, "a callback cannot wait for its own end");
  }
  const std::optional<vx_result> outcome = host->waitUntilDone(timeoutMs);
  if (!outcome) {
    return VX_TIMED_OUT;
  }
  return *outcome == VX_OK ? *outcome : fail(*outcome, failureText(*recorder));
}

}  // namespace

std::string vx::capi::failureText(const VXVideoRecorder& recorder) {
  const std::shared_ptr<vx::AVAssetWriter>& writer = recorder.writer();
  const std::optional<vx::NSError> error = writer ? writer->error() : std::nullopt;
  return error ? error->localizedDescription() : "the recording failed without a reason";
}

vx_result vx::capi::checkWriting(const vx_recorder& handle) {
  if (handle.isStopped) {
    return fail(VX_WRONG_STATE, "the recording was stopped; another one takes a new recorder");
  }
  const std::shared_ptr<vx::AVAssetWriter>& writer = handle.recorder->writer();
  if (!writer || writer->status() == vx::AVAssetWriterStatusWriting) {
    return VX_OK;
  }
  return fail(VX_FAILED, failureText(*handle.recorder));
}

vx_result vx_recorder_create(const vx_callbacks* callbacks, vx_recorder** recorder) {
  return guarded([&] { return createRecorder(callbacks, recorder); });
}

void vx_recorder_destroy(vx_recorder* recorder) {
  if (!recorder) {
    return;
  }
  guarded([&] {
    const std::unique_ptr<vx_recorder> handle(recorder);
    const std::shared_ptr<Host> host = handle->host;
    if (handle->isStopped) {
      host->detach();  // nothing is left to be told but that it was stopped before
    }
    handle->recorder.reset();  // stops, and its last lines still arrive
    host->detach();
    return VX_OK;
  });
}

vx_result vx_recorder_pause(vx_recorder* recorder) {
  return guardedWith(recorder, [](vx_recorder& handle) {
    handle.recorder->pause();
    return vx_result{VX_OK};
  });
}

vx_result vx_recorder_stop(vx_recorder* recorder) { return guardedWith(recorder, stopRecorder); }

vx_result vx_recorder_wait_until_done(vx_recorder* recorder, int32_t timeout_ms) {
  return guardedWith(recorder,
                     [&](vx_recorder& handle) { return waitUntilDone(handle, timeout_ms); });
}
