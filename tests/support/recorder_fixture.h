// A recorder with a scripted writer behind it, and short words for frames.
#pragma once

#include "support/recorder_peer.h"
#include "support/scripted_writer.h"
#include "support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

/// A frame of one grey value; the pixels live in the frame's data.
class FrameBuilder {
 public:
  FrameBuilder& at(std::uint32_t timestampMs) { return set("timestamp", timestampMs); }
  FrameBuilder& size(std::uint32_t width, std::uint32_t height) {
    _width = width;
    _height = height;
    return *this;
  }
  FrameBuilder& format(std::uint32_t code) {
    _format = code;
    return *this;
  }
  FrameBuilder& grey(std::uint8_t value) {
    _grey = value;
    return *this;
  }
  FrameBuilder& withoutPixels() {
    _hasPixels = false;
    return *this;
  }
  FrameBuilder& set(const std::string& key, vx::Object value) {
    _frame.setObject(std::move(value), key);
    return *this;
  }

  vx::NSDictionary build() {
    vx::NSMutableDictionary frame = _frame;
    const bool planar = _format == vx::kCVPixelFormatType_420YpCbCr8Planar;
    const std::uint32_t bytesPerRow = planar ? _width : _width * 4;
    frame.setObject(_format, "pixelFormatType");
    frame.setObject(_width, "width");
    frame.setObject(_height, "height");
    frame.setObject(bytesPerRow, "bytesPerRow");
    if (_hasPixels) {
      const std::vector<std::uint8_t> pixels(std::size_t{bytesPerRow} * (_height + 1) * 2, _grey);
      frame.setObject(vx::NSData::dataWithBytes(pixels.data(), pixels.size()), "frameBuffer");
    }
    return frame;
  }

 private:
  vx::NSMutableDictionary _frame;
  std::uint32_t _width = 64;
  std::uint32_t _height = 48;
  std::uint32_t _format = vx::kCVPixelFormatType_420YpCbCr8Planar;
  std::uint8_t _grey = 128;
  bool _hasPixels = true;
};

/// A recorder whose storage lies in a temporary folder.
class RecorderTest : public testing::Test {
 protected:
  RecorderTest() { recorder->setStoragePath(folder.path()); }
  // What the host lets go of in a test must not leave threads behind in the next.
  ~RecorderTest() override {
    input->onAppend = nullptr;  // what it refers to is gone with the test's body
    if (writer) {
      writer->finishHandlers.clear();  // each keeps its recorder, and the recorder its writer
    }
    recorder.reset();
  }

  void append(FrameBuilder frame) { recorder->appendVideoSample(frame.build()); }
  void appendAt(std::uint32_t timestampMs) { append(FrameBuilder().at(timestampMs)); }

  /// Puts the scripted writer in place, as if a first frame at `startTimeMs` had started it.
  void useScriptedWriter(std::uint32_t startTimeMs = 0) {
    recorder->setWriter(writer);
    recorder->setVideoWriterInput(input);
    input->calls = &writer->calls;
    peer.startTime() = startTimeMs;
  }

  std::string line(const std::string& message) const { return peer.logPrefix() + message; }
  /// The line of a finished file.
  std::string recordLine(const std::string& outcome) const {
    return line(" Record " + recorder->filename().value_or("(null)") + " - " + outcome);
  }
  int countOf(const std::string& message, std::int32_t level = 2) const {
    const auto lines = delegate->lines();
    return static_cast<int>(
        std::count(lines.begin(), lines.end(), RememberingDelegate::Line{message, level}));
  }

  TemporaryFolder folder;
  std::shared_ptr<RememberingDelegate> delegate = std::make_shared<RememberingDelegate>();
  std::shared_ptr<VXVideoRecorder> recorder = VXVideoRecorder::initWithDelegate(delegate);
  VXVideoRecorderPeer peer{*recorder};
  std::shared_ptr<ScriptedWriter> writer = std::make_shared<ScriptedWriter>();
  std::shared_ptr<ScriptedInput> input = std::make_shared<ScriptedInput>();
};
