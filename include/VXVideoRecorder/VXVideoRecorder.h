// The recorder: display frames and audio in, one MP4 file out.
//
//   auto recorder = VXVideoRecorder::initWithDelegate(delegate);
//   recorder->setStoragePath("/home/me/Recordings");
//   recorder->setFilename("meeting.mp4");
//   recorder->appendVideoSample({{"timestamp", milliseconds},
//                                {"frameBuffer", vx::NSData::dataWithBytesNoCopy(pixels, size)},
//                                {"pixelFormatType", vx::kCVPixelFormatType_32BGRA},
//                                {"width", 1920u},
//                                {"height", 1080u},
//                                {"bytesPerRow", 7680u}});   // for every frame
//   recorder->stop();                                        // writeVideoFileDone() follows
//
// One recorder makes one file; the next file takes a new recorder. The sections below are named
// like the files of src/ that hold them.
#pragma once

#include "VXVideoRecorder/VXVideoRecorderDelegate.h"
#include "VXVideoRecorder/platform/AVFoundation.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#pragma GCC visibility push(default)

/// Records one display stream into one MP4 file.
///
/// Each frame is held until the next one arrives and is then written with the time that passed, so
/// the file shows every frame for as long as the screen did. Frames come at irregular moments;
/// their times are milliseconds of any clock, and only differences count, modulo 2^32.
///
/// Thread: no call takes a lock, so calls must not overlap. Frames and audio may come from any
/// thread, one at a time. The recorder may be let go of on any thread.
/// Errors: a recorder reports through its delegate's log and returns nothing; see each call. Only
/// wrong kinds in a frame dictionary and a delegate's own exceptions reach the caller.
class VXVideoRecorder : public std::enable_shared_from_this<VXVideoRecorder> {
  struct ConstructionKey {
    explicit ConstructionKey() = default;
  };

 public:
  // ---- object and configuration (src/recorder/configuration.cpp) ---------------------------

  /// A recorder that logs and announces to `delegate` (null is allowed), which it keeps. Thread:
  /// any. Errors: null when there is no memory for it.
  static std::shared_ptr<VXVideoRecorder> initWithDelegate(
      std::shared_ptr<VXVideoRecorderDelegate> delegate);
  explicit VXVideoRecorder(ConstructionKey, std::shared_ptr<VXVideoRecorderDelegate> delegate);

  /// The receiver of log lines and of the notice that a file is done. Set once, at construction.
  std::shared_ptr<VXVideoRecorderDelegate> delegate;
  /// The thread that delivered the first accepted frame; the recorder names it
  /// "[VXVideoRecorder] <filename> (<index>)". None before that frame. Only to be read.
  std::shared_ptr<vx::NSThread> thread;

