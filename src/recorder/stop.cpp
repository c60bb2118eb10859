// Stop, pause and destruction.
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "recorder/absent_objects.h"
#include "recorder/memory_shortage.h"
#include "recorder/timing.h"
#include "storage/folder_quota.h"

#include <utility>

using namespace vx;

void VXVideoRecorder::pause() { _pause = true; }

void VXVideoRecorder::stop() {
  const auto alive = weak_from_this().lock();  // none while the recorder is being destroyed
  if (_writer) {
    unlessMemoryIsShort("the recording is not stopped yet", [&] { endFile(); });
  }
}

void VXVideoRecorder::endFile() {
  if (_buffer) {
    appendBufferWithDuration(1);
  }
  try {
    if (_videoWriterInput) {
      _videoWriterInput->markAsFinished();
    }
    if (!_writer) {  // the delegate took it away within a line of the flush
      setWriting(false);
      return;
    }
    _writer->endSessionAtSourceTime(recorder::timeFromMilliseconds(_timestamp + 1));
    std::function<void()> finishStep = makeFinishStep();
    const bool wasWriting = std::exchange(_writing, false);
    try {
      _writer->finishWritingWithCompletionHandler(std::move(finishStep));
    } catch (const std::bad_alloc&) {
      setWriting(wasWriting);  // it can be stopped again
      throw;
    }
  } catch (const NSException& exception) {
    log("exception : " + exception.description() + ". " +
        descriptionOfList(NSThread::callStackSymbols()));
  }
}

std::function<void()> VXVideoRecorder::makeFinishStep() {
  std::weak_ptr<AVAssetWriter> writer = _writer;
  // What is written stays known here even if the host gives the recorder another name or folder.
  const std::optional<NSURL> url = _writer->outputURL();
  std::string file = url ? url->path() : std::string();
  if (std::shared_ptr<VXVideoRecorder> self = weak_from_this().lock()) {
    return [self, filename = _filename, writer, file = std::move(file)] {
      self->finishStep(filename, writer, file);
    };
  }
  // The recorder is being destroyed: it takes its delegate along, so only the quota is left to do,
  // with what it needs held by value.
  return [limit = _folderLimitSize, path = _storagePath, prefix = _fileNamePrefix,
          filename = _filename.value_or(""), file = std::move(file)] {
    storage::applyFolderQuota(path, prefix, limit, filename, file);
  };
}

void VXVideoRecorder::finishStep(const std::optional<std::string>& filename,
                                 const std::weak_ptr<AVAssetWriter>& weakWriter,
                                 const std::string& writtenFile) {
  // Short memory costs the steps that need it; the host is told in any case.
  unlessMemoryIsShort("the folder's quota is not applied", [&] {
    if (_folderLimitSize != 0) {
      checkFolderSizeAndDeleteFile(filename.value_or(""), writtenFile);
    }
  });
  const bool completed = recorder::statusOf(weakWriter.lock()) == AVAssetWriterStatusCompleted;
  unlessMemoryIsShort("a line of the log is lost", [&] {
    log("Record " + filename.value_or("(null)") + " - " + (completed ? "done" : "failed"));
  });
  if (const std::shared_ptr<VXVideoRecorderDelegate> receiver = delegate) {
    receiver->writeVideoFileDone();
  }
}

VXVideoRecorder::~VXVideoRecorder() {
  try {
    stop();
  } catch (...) {
    // Nobody is left to tell, and a destructor must not throw.
  }
  delegate = nullptr;
  setWriter(nullptr);
  _audioWriterInput = nullptr;
  _videoWriterInput = nullptr;
  _completionHandler = nullptr;
  _username.reset();
  _filename.reset();
  _fileNamePrefix.reset();
  _storagePath.reset();
  _pools.clear();  // the pools themselves live on
  thread = nullptr;
}
