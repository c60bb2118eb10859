// Audio intake: the gate behind the first video sample, refusals, priming.
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "recorder/absent_objects.h"
#include "recorder/memory_shortage.h"

using namespace vx;

namespace {
constexpr double kPrimingSeconds = 0.1;
constexpr CMTimeScale kPrimingTimescale = 1000000000;
}  // namespace

void VXVideoRecorder::appendAudioSample(CMSampleBufferRef sampleBuffer) {
  if (CMTimeCompare(_firstVideoFrameTime, kCMTimeInvalid) == 0) {
    return;
  }
  const auto alive = weak_from_this().lock();  // a delegate may let go of the recorder meanwhile
  unlessMemoryIsShort("an audio sample is lost", [&] { takeAudioSample(sampleBuffer); });
}

void VXVideoRecorder::takeAudioSample(CMSampleBufferRef sampleBuffer) {
  if (!recorder::isReady(_audioWriterInput) ||
      recorder::statusOf(_writer) != AVAssetWriterStatusWriting) {
    const int readiness = recorder::isReady(_audioWriterInput);
    log("appendAudioSample - sample not appended;  readyForMoreMediaData = " +
        std::to_string(readiness) + ", status = " + std::to_string(recorder::statusOf(_writer)));
    return;
  }
  if (!sampleBuffer) {
    return;
  }
  if (!_startedSession) {
    _writer->startSessionAtSourceTime(CMSampleBufferGetPresentationTimeStamp(sampleBuffer));
    setStartedSession(true);
    log("started session in appendAudioSample");
  }
  if (_firstAudioBuffer) {
    setFirstAudioBuffer(false);
    primeAudio(sampleBuffer);
  }
  const bool appended = recorder::append(_audioWriterInput, sampleBuffer);
  logPresentationTime(sampleBuffer, "Audio Sample");
  if (!appended) {
    logWriterStatus();
  }
}

void VXVideoRecorder::primeAudio(CMSampleBufferRef sampleBuffer) {
  if (CMGetAttachment(sampleBuffer, kCMSampleBufferAttachmentKey_TrimDurationAtStart, nullptr)) {
    return;
  }
  log("Priming audio");
  const CMTime trim = CMTimeMakeWithSeconds(kPrimingSeconds, kPrimingTimescale);
  CMSetAttachment(sampleBuffer, kCMSampleBufferAttachmentKey_TrimDurationAtStart,
                  CMTimeCopyAsDictionary(trim, kCFAllocatorDefault),
                  kCMAttachmentMode_ShouldPropagate);
}