  /// True from the start of writing until `stop`.
  bool writing() const { return _writing; }
  void setWriting(bool value) { _writing = value; }
  /// The file's writer, made with the first frame; the recorder keeps what is set.
  const std::shared_ptr<vx::AVAssetWriter>& writer() const { return _writer; }
  void setWriter(std::shared_ptr<vx::AVAssetWriter> writer) { _writer = std::move(writer); }
  const std::shared_ptr<vx::AVAssetWriterInput>& videoWriterInput() const {
    return _videoWriterInput;
  }
  void setVideoWriterInput(std::shared_ptr<vx::AVAssetWriterInput> input) {
    _videoWriterInput = std::move(input);
  }
  /// None while audio is off.
  const std::shared_ptr<vx::AVAssetWriterInput>& audioWriterInput() const {
    return _audioWriterInput;
  }
  void setAudioWriterInput(std::shared_ptr<vx::AVAssetWriterInput> input) {
    _audioWriterInput = std::move(input);
  }
  /// Whether the first sample has started the writer's session.
  bool startedSession() const { return _startedSession; }
  void setStartedSession(bool value) { _startedSession = value; }
  /// True from the start of writing until the first video sample is offered to the writer.
  bool firstVideoBuffer() const { return _firstVideoBuffer; }
  void setFirstVideoBuffer(bool value) { _firstVideoBuffer = value; }
  /// True from the start of writing until the first audio sample was handled.
  bool firstAudioBuffer() const { return _firstAudioBuffer; }
  void setFirstAudioBuffer(bool value) { _firstAudioBuffer = value; }
  /// Presentation time of the first video sample offered to the writer; invalid before it.
  vx::CMTime firstVideoFrameTime() const { return _firstVideoFrameTime; }
  void setFirstVideoFrameTime(vx::CMTime time) { _firstVideoFrameTime = time; }
  /// The display's number, for the default file name and the thread's name. 1 at first.
  std::uint32_t index() const { return _index; }
  void setIndex(std::uint32_t index) { _index = index; }
  /// Quota of the recordings folder in megabytes of 1000000 bytes; 0, the initial value, is none.
  ///
  /// Applied on the writer's thread once this recorder's file is finished, with the limit,
  /// `storagePath` and `fileNamePrefix` that stand then; between `stop` and `writeVideoFileDone` no
  /// other thread may set these three. All entries below `storagePath`, folders too, whose
  /// extension is exactly "mp4" (a file named ".mp4" has none) and whose path from there begins
  /// with `fileNamePrefix` are summed up from the newest to the oldest, on top of the finished
  /// file; the one that lifts the sum above the quota and all older ones are deleted.
  ///
  /// Never counted nor deleted: entries whose path contains the finished name's front up to its
  /// last underscore ("rec_monday_" of "rec_monday_2.mp4"; so with the default name every
  /// "Display_" recording stays, and a name without an underscore spares nothing but itself), the
  /// file that this recorder wrote, wherever it lies and whatever the name says by then, and
  /// folders that hold one of these. A recording that another recorder is still making is a
  /// recording like any other: give recorders that share a folder prefixes of their own, or a
  /// common front.
  ///
  /// A link counts and goes as a link; what it names is left alone. A folder that counts goes with
  /// its contents, except what is mounted in it, which stays with the folders around it. An entry
  /// whose time cannot be read counts as the oldest, a size that cannot be read as 0; what lies
  /// more than 1000 folders deep is not looked at. What cannot be deleted is passed over. Nothing
  /// is logged.
  std::uint64_t folderLimitSize() const { return _folderLimitSize; }
  void setFolderLimitSize(std::uint64_t megabytes) { _folderLimitSize = megabytes; }
  /// The folder that receives the recording; none means "Ondrel Works" in the user's Documents
  /// folder, which is the one of the desktop's settings (user-dirs.dirs) or Documents below home.
  ///
  /// Made with its missing parents when the first frame comes. If that fails the recording goes
  /// into the Documents folder itself, with a line on standard error; an empty text, which counts
  /// as a folder, always fails. The free space is asked for at this very path for every frame and
  /// the quota is applied to it: without a path, or with one where nothing is, every frame logs a
  /// failed query and low disk space, and the quota deletes nothing. A link to a folder is as good
  /// as the folder.
  const std::optional<std::string>& storagePath() const { return _storagePath; }
  void setStoragePath(std::optional<std::string> path) { _storagePath = std::move(path); }
  /// How the quota recognises this host's recordings: what their path below `storagePath` begins
  /// with. Without it, or with an empty text, the quota deletes nothing.
  const std::optional<std::string>& fileNamePrefix() const { return _fileNamePrefix; }
  void setFileNamePrefix(std::optional<std::string> prefix) { _fileNamePrefix = std::move(prefix); }
  /// The file's name, used as it is; none becomes Display_<index>.mp4 with the first frame, the
  /// index as a signed number, and stays so.
  ///
  /// Whatever stands at that path is deleted then, a folder with all its contents too; a host that
  /// keeps its recordings gives each one a name of its own. That holds for a file that another
  /// recorder is still writing: it disappears, and that recorder ends as failed once its file has
  /// no name left (a hard link elsewhere keeps it whole, and done). A program that has the old file
  /// open keeps reading it. Only the recordings folder itself, and folders around it, are never
  /// deleted: a name that leads to one of them ("", "..", a link) cannot be recorded to, nor can a
  /// name or folder with a zero byte; each frame tries anew. What is mounted in a folder that
  /// stands in the way is not deleted either. Folders within the name ("monday/1.mp4") must exist.
  const std::optional<std::string>& filename() const { return _filename; }
  void setFilename(std::optional<std::string> filename) { _filename = std::move(filename); }
  /// Kept for the host; the recorder does not read it.
  const std::optional<std::string>& username() const { return _username; }
  void setUsername(std::optional<std::string> username) { _username = std::move(username); }
  /// Whether the file gets an audio track. Read when the first frame prepares the writer.
  bool audioEnabled() const { return _audioEnabled; }
  void setAudioEnabled(bool enabled) { _audioEnabled = enabled; }
  /// Whether the last frame asked for a quarter turn; the first frame's wish decides for the file.
  bool isVideoRotation() const { return _isVideoRotation; }
  /// Kept for the host; the recorder never calls it.
  const std::function<void()>& completionHandler() const { return _completionHandler; }
  void setCompletionHandler(std::function<void()> handler) {
    _completionHandler = std::move(handler);
  }

