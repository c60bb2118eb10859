// The recorder's properties as one struct.
#include "capi/recorder.h"
#include "capi/structs.h"

using namespace vx::capi;

namespace {

const char* textOf(const std::optional<std::string>& text) {
  return text ? text->c_str() : nullptr;
}

std::optional<std::string> copyOf(const char* text) {
  return text ? std::optional<std::string>(text) : std::nullopt;
}

vx_configuration configurationOf(const vx_recorder& handle) {
  const VXVideoRecorder& recorder = *handle.recorder;
  vx_configuration configuration = VX_CONFIGURATION_INIT;
  configuration.storage_path = textOf(recorder.storagePath());
  configuration.filename = textOf(recorder.filename());
  configuration.file_name_prefix = textOf(recorder.fileNamePrefix());
  configuration.username = textOf(recorder.username());
  configuration.folder_limit_size = recorder.folderLimitSize();
  configuration.index = recorder.index();
  configuration.audio_enabled = recorder.audioEnabled();
  configuration.completion_handler = handle.completionHandler;
  configuration.completion_user_data = handle.completionUserData;
  return configuration;
}

void setConfiguration(vx_recorder& handle, const vx_configuration& configuration) {
  VXVideoRecorder& recorder = *handle.recorder;
  // All copies first: the texts may be the recorder's own, and without memory nothing changes.
  std::optional<std::string> storagePath = copyOf(configuration.storage_path);
  std::optional<std::string> filename = copyOf(configuration.filename);
  std::optional<std::string> prefix = copyOf(configuration.file_name_prefix);
  std::optional<std::string> username = copyOf(configuration.username);
  std::function<void()> completion;
  if (configuration.completion_handler) {
    completion = [handler = configuration.completion_handler,
                  data = configuration.completion_user_data] { handler(data); };
  }
  recorder.setStoragePath(std::move(storagePath));
  recorder.setFilename(std::move(filename));
  recorder.setFileNamePrefix(std::move(prefix));
  recorder.setUsername(std::move(username));
  recorder.setFolderLimitSize(configuration.folder_limit_size);
  recorder.setIndex(configuration.index);
  recorder.setAudioEnabled(configuration.audio_enabled);
  recorder.setCompletionHandler(std::move(completion));
  handle.completionHandler = configuration.completion_handler;
  handle.completionUserData = configuration.completion_user_data;
}

}  // namespace

vx_result vx_recorder_get_configuration(const vx_recorder* recorder,
                                        vx_configuration* configuration) {
  return guardedWith(recorder, [&](const vx_recorder& handle) {
    return write(configurationOf(handle), "vx_configuration", configuration);
  });
}

vx_result vx_recorder_set_configuration(vx_recorder* recorder,
                                        const vx_configuration* configuration) {
  return guardedWith(recorder, [&](vx_recorder& handle) {
    vx_configuration known = VX_CONFIGURATION_INIT;
    const vx_result result = read(configuration, "vx_configuration", known);
    if (result == VX_OK) {
      setConfiguration(handle, known);
    }
    return result;
  });
}
