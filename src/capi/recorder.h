// What a C host holds: the recorder, its delegate, and texts that were handed out.
#pragma once

#include "capi/host.h"
#include "capi/results.h"

#include <memory>
#include <optional>
#include <string>

struct vx_recorder {
  std::shared_ptr<vx::capi::Host> host;
  std::shared_ptr<VXVideoRecorder> recorder;
  bool isStopped = false;  // a stop has ended the file
  void (*completionHandler)(void* userData) = nullptr;
  void* completionUserData = nullptr;
  // What the last status pointed to.
  std::optional<std::string> outputPath;
  std::optional<std::string> error;
};

namespace vx::capi {

/// Runs `body` with what the host holds, or answers that it holds nothing.
template <typename Recorder, typename Body>
vx_result guardedWith(Recorder* recorder, const Body& body) noexcept {
  return guarded([&]() -> vx_result {
    return recorder ? body(*recorder) : fail(VX_INVALID_ARGUMENT, "the recorder is null");
  });
}

/// The error of the recorder's writer as one text, or one that says what is known without it.
std::string failureText(const VXVideoRecorder& recorder);

/// The answer to a call on a recorder whose writer does not write: VX_OK when it does, or when
/// there is none yet.
vx_result checkWriting(const vx_recorder& handle);

}  // namespace vx::capi