  // ---- video intake (src/recorder/video_intake.cpp) ----------------------------------------

  /// Takes one frame. A null dictionary, or a width or height of 0, is ignored.
  ///
  /// | key               | kind     | meaning                                                     |
  /// |-------------------|----------|-------------------------------------------------------------|
  /// | "timestamp"       | unsigned | milliseconds of the host's clock, modulo 2^32               |
  /// | "isHwDecode"      | boolean  | a held frame that could not be written is not offered again |
  /// | "frameBuffer"     | data     | the pixels; without it the frame is black                   |
  /// | "multiVideoType"  | unsigned | bit 3 (value 8) of the first frame turns the file a quarter |
  /// | "pixelFormatType" | unsigned | a code of platform/CoreVideo.h                              |
  /// | "width", "height" | unsigned | pixels                                                      |
  /// | "bytesPerRow"     | unsigned | row pitch of packed formats in bytes; y420 ignores it       |
  ///
  /// A missing key reads as 0 or false. The pixels are copied before the call returns, and the data
  /// is not kept. The length of the data is not checked: `frameBufferLength` tells how much is
  /// read.
  ///
  /// The first frame opens the file; its time is time 0. A frame that the writer has no room for is
  /// dropped with a log line, and the frame before it lasts longer.
  /// Thread: the host's delivery thread; does not wait for coding or for the disk, other than for
  /// one query of the free space. The first frame also creates the file.
  /// Errors: raises `vx::NSException` for a text under a numeric key; every other failure is a log
  /// line.
  void appendVideoSample(const vx::NSDictionary* frame);
  void appendVideoSample(const vx::NSDictionary& frame) { appendVideoSample(&frame); }

  // ---- pools and conversion (src/pixelbuffer/) ---------------------------------------------

  /// How many bytes of "frameBuffer" a frame of this description reads at most; the data must hold
  /// as many, because their length is not checked.
  ///
  /// - y420: width x height, then twice floor(width / 2) x ceil(height / 2); `bytesPerRow` is not
  ///   looked at.
  /// - Every other code: `bytesPerRow` x (height - 1), and of the last row the smaller of
  ///   `bytesPerRow` and 4 x width rounded up to a multiple of 32.
  ///
  /// So `bytesPerRow` x height is always enough for the packed codes. Less is read of the last row
  /// when all frames of a size have one code of fewer bytes a pixel (3, 2 or 1 in the place of 4).
  /// A frame without pixels, and one with a width or height of 0, reads nothing; 0 for the latter.
  /// Thread: any.
  static std::size_t frameBufferLength(std::uint32_t pixelFormatType, std::uint32_t width,
                                       std::uint32_t height, std::uint32_t bytesPerRow);

  // ---- audio factory (src/recorder/audio_factory.cpp) --------------------------------------

