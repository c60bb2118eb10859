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
/// it. Sound of the pause itself is left out.
class SoundTrack {
 public:
  SoundTrack(VXVideoRecorder& recorder, const Options& options);

  /// Sound in the input's time.
  void take(const SoundBlock& block);
  /// A picture of this input time was taken; the file leaves out `leftOutMs` of the input before
  /// it.
  void pictureWasTaken(std::int64_t inputMs, std::int64_t leftOutMs);
  /// Hands over what the recorder takes now; waits a moment for room if that is wished.
  void handOver(bool waitsForRoom);
  /// The same with all that is left.
  void finish();

 private:
  struct Piece {
    SoundBlock block;
    bool isBehindPause = false;
  };
  void keep(SoundBlock block, bool isBehindPause);
  void codePieces();
  bool handOverNext(bool waitsForRoom);
  void append(const SoundUnit& unit);

  VXVideoRecorder& _recorder;
  const Options& _options;
  SoundCoder _coder;
  std::deque<Piece> _pieces;
  std::optional<std::int64_t> _leftOut;             // samples, up to the pause
  std::optional<std::int64_t> _leftOutBehindPause;  // samples
  bool _hasFirstUnit = false;
};

}  // namespace vxrecord
