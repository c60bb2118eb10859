// The tests' view of a recorder: its private steps and fields, and a delegate that remembers.
#pragma once

#include "VXVideoRecorder/VXVideoRecorder.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

class VXVideoRecorderPeer {
 public:
  explicit VXVideoRecorderPeer(VXVideoRecorder& recorder) : _recorder(recorder) {}

  // Fields.
  using PauseField = decltype(VXVideoRecorder::_pause);
  using AudioEnabledField = decltype(VXVideoRecorder::_audioEnabled);
  bool pause() const { return _recorder._pause; }
  vx::CVPixelBufferRef& buffer() { return _recorder._buffer; }
  std::uint32_t& startTime() { return _recorder._startTime; }
  std::uint32_t& timestamp() { return _recorder._timestamp; }
  std::vector<vx::CVPixelBufferPoolRef>& pools() { return _recorder._pools; }
  std::uint64_t& limitFreeSpace() { return _recorder.limitFreeSpace; }
  bool& isVideoRotation() { return _recorder._isVideoRotation; }

  // Steps, as the recorder itself calls them.
  bool prepareWithConfig(vx::CGSize size) { return _recorder.prepareWithConfig(size); }
  void handleErrorCode(std::int64_t code, const std::optional<vx::NSError>& error) {
    _recorder.handleErrorCode(code, error);
  }
  std::string logPrefix() const { return _recorder.logPrefix(); }
  vx::NSDictionary videoSettings(vx::CGSize size) const { return _recorder.videoSettings(size); }
  vx::CMAudioFormatDescriptionRef makeAudioFormatDescription() const {
    return _recorder.makeAudioFormatDescription();
  }
  void prepareAudioWriter() { _recorder.prepareAudioWriter(); }
  void startWriting() { _recorder.startWriting(); }
  void logWriterStatus() { _recorder.logWriterStatus(); }
  void logPresentationTime(vx::CMSampleBufferRef sample, const char* prefix) {
    _recorder.logPresentationTime(sample, prefix);
  }
  void addFrameWithPixelFormatType(
      std::uint32_t format, vx::CGSize size, std::uint32_t timestampMs,
      const std::function<void(VXVideoRecorder&, std::uint32_t)>& createBufferHandle) {
    _recorder.addFrameWithPixelFormatType(format, size, timestampMs, createBufferHandle);
  }
  void appendBufferWithDuration(std::uint32_t ms) { _recorder.appendBufferWithDuration(ms); }
  vx::CMSampleBufferRef setVedioBuffer(vx::CVPixelBufferRef buffer, std::uint32_t ms) {
    return _recorder.setVedioBuffer(buffer, ms);
  }
  void primeAudio(vx::CMSampleBufferRef sample) { _recorder.primeAudio(sample); }
  vx::CVPixelBufferPoolRef getBufferPoolWithSize(vx::CGSize size, std::uint32_t format) {
    return _recorder.getBufferPoolWithSize(size, format);
  }
  vx::CVPixelBufferRef convertPixelBufferFromFrameBuffer(const void* frame, vx::CGSize size,
                                                         std::uint32_t bytesPerRow,
                                                         std::uint32_t format) {
    return _recorder.convertPixelBufferFromFrameBuffer(frame, size, bytesPerRow, format);
  }
  static void copyBuffer(const void* source, std::uint64_t sourceBytesPerRow, void* destination,
                         std::uint64_t bytesPerRow, std::uint64_t rows) {
    VXVideoRecorder::copyBuffer(source, sourceBytesPerRow, destination, bytesPerRow, rows);
  }
  static void copyPlanes(const void* frame, vx::CGSize size, vx::CVPixelBufferRef buffer) {
    VXVideoRecorder::copyPlanes(frame, size, buffer);
  }
  void createBlackBufferWithFormat(std::uint32_t format, vx::CGSize size) {
    _recorder.createBlackBufferWithFormat(format, size);
  }
  std::optional<vx::NSURL> outputFileURL() { return _recorder.outputFileURL(); }
  std::uint64_t diskFreeSpace(const std::optional<std::string>& path) {
    return _recorder.diskFreeSpace(path);
  }
  bool checkDiskKeepRecStatus() { return _recorder.checkDiskKeepRecStatus(); }
  void checkFolderSizeAndDeleteFile(const std::string& name) {
    _recorder.checkFolderSizeAndDeleteFile(name);
  }

 private:
  VXVideoRecorder& _recorder;
};

/// Keeps every line and counts the notices. Thread: any.
class RememberingDelegate : public VXVideoRecorderDelegate {
 public:
  struct Line {
    std::string message;
    std::int32_t level = 0;
    friend bool operator==(const Line&, const Line&) = default;
  };

  void writeLog(const std::string& message, std::int32_t level) override {
    std::lock_guard lock(_mutex);
    _lines.push_back({message, level});
  }
  void writeVideoFileDone() override {
    std::lock_guard lock(_mutex);
    ++_filesDone;
    _changed.notify_all();
  }

  std::vector<Line> lines() const {
    std::lock_guard lock(_mutex);
    return _lines;
  }
  int filesDone() const {
    std::lock_guard lock(_mutex);
    return _filesDone;
  }
  /// Blocks until `count` files were announced; false after a minute without.
  bool waitForFilesDone(int count = 1) {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, std::chrono::minutes(1), [&] { return _filesDone >= count; });
  }

 private:
  mutable std::mutex _mutex;
  std::condition_variable _changed;
  std::vector<Line> _lines;
  int _filesDone = 0;
};
