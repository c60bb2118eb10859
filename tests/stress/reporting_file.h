// The real file of a recording, with a listener that hears how many pictures are committed.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "platform/avfoundation/mp4/recording_file.h"

namespace vx::test {

class ReportingFile final : public mp4::RecordingFile {
 public:
  /// Hears the number of committed pictures after each commit; called on the writing thread.
  using Listener = std::function<void(std::int64_t pictures)>;

  ReportingFile(std::unique_ptr<mp4::RecordingFile> file, Listener listener)
      : _file(std::move(file)), _listener(std::move(listener)) {}

  Status begin(const mp4::VideoTrackDescription& video, bool reserveAudio) override {
    return _file->begin(video, reserveAudio);
  }
  Status declareAudio(const mp4::AudioTrackDescription& audio) override {
    return _file->declareAudio(audio);
  }
  Status appendVideo(const mp4::CodedSample& sample) override {
    Status status = _file->appendVideo(sample);
    _pictures += status.ok() ? 1 : 0;
    return status;
  }
  Status appendAudio(const mp4::CodedSample& sample) override { return _file->appendAudio(sample); }
  std::size_t uncommittedBytes() const override { return _file->uncommittedBytes(); }
  bool hasUncommittedSamples() const override { return _file->hasUncommittedSamples(); }
  Status commit() override {
    Status status = _file->commit();
    if (status) {
      _listener(_pictures);
    }
    return status;
  }
  Status finish(std::optional<std::int64_t> sessionEndMs) override {
    return _file->finish(sessionEndMs);
  }

 private:
  std::unique_ptr<mp4::RecordingFile> _file;
  Listener _listener;
  std::int64_t _pictures = 0;
};

}  // namespace vx::test
