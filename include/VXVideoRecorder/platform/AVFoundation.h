// The asset writer: one MP4 file, one input a track.
//
// Calls on one writer and its inputs come from one thread at a time, except that `status`, `error`
// and an input's `isReadyForMoreMediaData` may be asked from any thread. The writer codes and
// writes on threads of its own; a call blocks only where it says so.
#pragma once

#include "VXVideoRecorder/platform/CoreGraphics.h"
#include "VXVideoRecorder/platform/CoreMedia.h"
#include "VXVideoRecorder/platform/CoreVideo.h"
#include "VXVideoRecorder/platform/Foundation.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#pragma GCC visibility push(default)

namespace vx {

inline constexpr std::string_view AVFoundationErrorDomain = "AVFoundationErrorDomain";
inline constexpr std::int64_t AVErrorUnknown = -11800;
inline constexpr std::int64_t AVErrorOutOfMemory = -11801;
inline constexpr std::int64_t AVErrorDiskFull = -11807;
inline constexpr std::int64_t AVErrorMediaChanged = -11809;
inline constexpr std::int64_t AVErrorInvalidSourceMedia = -11822;
inline constexpr std::int64_t AVErrorFileAlreadyExists = -11823;
inline constexpr std::int64_t AVErrorInvalidOutputSettings = -11861;
inline constexpr std::int64_t AVErrorEncoderNotFound = -11834;
inline constexpr std::int64_t AVErrorFileFormatNotRecognized = -11828;
inline constexpr std::int64_t AVErrorEncodeFailed = -11883;

inline constexpr std::string_view AVFileTypeMPEG4 = "public.mpeg-4";
inline constexpr std::string_view AVMediaTypeVideo = "vide";
inline constexpr std::string_view AVMediaTypeAudio = "soun";

inline constexpr std::string_view AVVideoCodecKey = "AVVideoCodecKey";
inline constexpr std::string_view AVVideoCodecH264 = "avc1";
inline constexpr std::string_view AVVideoWidthKey = "AVVideoWidthKey";
inline constexpr std::string_view AVVideoHeightKey = "AVVideoHeightKey";
inline constexpr std::string_view AVVideoScalingModeKey = "AVVideoScalingModeKey";
inline constexpr std::string_view AVVideoScalingModeResizeAspect = "AVVideoScalingModeResizeAspect";
inline constexpr std::string_view AVVideoCompressionPropertiesKey =
    "AVVideoCompressionPropertiesKey";
inline constexpr std::string_view AVVideoAverageBitRateKey = "AverageBitRate";
inline constexpr std::string_view AVVideoMaxKeyFrameIntervalKey = "MaxKeyFrameInterval";
inline constexpr std::string_view AVVideoExpectedSourceFrameRateKey = "ExpectedFrameRate";
inline constexpr std::string_view AVVideoProfileLevelKey = "ProfileLevel";
inline constexpr std::string_view AVVideoProfileLevelH264HighAutoLevel = "H264_High_AutoLevel";

/// One track of a writer: a bounded queue that samples are appended to in presentation order.
class AVAssetWriterInput {
 public:
  /// An input that codes pictures by `outputSettings`, or, without settings, stores coded samples
  /// as they come. `sourceFormatHint` (may be null) is retained.
  static std::shared_ptr<AVAssetWriterInput> assetWriterInputWithMediaType(
      std::string_view mediaType, std::optional<NSDictionary> outputSettings,
      CMFormatDescriptionRef sourceFormatHint = nullptr);
  virtual ~AVAssetWriterInput();
  AVAssetWriterInput(const AVAssetWriterInput&) = delete;
  AVAssetWriterInput& operator=(const AVAssetWriterInput&) = delete;

  const std::string& mediaType() const { return _mediaType; }
  const std::optional<NSDictionary>& outputSettings() const { return _outputSettings; }
  CMFormatDescriptionRef sourceFormatHint() const { return _sourceFormatHint; }
  bool expectsMediaDataInRealTime() const { return _expectsMediaDataInRealTime; }
  void setExpectsMediaDataInRealTime(bool value) { _expectsMediaDataInRealTime = value; }
  /// How players turn the picture: stored in the track header. Read when the writer starts.
  const CGAffineTransform& transform() const { return _transform; }
  void setTransform(CGAffineTransform transform) { _transform = transform; }

