// The inputs that the file writer drives.
#pragma once

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/audio_reader.h"
#include "platform/avfoundation/writer_core.h"

#include <atomic>

namespace vx {

/// An input that belongs to a writer once `attach` was called.
class QueueingInput : public AVAssetWriterInput {
 public:
  QueueingInput(std::string_view mediaType, std::optional<NSDictionary> outputSettings,
                CMFormatDescriptionRef sourceFormatHint)
      : AVAssetWriterInput(mediaType, std::move(outputSettings), sourceFormatHint) {}

  bool isAttached() const { return _core != nullptr; }
  void attach(std::shared_ptr<WriterCore> core) { _core = std::move(core); }
  /// The source time that is time 0 of the file.
  void startSession(CMTime startTime) { _sessionStart = startTime; }

  void markAsFinished() override;

 protected:
  /// Raises what wrong use deserves; returns whether the writer takes samples now.
  bool mayAppend() const;
  virtual void endOfSamples() {}

  std::shared_ptr<WriterCore> _core;
  CMTime _sessionStart = kCMTimeInvalid;
  std::atomic<bool> _markedAsFinished = false;
};

/// Codes pictures.
class VideoInput final : public QueueingInput {
 public:
  using QueueingInput::QueueingInput;
  bool isReadyForMoreMediaData() const override;
  bool appendSampleBuffer(CMSampleBufferRef sampleBuffer) override;
  bool waitUntilReadyForMoreMediaData(std::chrono::milliseconds timeout) override;

 private:
  void endOfSamples() override { _core->endOfPictures(); }
};

/// Stores coded audio as it comes.
class AudioInput final : public QueueingInput {
 public:
  using QueueingInput::QueueingInput;
  bool isReadyForMoreMediaData() const override;
  bool appendSampleBuffer(CMSampleBufferRef sampleBuffer) override;
  bool waitUntilReadyForMoreMediaData(std::chrono::milliseconds timeout) override;

 private:
  bool readAndQueue(CMSampleBufferRef sampleBuffer);

  AudioReader _reader;
};

}  // namespace vx
