// The real file of a recording, with listeners that hear how far it is.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "platform/avfoundation/mp4/recording_file.h"

namespace vx::test {

class ReportingFile final : public mp4::RecordingFile {
 public:
  /// Hears a number of pictures, on the writing thread.
  using Listener = std::function<void(std::int64_t pictures)>;

  /// `committed` is told after each commit how many are committed, `finishing` before the finish
  /// how many were appended.
  ReportingFile(std::unique_ptr<mp4::RecordingFile> file, Listener committed,
                Listener finishing = {})
      : _file(std::move(file)),
        _committed(std::move(committed)),
        _finishing(std::move(finishing)) {}

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
      _committed(_pictures);
    }
    return status;
  }
  Status finish(std::optional<std::int64_t> sessionEndMs) override {
    if (_finishing) {
      _finishing(_pictures);
    }
    return _file->finish(sessionEndMs);
  }

 private:
  std::unique_ptr<mp4::RecordingFile> _file;
  Listener _committed;
  Listener _finishing;
  std::int64_t _pictures = 0;
};

}  // namespace vx::test
