// The MP4 file of a recording, readable at every moment: fragments while it grows, one index in the
// end. docs/file-format.md draws both lives of the file.
#pragma once

#include "platform/avfoundation/coded_video.h"
#include "platform/foundation/status.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vx::mp4 {

/// The video track: AVC in `avc1`, timescale 1000.
struct VideoTrackDescription {
  std::uint32_t width = 0;  // the true size, which may be odd
  std::uint32_t height = 0;
  std::array<double, 6> transform{1, 0, 0, 1, 0, 0};  // a b c d tx ty of the display
  ParameterSets parameterSets;
  ColourTags colour;
};

/// The sample rates that are stored, in Hz. Nothing else is written, because nothing else is
/// believed when a recording is read back.
inline constexpr std::uint32_t kMinSampleRate = 1000;
inline constexpr std::uint32_t kMaxSampleRate = std::uint32_t{1} << 20;

/// The audio track: AAC in `mp4a`, timescale the sample rate.
struct AudioTrackDescription {
  std::uint32_t sampleRate = 0;  // Hz
  std::uint16_t channels = 0;
  std::vector<std::uint8_t> audioSpecificConfig;  // ISO/IEC 14496-3
  std::uint32_t trimAtStart = 0;                  // in units of 1 / sampleRate
};

/// One coded sample. Times are in the track's timescale, relative to the session's start.
struct CodedSample {
  std::span<const std::uint8_t> bytes;  // copied
  std::int64_t time = 0;
  std::uint32_t duration = 0;  // used only while no later sample tells the real one
  bool isKeyFrame = true;
};

/// Collects samples, commits them in fragments and finishes the file.
///
/// Video: a sample's stored duration is the time to the next one. A sample whose time is not later
/// than its predecessor's takes the predecessor's time (stored duration 0), so a clock that steps
/// back leaves no hole; a duration that wrapped (2^31 ms or more) is never written into a fragment.
/// Audio: a sample whose time lies before the end of the audio so far is placed at that end; a
/// later one leaves a gap. A time before the session's start counts as the start.
///
/// The first error of the disk is kept: after it no sample is taken and nothing more is published,
/// and every call returns it. Wrong use and unsuitable samples are refused and change nothing.
/// Letting go of a file that is not finished leaves what was committed; a file whose head could not
/// be written, or was never asked for, is removed.
/// Thread: one at a time. Every call may block on the disk.
class RecordingFile {
 public:
  /// Creates the file: it must not exist, a link at the last component is not followed, child
  /// processes do not inherit it, and other recorders and repair find it locked.
  /// Errors: `AVErrorFileAlreadyExists`, `AVErrorDiskFull`; `NSCocoaErrorDomain` for a missing
  /// folder, no permission and a read-only disk; `NSPOSIXErrorDomain` for the rest.
  static Status create(const std::string& path, std::unique_ptr<RecordingFile>& out);
  virtual ~RecordingFile() = default;

  /// Writes the head and makes it durable. With `reserveAudio` the head has room for an audio track
  /// that `declareAudio` fills in later.
  virtual Status begin(const VideoTrackDescription& video, bool reserveAudio) = 0;
  /// Describes the audio track, once, before its first sample. The track becomes part of the file
  /// when its first sample is committed; without a sample the file has none.
  virtual Status declareAudio(const AudioTrackDescription& audio) = 0;
  virtual Status appendVideo(const CodedSample& sample) = 0;
  virtual Status appendAudio(const CodedSample& sample) = 0;
  /// Bytes of samples taken since the last commit.
  virtual std::size_t uncommittedBytes() const = 0;
  virtual bool hasUncommittedSamples() const = 0;
  /// Makes all samples so far durable and readable as one fragment. What publishes a fragment is
  /// itself durable with the next commit; a commit without new samples does just that, once, so
  /// call it at intervals also while nothing comes.
  virtual Status commit() = 0;
  /// Commits, then turns the file into a plain MP4 that ends at `sessionEndMs` (absent: where the
  /// last sample ends), and closes it. A picture is shown until then, audio is cut off there. After
  /// an error for want of space, unless it came when synchronising, the file is cut back to the
  /// last commit and finished all the same, ending with its last sample; the status is then still
  /// that first error. Without any sample the file becomes a well-formed movie of length 0.
  virtual Status finish(std::optional<std::int64_t> sessionEndMs) = 0;
};

}  // namespace vx::mp4