  /// True while the queue has room for one more sample, by number and by bytes, and the writer is
  /// writing. Thread: any; never blocks.
  virtual bool isReadyForMoreMediaData() const;
  /// Puts the sample into the queue, with a reference of its own to what it holds; no coding, no
  /// conversion and no file access happens here. False when the writer is not writing or the sample
  /// cannot be stored (an invalid time, another coding than the track's, no data), and after
  /// `markAsFinished`.
  /// Errors: raises `NSInternalInconsistencyException` before a session and on an input that no
  /// writer has.
  virtual bool appendSampleBuffer(CMSampleBufferRef sampleBuffer);
  /// No more samples will come.
  /// Errors: raises `NSInternalInconsistencyException` when the writer never started, is finishing,
  /// or is completed or cancelled; not when it failed.
  virtual void markAsFinished();
  /// Blocks until `isReadyForMoreMediaData` would be true, the writer stops writing, or `timeout`
  /// has passed; returns the readiness then. For hosts that are not live.
  virtual bool waitUntilReadyForMoreMediaData(std::chrono::milliseconds timeout);

 protected:
  AVAssetWriterInput(std::string_view mediaType, std::optional<NSDictionary> outputSettings,
                     CMFormatDescriptionRef sourceFormatHint);

 private:
  std::string _mediaType;
  std::optional<NSDictionary> _outputSettings;
  CMFormatDescriptionRef _sourceFormatHint = nullptr;
  bool _expectsMediaDataInRealTime = false;
  CGAffineTransform _transform;
};

enum AVAssetWriterStatus : std::int64_t {
  AVAssetWriterStatusUnknown = 0,
  AVAssetWriterStatusWriting = 1,
  AVAssetWriterStatusCompleted = 2,
  AVAssetWriterStatusFailed = 3,
  AVAssetWriterStatusCancelled = 4,
};

/// Writes one file. From the first coded frame on the file on disk can be opened at any moment,
/// whatever happens to the process; docs/file-format.md tells how.
///
/// A writer that is let go of while it finishes completes its work; one that is let go of without
/// finishing leaves what was committed. A program that returns from main meanwhile waits for it.
class AVAssetWriter {
 public:
  /// A writer for this file. Nothing is created yet.
  /// Errors: null, and `error` is filled, for a file type other than `AVFileTypeMPEG4`, an empty
  /// path, or one with a zero byte, at which the system would cut it.
  static std::shared_ptr<AVAssetWriter> initWithURL(const NSURL& url, std::string_view fileType,
                                                    std::optional<NSError>* error);
  virtual ~AVAssetWriter();
  AVAssetWriter(const AVAssetWriter&) = delete;
  AVAssetWriter& operator=(const AVAssetWriter&) = delete;

  /// Adds a track, before the start. Its settings are read when writing starts.
  /// Errors: raises `NSInvalidArgumentException` for an input that a writer has already, or a
  /// second one of the same media type; `NSInternalInconsistencyException` after the start.
  virtual void addInput(std::shared_ptr<AVAssetWriterInput> input) = 0;
  /// Creates the file (which must not exist) and starts the threads. False, with status failed and
  /// `error` set, when that is impossible or the video's settings cannot be honoured. Blocks for
  /// the creation of one file.
  virtual bool startWriting() = 0;
  /// The source time that is time 0 of the file.
  /// Errors: raises `NSInternalInconsistencyException` unless the writer is writing without
  /// session, or failed (then nothing happens).
  virtual void startSessionAtSourceTime(CMTime startTime) = 0;
  /// The source time at which the file ends.
  /// Errors: raises `NSInternalInconsistencyException` when no session was started, when finishing,
  /// completed or cancelled; on a failed writer nothing happens.
  virtual void endSessionAtSourceTime(CMTime endTime) = 0;
  /// Completes the file on the writer's thread and then calls `handler` there, once, also when the
  /// writer failed. The writer lives until the handler has returned.
  /// Errors: raises `NSInternalInconsistencyException` when the writer never started, is finishing,
  /// completed or cancelled.
  virtual void finishWritingWithCompletionHandler(std::function<void()> handler) = 0;

  /// Where the file lies that this writer makes, given at the start and never changed. Absent for a
  /// writer that makes none. Thread: any.
  virtual std::optional<NSURL> outputURL() const { return std::nullopt; }
  virtual AVAssetWriterStatus status() const = 0;
  /// Why the writer failed: the first error, with a text that says what can be done.
  virtual std::optional<NSError> error() const = 0;

 protected:
  AVAssetWriter() = default;
};

}  // namespace vx

#pragma GCC visibility pop
