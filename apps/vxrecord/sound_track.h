// The sound of a recording, from the input's time to the recorder.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "options.h"
#include "sound_coder.h"

namespace vxrecord {

/// Puts the sound where the recorder puts the pictures of the same moment. Where that is shows only
/// when a picture is taken: sound waits for the first one, and behind a pause for the one that ends
/// it. Sound of the pause itself is left out; what was coded before the pause began stays.
class SoundTrack {
 public:
  SoundTrack(VXVideoRecorder& recorder, const Options& options);

  /// Sound in the input's time.
  void take(const SoundBlock& block);
  /// A picture of this input time lies in a pause.
  void pictureWasLeftOut(std::int64_t inputMs);
  /// A picture of this input time was taken, which ends a pause; the file leaves out `leftOutMs` of
  /// the input before it.
  void pictureWasTaken(std::int64_t inputMs, std::int64_t leftOutMs);
  /// Hands over what the recorder takes now; waits a moment for room if that is wished.
  void handOver(bool waitsForRoom);
  /// The same with all that is left.
  void finish();

 private:
  /// A stretch of the input's time, in samples.
  struct Pause {
    std::int64_t from = 0;
    std::int64_t until = 0;
    bool endsWithAPicture = false;  // nobody said beforehand how long it lasts
  };
  void codePieces();
  void leaveOut(const Pause& pause);
  bool handOverNext(bool waitsForRoom);
  void append(const SoundUnit& unit);

  VXVideoRecorder& _recorder;
  const Options& _options;
  SoundCoder _coder;
  std::deque<SoundBlock> _pieces;        // not coded yet
  std::deque<Pause> _pauses;             // not ended yet, the next one first
  std::optional<std::int64_t> _leftOut;  // samples; none before the first picture
  bool _hasFirstUnit = false;
};

}  // namespace vxrecord
