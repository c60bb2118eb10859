// The `moov` box in its two forms: the head of a growing file, and the index of a finished one.
#pragma once

#include "platform/avfoundation/mp4/boxes.h"
#include "platform/avfoundation/mp4/fragment.h"
#include "platform/avfoundation/mp4/recording_file.h"
#include "platform/avfoundation/mp4/sample_index.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace vx::mp4 {

// ---- the head ------------------------------------------------------------------------------

/// Where the placeholder stands that the finish turns into the header of a 64-bit `mdat`.
inline constexpr std::uint64_t kPlaceholderOffset = 32;
inline constexpr std::size_t kPlaceholderBytes = 16;
/// Room for an audio `trak` in the head: more than twice what one needs.
inline constexpr std::size_t kReservedTrakBytes = 1024;

struct MovieHead {
  std::vector<std::uint8_t> bytes;  // a multiple of 8
  // Where the boxes stand that wait for an audio track; 0 when none was asked for.
  std::uint64_t reservedTrakOffset = 0;
  std::uint64_t reservedTrexOffset = 0;
};

/// `ftyp`, the placeholder, and a `moov` without samples.
Status buildMovieHead(const VideoTrackDescription& video, bool reserveAudio,
                      std::uint64_t creationTime, MovieHead& head);

/// The audio boxes that take the reserved places, each exactly as long as its place. The audio's
/// own timeline starts with its first sample, which is `startTime` (in its timescale) after the
/// session's start.
struct ReservedAudioBoxes {
  std::vector<std::uint8_t> trak;
  std::vector<std::uint8_t> trex;
};
Status buildReservedAudioBoxes(const AudioTrackDescription& audio, std::int64_t startTime,
                               std::uint64_t creationTime, ReservedAudioBoxes& boxes);

// ---- the finished movie --------------------------------------------------------------------

struct FinishedTrack {
  const SampleIndex* index = nullptr;
  std::int64_t startTime = 0;  // of the first sample, in the track's timescale
  std::uint32_t lastDuration = 0;
};

struct FinishedMovie {
  std::uint64_t creationTime = 0;
  std::uint64_t modificationTime = 0;
  const VideoTrackDescription* video = nullptr;
  const Matrix* videoMatrix = nullptr;  // as stored; null: from the description's transform
  FinishedTrack videoTrack;
  const AudioTrackDescription* audio = nullptr;  // null without audio
  FinishedTrack audioTrack;
  /// Audio that lasts longer than this and than the video is not played on.
  std::optional<std::int64_t> sessionEndMs;
};

void write_moov(ByteStream& stream, const FinishedMovie& movie);

/// The time of day as the headers hold it.
std::uint64_t secondsSince1904();

/// No fewer bytes than the `moov` of these tracks, the box around it included, will take.
std::uint64_t movieBytesAtMost(const SampleIndex& video, const SampleIndex& audio);
/// No fewer bytes than these samples will add to it.
std::uint64_t pendingMovieBytesAtMost(const PendingTrack& track);

}  // namespace vx::mp4
