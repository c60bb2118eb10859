// A writer and inputs that do what a test says and remember what was asked of them.
#pragma once

#include "VXVideoRecorder/platform/AVFoundation.h"

#include <deque>
#include <optional>
#include <string>
#include <vector>

/// What one appended sample looked like.
struct AppendedSample {
  vx::CMTime presentationTime;
  vx::CMTime duration;
  bool forcesKeyFrame = false;
  vx::CMAttachmentMode keyFrameMode = 0;
  vx::CVPixelBufferRef image = nullptr;  // not owned: for comparing identities
};

class ScriptedInput : public vx::AVAssetWriterInput {
 public:
  explicit ScriptedInput(std::string_view mediaType = vx::AVMediaTypeVideo)
      : AVAssetWriterInput(mediaType, std::nullopt, nullptr) {}

  bool ready = true;
  /// Answers of the next readiness questions, before `ready` counts again.
  mutable std::deque<bool> nextReadiness;
  bool acceptsSamples = true;
  std::optional<vx::NSException> raisesOnFinish;
  std::vector<AppendedSample> samples;
  int timesMarkedAsFinished = 0;
  std::vector<std::string>* calls = nullptr;  // shared with the writer

  bool isReadyForMoreMediaData() const override {
    if (nextReadiness.empty()) {
      return ready;
    }
    const bool answer = nextReadiness.front();
    nextReadiness.pop_front();
    return answer;
  }

  bool appendSampleBuffer(vx::CMSampleBufferRef sample) override {
    AppendedSample seen;
    seen.presentationTime = vx::CMSampleBufferGetPresentationTimeStamp(sample);
    seen.duration = vx::CMSampleBufferGetDuration(sample);
    const vx::Object* wish = vx::CMGetAttachment(
        sample, vx::kCMSampleBufferAttachmentKey_ForceKeyFrame, &seen.keyFrameMode);
    seen.forcesKeyFrame = wish && wish->number() && wish->number()->boolValue();
    seen.image = vx::CMSampleBufferGetImageBuffer(sample);
    samples.push_back(seen);
    if (onAppend) {
      onAppend(sample);
    }
    note("append");
    return acceptsSamples;
  }

  void markAsFinished() override {
    ++timesMarkedAsFinished;
    note("markAsFinished");
    if (raisesOnFinish) {
      throw *raisesOnFinish;
    }
  }

  std::function<void(vx::CMSampleBufferRef)> onAppend;

 private:
  void note(const char* call) {
    if (calls) {
      calls->push_back(call);
    }
  }
};

class ScriptedWriter : public vx::AVAssetWriter {
 public:
  vx::AVAssetWriterStatus currentStatus = vx::AVAssetWriterStatusWriting;
  std::optional<vx::NSError> currentError;
  std::optional<vx::NSURL> url;
  bool starts = true;
  std::optional<vx::NSException> raisesOnEndSession;
  std::optional<vx::NSException> raisesOnFinish;
  std::vector<std::shared_ptr<vx::AVAssetWriterInput>> inputs;
  std::vector<vx::CMTime> sessionStarts;
  std::vector<vx::CMTime> sessionEnds;
  std::vector<std::function<void()>> finishHandlers;
  std::vector<std::string> calls;

  void addInput(std::shared_ptr<vx::AVAssetWriterInput> input) override {
    inputs.push_back(std::move(input));
  }
  bool startWriting() override {
    calls.push_back("startWriting");
    return starts;
  }
  void startSessionAtSourceTime(vx::CMTime time) override {
    calls.push_back("startSession");
    sessionStarts.push_back(time);
  }
  void endSessionAtSourceTime(vx::CMTime time) override {
    calls.push_back("endSession");
    if (raisesOnEndSession) {
      throw *raisesOnEndSession;
    }
    sessionEnds.push_back(time);
  }
  void finishWritingWithCompletionHandler(std::function<void()> handler) override {
    calls.push_back("finishWriting");
    if (raisesOnFinish) {
      throw *raisesOnFinish;
    }
    finishHandlers.push_back(std::move(handler));
  }
  /// Plays the platform: the file was finished with this status.
  void complete(vx::AVAssetWriterStatus finalStatus) {
    currentStatus = finalStatus;
    for (auto& handler : std::exchange(finishHandlers, {})) {
      handler();
    }
  }
  std::optional<vx::NSURL> outputURL() const override { return url; }
  vx::AVAssetWriterStatus status() const override { return currentStatus; }
  std::optional<vx::NSError> error() const override { return currentError; }
};
