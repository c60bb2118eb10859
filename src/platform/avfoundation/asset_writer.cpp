// The asset writer: checks the order of calls and hands the work to its core.
#include "platform/avfoundation/file_asset_writer.h"
#include "platform/avfoundation/queueing_input.h"
#include "platform/avfoundation/session_time.h"

#include <new>

namespace vx {
namespace {

[[noreturn]] void raiseWrongUse(const std::string& what) {
  throw NSException(NSInternalInconsistencyException, what);
}

[[noreturn]] void raiseInvalidArgument(const std::string& what) {
  throw NSException(NSInvalidArgumentException, what);
}

class FileAssetWriter final : public AVAssetWriter,
                              public std::enable_shared_from_this<FileAssetWriter> {
 public:
  FileAssetWriter(NSURL url, WriterParts parts)
      : _url(std::move(url)), _core(std::make_shared<WriterCore>(_url.path(), std::move(parts))) {}
  ~FileAssetWriter() override { _core->abandon(); }

  void addInput(std::shared_ptr<AVAssetWriterInput> input) override;
  bool startWriting() override;
  void startSessionAtSourceTime(CMTime startTime) override;
  void endSessionAtSourceTime(CMTime endTime) override;
  void finishWritingWithCompletionHandler(std::function<void()> handler) override;
  std::optional<NSURL> outputURL() const override { return _url; }
  AVAssetWriterStatus status() const override { return _core->status(); }
  std::optional<NSError> error() const override { return _core->error(); }

 private:
  std::shared_ptr<QueueingInput>& slotFor(const QueueingInput& input) {
    return input.mediaType() == AVMediaTypeVideo ? _video : _audio;
  }
  Status start();

  NSURL _url;
  std::shared_ptr<WriterCore> _core;
  std::shared_ptr<QueueingInput> _video;
  std::shared_ptr<QueueingInput> _audio;
  CMTime _sessionStart = kCMTimeInvalid;
  std::optional<std::int64_t> _sessionEndMs;  // since the session's start
};

void FileAssetWriter::addInput(std::shared_ptr<AVAssetWriterInput> input) {
  auto queueing = std::dynamic_pointer_cast<QueueingInput>(input);
  if (!queueing) {
    raiseInvalidArgument("A writer takes inputs that assetWriterInputWithMediaType made");
  }
  if (_core->status() != AVAssetWriterStatusUnknown) {
    raiseWrongUse("Inputs are added before writing starts");
  }
  if (queueing->isAttached() || slotFor(*queueing)) {
    raiseInvalidArgument("A writer takes an input once, and one for each type of media");
  }
  slotFor(*queueing) = queueing;
  queueing->attach(_core);
}

bool FileAssetWriter::startWriting() {
  if (_core->status() != AVAssetWriterStatusUnknown) {
    raiseWrongUse("A writer is started once");
  }
  Status status;
  try {
    status = start();
  } catch (const std::bad_alloc&) {
    status = _core->outOfMemory();
  }
  if (!status) {
    _core->fail(status);
  }
  return status.ok();
}

Status FileAssetWriter::start() {
  if (!_video || !_video->outputSettings()) {
    return NSError(AVFoundationErrorDomain, AVErrorInvalidOutputSettings,
                   "Nothing can be written: the writer has no video input with settings.");
  }
  VideoTrackSettings settings;
  if (Status status = readVideoSettings(*_video->outputSettings(), settings); !status) {
    return status;
  }
  return _core->start(settings, _video->transform(), _audio != nullptr);
}

void FileAssetWriter::startSessionAtSourceTime(CMTime startTime) {
  const AVAssetWriterStatus statusNow = _core->status();  // once: the coding thread may fail now
  if (statusNow == AVAssetWriterStatusFailed) {
    return;
  }
  if (statusNow != AVAssetWriterStatusWriting || CMTIME_IS_VALID(_sessionStart)) {
    raiseWrongUse("A session is started once, while the writer is writing");
  }
  if (!CMTIME_IS_NUMERIC(startTime)) {
    raiseInvalidArgument("A session starts at a numeric time");
  }
  _sessionStart = startTime;
  for (const auto& input : {_video, _audio}) {
    if (input) {
      input->startSession(startTime);
    }
  }
}

void FileAssetWriter::endSessionAtSourceTime(CMTime endTime) {
  _core->raiseUnlessStartedAndNotFinishing("endSessionAtSourceTime");
  if (_core->status() == AVAssetWriterStatusFailed) {
    return;
  }
  if (CMTIME_IS_INVALID(_sessionStart)) {
    raiseWrongUse("A session must be started before it can end");
  }
  constexpr CMTimeScale kMilliseconds = 1000;
  const std::optional<std::int64_t> endMs = ticksSince(_sessionStart, endTime, kMilliseconds);
  if (!endMs) {
    raiseInvalidArgument("A session ends at a numeric time");
  }
  _sessionEndMs = endMs;
}

void FileAssetWriter::finishWritingWithCompletionHandler(std::function<void()> handler) {
  _core->raiseUnlessStartedAndNotFinishing("finishWritingWithCompletionHandler");
  // The writer lives until the handler has returned, whoever lets go of it meanwhile.
  _core->finish(_sessionEndMs, [self = shared_from_this(), handler = std::move(handler)] {
    if (handler) {
      handler();
    }
  });
}

}  // namespace

AVAssetWriter::~AVAssetWriter() = default;

std::shared_ptr<AVAssetWriter> AVAssetWriter::initWithURL(const NSURL& url,
                                                          std::string_view fileType,
                                                          std::optional<NSError>* error) {
  std::optional<NSError> problem;
  if (fileType != AVFileTypeMPEG4) {
    problem = NSError(AVFoundationErrorDomain, AVErrorFileFormatNotRecognized,
                      "Files of the type " + std::string(fileType) + " cannot be written.");
  } else if (url.path().empty()) {
    problem = NSError(AVFoundationErrorDomain, AVErrorUnknown, "The file needs a path.");
  } else if (url.path().find('\0') != std::string::npos) {
    problem = NSError(AVFoundationErrorDomain, AVErrorUnknown,
                      "The file's path has a zero byte in it; choose another name or folder.");
  }
  if (error) {
    *error = problem;
  }
  return problem ? nullptr : makeFileAssetWriter(url, WriterParts{});
}

std::shared_ptr<AVAssetWriter> makeFileAssetWriter(const NSURL& url, WriterParts parts) {
  return std::make_shared<FileAssetWriter>(url, std::move(parts));
}

}  // namespace vx
