// One recording from its first frame to its finished file.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "frame_packer.h"
#include "input.h"
#include "options.h"
#include "output_place.h"
#include "pacer.h"
#include "progress.h"
#include "recording_clock.h"
#include "recording_delegate.h"
#include "result.h"
#include "sound_track.h"

namespace vxrecord {

class Recording {
 public:
  /// `hasKeys`: whether keys are taken from a terminal, which a person is then told.
  Recording(const Options& options, const OutputPlace& place, Input& input, bool hasKeys);

  /// Records until the input is over, the wished duration is reached or the end is asked for, and
  /// waits for the file to be complete.
  RunResult run();

 private:
  template <typename Step>
  void attempt(Step step);
  bool takesEveryFrame() const { return !_input.isLive() && !_options.realtime; }
  void readFrames();
  bool isOver(const MediaFrame& frame) const;
  bool takePicture(const MediaFrame& frame);
  void takeSound(const MediaFrame& frame);
  bool isWanted(const MediaFrame& frame);
  bool isPauseAt(std::int64_t inputMs) const;
  void beginPause();
  void planWake(std::int64_t afterMs);
  bool standStill();
  void followPause(std::int64_t nowMs);
  void handOverStanding(std::int64_t latestMs);
  void handOverLast();
  bool waitForTurn(const MediaFrame& frame);
  bool waitForPauseEnd();
  bool waitForRoom();
  void handOver(const MediaFrame& frame);
  bool isWriterWorking();
  void showProgress(std::int64_t standsForMs = 0);
  void warnOfShortSpace();
  void fail(std::string why);
  void stop();
  RunResult result() const;

  const Options& _options;
  const OutputPlace& _place;
  Input& _input;
  std::chrono::steady_clock::time_point _start;
  std::shared_ptr<RecordingDelegate> _delegate;
  std::shared_ptr<VXVideoRecorder> _recorder;
  std::optional<SoundTrack> _sound;  // with --audio
  FramePacker _packer;
  Pacer _pacer;
  Progress _progress;
  RecordingClock _clock;
  std::int64_t _frames = 0;
  bool _isPausePending = false;
  bool _isPausePlanned = false;  // what the last look found: the options ask for it, nobody else
  bool _hasSettled = false;      // the picture that stands was handed over twice
  bool _hasWarnedOfSpace = false;
  bool _isDone = false;
  std::optional<std::string> _error;
};

}  // namespace vxrecord