  /// Wraps one block of coded audio: copies `withLen` bytes, described by `withASBD`, into a new
  /// sample buffer that the caller releases with `vx::CFRelease`. It carries presentation time 0,
  /// claims 512 samples, and each sample lasts `mFramesPerPacket / mSampleRate` (the rate without
  /// its fraction). To give buffers times of their own use `vx::CMSampleBufferCreateReady`.
  /// Thread: any. Errors: null when the stream cannot be described or memory is short; a buffer
  /// without data when the bytes cannot be attached (a length of 0); both reasons, the first in
  /// part, stand in the system log. The length is not checked against what `audioBytes` points to.
  static vx::CMSampleBufferRef createAudioSampleBuffer(const void* audioBytes, std::int32_t withLen,
                                                       vx::AudioStreamBasicDescription withASBD);

  // ---- audio intake (src/recorder/audio_intake.cpp) ----------------------------------------

  /// Writes one buffer to the audio track, at the time it carries; time 0 is that of the first
  /// video frame. Several AAC access units may travel in one buffer (sizes and times each) or as
  /// ADTS frames. A time that lies before the end of the audio so far is placed at that end; a
  /// later one leaves a gap. The first 0.1 s of the first buffer is not played, unless the buffer
  /// says what to trim itself (`vx::kCMSampleBufferAttachmentKey_TrimDurationAtStart`).
  ///
  /// Dropped in silence before the first video sample was offered to the writer; dropped with a log
  /// line while the writer has no room, is not writing, or has no audio input. A null buffer is
  /// ignored. The caller keeps its reference.
  /// Thread: the host's, not at the same time as other calls; does not wait for the disk.
  /// Errors: a log line with the writer's status when the buffer is refused: another coding than
  /// AAC, no data, another format than before. Recording goes on.
  void appendAudioSample(vx::CMSampleBufferRef sampleBuffer);

  // ---- stop, pause and destruction (src/recorder/stop.cpp) ---------------------------------

  /// Marks a pause: the next frame that is taken in follows at most 1000 ms of black. Thread: any,
  /// also while another call runs.
  void pause();
  /// Ends the file: writes the held frame and completes the file on the writer's thread, where the
  /// delegate then hears of it. Without a frame so far it does nothing.
  ///
  /// May be called again: once the recording was stopped that only makes a line of the log.
  /// Thread: the host's, not at the same time as other calls; does not wait for coding or for the
  /// disk.
  /// Errors: a log line with the exception when the writer cannot be stopped. When there is no
  /// memory the recording is not stopped yet, as a log line says; call it again.
  void stop();
  /// Stops first. The file is completed all the same, without a word to the delegate.
  ~VXVideoRecorder();

  VXVideoRecorder(const VXVideoRecorder&) = delete;
  VXVideoRecorder& operator=(const VXVideoRecorder&) = delete;

 private:
  friend class VXVideoRecorderPeer;  // the tests' view of the fields and steps

  static constexpr std::string_view kClassName = "VXVideoRecorder";
  using CreateBufferHandle = std::function<void(VXVideoRecorder&, std::uint32_t relativeTimeMs)>;

  // ---- object and configuration (src/recorder/configuration.cpp)
  bool prepareWithConfig(vx::CGSize frameSize);
  void handleErrorCode(std::int64_t code, const std::optional<vx::NSError>& error);
  void sendRecorderError(std::int64_t code);
  void writeLog(const std::string& message, std::int32_t level);
  std::string logPrefix() const;
  void log(const std::string& message);
  template <typename Step>
  void unlessMemoryIsShort(const char* whatIsLost, Step&& step);
  void logMemoryShortage(const char* whatIsLost);

  // ---- writer set-up (src/recorder/writer_setup.cpp)
  vx::NSDictionary videoSettings(vx::CGSize frameSize) const;
  vx::CMAudioFormatDescriptionRef makeAudioFormatDescription() const;
  void prepareAudioWriter();
  void startWriting();
  void logWriterStatus();
  void logPresentationTime(vx::CMSampleBufferRef sample, const char* logPrefix);

