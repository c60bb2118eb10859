// A recorder of the C interface with a folder of its own, and a host that remembers.
#pragma once

#include "VXVideoRecorder/capi.h"
#include "capi/recorder.h"
#include "support/scripted_writer.h"
#include "support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

/// A grey BGRA picture; the pixels live here.
struct CFrame {
  explicit CFrame(std::uint32_t timestampMs = 0, std::uint32_t width = 64,
                  std::uint32_t height = 48)
      : pixels(std::size_t{width} * height * 4, 0x80) {
    frame.pixels = pixels.data();
    frame.pixels_length = pixels.size();
    frame.timestamp_ms = timestampMs;
    frame.pixel_format = VX_PIXEL_FORMAT_BGRA;
    frame.width = width;
    frame.height = height;
    frame.bytes_per_row = width * 4;
  }
  CFrame(const CFrame&) = delete;
  CFrame& operator=(const CFrame&) = delete;

  std::vector<std::uint8_t> pixels;
  vx_frame frame = VX_FRAME_INIT;
};

class CRecorderTest : public testing::Test {
 protected:
  CRecorderTest() {
    vx_callbacks callbacks = VX_CALLBACKS_INIT;
    callbacks.user_data = this;
    callbacks.log = [](void* self, const char* message, std::int32_t) {
      static_cast<CRecorderTest*>(self)->log(message);
    };
    callbacks.done = [](void* self, vx_result outcome) {
      static_cast<CRecorderTest*>(self)->done(outcome);
    };
    EXPECT_EQ(vx_recorder_create(&callbacks, &recorder), VX_OK);
    configure([this](vx_configuration& configuration) {
      configuration.storage_path = folder.path().c_str();
      configuration.filename = "c.mp4";
    });
  }
  ~CRecorderTest() override {
    // A scripted writer and its recorder hold each other until these are gone.
    input->onAppend = nullptr;
    writer->finishHandlers.clear();
    vx_recorder_destroy(recorder);
  }

  void configure(const std::function<void(vx_configuration&)>& change) {
    vx_configuration configuration = VX_CONFIGURATION_INIT;
    EXPECT_EQ(vx_recorder_get_configuration(recorder, &configuration), VX_OK);
    change(configuration);
    EXPECT_EQ(vx_recorder_set_configuration(recorder, &configuration), VX_OK);
  }
  vx_result append(std::uint32_t timestampMs) {
    const CFrame frame(timestampMs);
    return vx_recorder_append_frame(recorder, &frame.frame);
  }
  vx_status status() {
    vx_status now = VX_STATUS_INIT;
    EXPECT_EQ(vx_recorder_get_status(recorder, &now), VX_OK);
    return now;
  }
  /// As if a first frame had started this writer.
  void useScriptedWriter() {
    recorder->recorder->setWriter(writer);
    recorder->recorder->setVideoWriterInput(input);
  }

  std::vector<std::string> lines() {
    const std::lock_guard lock(_mutex);
    return _lines;
  }
  std::vector<vx_result> outcomes() {
    const std::lock_guard lock(_mutex);
    return _outcomes;
  }

  TemporaryFolder folder;
  vx_recorder* recorder = nullptr;
  std::shared_ptr<ScriptedWriter> writer = std::make_shared<ScriptedWriter>();
  std::shared_ptr<ScriptedInput> input = std::make_shared<ScriptedInput>();
  std::function<void(const std::string& message)> onLog;  // set before the first frame
  std::function<void()> onDone;

 private:
  void log(const char* message) {
    {
      const std::lock_guard lock(_mutex);
      _lines.emplace_back(message);
    }
    if (onLog) {
      onLog(message);
    }
  }
  void done(vx_result outcome) {
    {
      const std::lock_guard lock(_mutex);
      _outcomes.push_back(outcome);
    }
    if (onDone) {
      onDone();
    }
  }

  std::mutex _mutex;
  std::vector<std::string> _lines;   // guarded by _mutex
  std::vector<vx_result> _outcomes;  // guarded by _mutex
};
