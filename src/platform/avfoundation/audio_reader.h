// Takes AAC access units out of sample buffers.
#pragma once

#include "VXVideoRecorder/platform/CoreMedia.h"
#include "platform/avfoundation/mp4/recording_file.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vx {

/// One access unit on its way to the file. Times are in units of 1 / sample rate since the
/// session's start.
struct CodedAudioUnit {
  std::vector<std::uint8_t> bytes;
  std::int64_t time = 0;
  std::uint32_t duration = 0;
};

/// What one sample buffer brought.
struct CodedAudio {
  std::optional<mp4::AudioTrackDescription> track;  // with the first buffer only
  std::vector<CodedAudioUnit> units;

  std::size_t bytes() const;
};

/// Reads the buffers of one track. The first buffer decides what the track is; later ones must be
/// of the same rate and number of channels.
///
/// A buffer's samples are access units where it tells their sizes, each at its own time; without
/// sizes its bytes are one access unit, or a run of ADTS frames. ADTS headers are taken off. An
/// access unit lasts as long as its coding says, whatever the buffer's timing entries claim.
class AudioReader {
 public:
  /// False for a buffer that the track cannot store: another coding than AAC, no data, no numeric
  /// time, sizes that do not fit the data, a format that AAC does not have or that is not the
  /// track's. `out` tells of the track until `keepTrack` was called.
  bool read(CMSampleBufferRef buffer, CMTime sessionStart, CodedAudio& out) const;
  /// The first buffer reached the writer: the track is what it said.
  void keepTrack(const mp4::AudioTrackDescription& track) { _track = track; }

 private:
  std::optional<mp4::AudioTrackDescription> _track;
};

}  // namespace vx