  // ---- video intake (src/recorder/video_intake.cpp)
  void takeFrame(const vx::NSDictionary& frame);
  void addFrameWithPixelFormatType(std::uint32_t pixelFormatType, vx::CGSize size,
                                   std::uint32_t timestamp,
                                   const CreateBufferHandle& createBufferHandle);
  void openFile(vx::CGSize size, std::uint32_t timestamp);
  void setBufferTimestamp(std::uint32_t relativeTimeMs);
  void appendBufferWithDuration(std::uint32_t durationMs);
  void offerVideoSample(vx::CMSampleBufferRef sample, std::uint32_t durationMs);
  vx::CMSampleBufferRef setVedioBuffer(vx::CVPixelBufferRef pixelBuffer, std::uint32_t duration);

  // ---- audio intake (src/recorder/audio_intake.cpp)
  void takeAudioSample(vx::CMSampleBufferRef sampleBuffer);
  void primeAudio(vx::CMSampleBufferRef sampleBuffer);

  // ---- pools and conversion (src/pixelbuffer/)
  vx::CVPixelBufferPoolRef getBufferPoolWithSize(vx::CGSize size, std::uint32_t withFormat);
  vx::CVPixelBufferRef convertPixelBufferFromFrameBuffer(const void* frameBuffer, vx::CGSize size,
                                                         std::uint32_t bytesPerRow,
                                                         std::uint32_t pixelFormatType);
  static void copyPlanes(const void* frameBuffer, vx::CGSize size, vx::CVPixelBufferRef toBuffer);
  static void copyBuffer(const void* source, std::uint64_t sourceBytesPerRow, void* toBuffer,
                         std::uint64_t bytesPerRow, std::uint64_t withHeight);
  void createBlackBufferWithFormat(std::uint32_t format, vx::CGSize withSize);

  // ---- stop, pause and destruction (src/recorder/stop.cpp)
  void endFile();
  std::function<void()> makeFinishStep();
  void finishStep(const std::optional<std::string>& filename,
                  const std::weak_ptr<vx::AVAssetWriter>& weakWriter,
                  const std::string& writtenFile);

  // ---- file naming (src/storage/file_naming.cpp)
  std::optional<vx::NSURL> outputFileURL();

  // ---- disk space guard and folder quota (src/storage/)
  std::uint64_t diskFreeSpace(const std::optional<std::string>& path);
  bool checkDiskKeepRecStatus();
  void checkFolderSizeAndDeleteFile(const std::string& name, const std::string& writtenFile = {});

  // The fields, in their order; `delegate` and `thread`, the first two, stand above.
  std::atomic<bool> _pause = false;              // the next accepted frame ends a pause
  vx::CVPixelBufferRef _buffer = nullptr;        // the held frame; owned
  std::uint32_t _startTime = 0;                  // host ms that is time 0 of the file
  std::uint32_t _timestamp = 0;                  // ms of video written so far
  std::vector<vx::CVPixelBufferPoolRef> _pools;  // one a frame size; never released
  std::uint64_t limitFreeSpace = 100000000;      // bytes
  std::atomic<bool> _audioEnabled = false;
  bool _isVideoRotation = false;
  bool _writing = false;
  bool _startedSession = false;
  bool _firstVideoBuffer = false;
  bool _firstAudioBuffer = false;
  std::uint32_t _index = 1;
  std::uint64_t _folderLimitSize = 0;  // MB of 1000000 bytes
  std::optional<std::string> _storagePath;
  std::optional<std::string> _fileNamePrefix;
  std::optional<std::string> _filename;
  std::optional<std::string> _username;
  std::function<void()> _completionHandler;
  std::shared_ptr<vx::AVAssetWriter> _writer;
  std::shared_ptr<vx::AVAssetWriterInput> _videoWriterInput;
  std::shared_ptr<vx::AVAssetWriterInput> _audioWriterInput;
  vx::CMTime _firstVideoFrameTime;
};

#pragma GCC visibility pop
