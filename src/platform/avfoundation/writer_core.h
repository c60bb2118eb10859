// The engine of an asset writer: one thread codes pictures, one writes the file.
//
//   host's thread --pictures--> coding thread --coded samples--> writing thread --> RecordingFile
//              \\--------------- coded audio ----------------/
//
// Both queues are bounded. A slow disk fills the second, then the first, and then the input is no
// longer ready: memory stays bounded and the host never waits.
#pragma once

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/audio_reader.h"
#include "platform/avfoundation/bounded_queue.h"
#include "platform/avfoundation/commit_schedule.h"
#include "platform/avfoundation/encoder/encoder_choice.h"
#include "platform/avfoundation/encoder/speed_policy.h"
#include "platform/avfoundation/encoder_watch.h"
#include "platform/avfoundation/mp4/recording_file.h"
#include "platform/avfoundation/spare_buffers.h"
#include "platform/avfoundation/video_settings.h"
#include "platform/cf_ref.h"
#include "platform/corevideo/used_pools.h"
#include "platform/foundation/status.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vx {

/// A picture on its way to the encoder. Times are milliseconds since the session's start.
struct QueuedPicture {
  CFRef<CVPixelBufferRef> buffer;
  std::int64_t timeMs = 0;
  std::uint32_t durationMs = 0;
  bool forceKeyFrame = false;
};

/// A picture on its way to the file.
struct CodedPicture {
  std::vector<std::uint8_t> bytes;
  std::int64_t timeMs = 0;
  std::uint32_t durationMs = 0;
  bool isKeyFrame = false;
};

/// What the core makes its parts with; tests put their own in.
struct WriterParts {
  VideoEncoderFactory makeEncoder = makePreferredEncoder;
  std::function<Status(const std::string& path, std::unique_ptr<mp4::RecordingFile>& out)>
      createFile = mp4::RecordingFile::create;
  /// How long one call into the encoder may last before the writer gives the encoder up: many times
  /// what the largest picture takes on a loaded machine.
  std::chrono::milliseconds encoderPatience = std::chrono::minutes(1);
};

/// Lives as long as its threads and its writer. Calls come from the writer's caller, one at a time,
/// unless a comment says otherwise.
class WriterCore : public std::enable_shared_from_this<WriterCore> {
 public:
  using FinishHandler = std::function<void()>;

  WriterCore(std::string path, WriterParts parts);
  ~WriterCore();

  /// Creates the file and starts both threads.
  Status start(const VideoTrackSettings& settings, const CGAffineTransform& transform,
               bool withAudio);
  /// Remembers the error, stops taking samples and lets the file be finished with what it has.
  /// Only the first error counts. Thread: any.
  void fail(Status error);
  /// The error for want of memory. It takes none.
  const Status& outOfMemory() const { return _outOfMemory; }

  /// Thread: any, for these two.
  AVAssetWriterStatus status() const;
  std::optional<NSError> error() const;

  bool hasRoomForPicture() const;  ///< thread: any
  bool append(QueuedPicture picture);
  bool waitForRoom(std::chrono::milliseconds timeout);
  void endOfPictures();

  bool hasRoomForAudio() const;  ///< thread: any
  bool append(CodedAudio audio);
  bool waitForRoomForAudio(std::chrono::milliseconds timeout);

  /// Completes the file and calls `handler` on the writing thread, whatever the status then is.
  void finish(std::optional<std::int64_t> sessionEndMs, FinishHandler handler);
  /// Raises what the wrong order of calls deserves: `operation` is for a writer that was started
  /// and is not being finished, or that failed and is still to be finished.
  void raiseUnlessStartedAndNotFinishing(const char* operation) const;
  /// Nobody will finish this file: what was coded is committed, then the threads end.
  void abandon();

 private:
  bool takesAudio() const;
  template <typename Step>
  Status guarded(Step&& step) const;

  using CodedItem = std::variant<mp4::VideoTrackDescription, CodedPicture, CodedAudio>;
  using Clock = std::chrono::steady_clock;

  // The coding thread.
  void codePictures();
  Status openEncoder(VideoEncoder& encoder);
  Status codePicture(const QueuedPicture& picture);
  Status encode(const QueuedPicture& queued, AccessUnit& accessUnit);
  void followLoad(const CodingLoad& load);

  // The writing thread.
  void writeFile();
  void writeCodedItems();
  std::optional<CodedItem> nextItem();
  Status checkEncoder();
  Status write(CodedItem& item);
  Status begin(const mp4::VideoTrackDescription& track);
  Status writePicture(CodedPicture& picture);
  Status writeAudio(const CodedAudio& audio);
  Status commitIfDue();
  Status commit();
  void finishAfterFailure();
  void waitForRequest();
  void completeFile();

  struct Coding;  // what the coding thread owns

  const std::string _path;
  const WriterParts _parts;
  const Status _outOfMemory;     // made while there was memory for it
  VideoTrackSettings _settings;  // set before the threads start
  CGAffineTransform _transform;  // likewise
  bool _withAudio = false;       // likewise

  BoundedQueue<QueuedPicture> _pictures;
  BoundedQueue<CodedItem> _coded;
  SpareBuffers _spareBuffers;  // of coded pictures that were written

  mutable std::mutex _mutex;
  std::condition_variable _requestCame;
  AVAssetWriterStatus _status = AVAssetWriterStatusUnknown;  // guarded by _mutex
  Status _outcome;                                           // guarded by _mutex; first error
  bool _writingThreadRuns = false;                           // guarded by _mutex
  bool _finishing = false;                                   // guarded by _mutex
  bool _abandoned = false;                                   // guarded by _mutex
  std::optional<std::int64_t> _sessionEndMs;                 // guarded by _mutex
  FinishHandler _finishHandler;                              // guarded by _mutex

  std::atomic<bool> _hostWaits = false;  // it has waited for room: it is not live
  UsedPools _pools;  // of the pictures: the caller's until it asks for the finish

  std::unique_ptr<Coding> _coding;  // the coding thread's, between start and its end
  EncoderWatch _encoderWatch;

  // The writing thread's.
  std::unique_ptr<mp4::RecordingFile> _file;
  bool _begun = false;
  bool _audioDeclared = false;
  std::vector<CodedAudio> _audioBeforeHead;
  bool _firstPictureWritten = false;
  CommitSchedule _commits;
};

}  // namespace vx
