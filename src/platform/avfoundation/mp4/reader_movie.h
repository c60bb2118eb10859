// The `moov` box read back, in both its forms: what its tracks are, and where their tables stand.
#pragma once

#include "platform/avfoundation/mp4/boxes.h"
#include "platform/avfoundation/mp4/reader_boxes.h"
#include "platform/avfoundation/mp4/recording_file.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace vx::mp4 {

/// No recording lasts longer, in its tracks' own units; nothing that claims to is believed, and
/// sums stay far below 64 bits. What a finish makes of such times is a little longer.
inline constexpr std::uint64_t kMaxRecordedTime = std::uint64_t{1} << 44;
inline constexpr std::uint64_t kMaxFinishedTime = std::uint64_t{1} << 46;

/// Where the tables of a track's samples stand.
struct TableBoxes {
  FoundBox stts, stsc, stsz, co64;
  std::optional<FoundBox> stss;  // none: every sample is a key frame
};

struct StoredTrack {
  /// Time before its first sample, in the movie's timescale.
  std::uint64_t emptyDuration = 0;
  /// How long it is played, in the movie's timescale; 0 while it grows.
  std::uint64_t movieDuration = 0;
  TableBoxes tables;
};

struct StoredVideoTrack : StoredTrack {
  VideoTrackDescription description;
  Matrix matrix{};  // as stored
};

/// `trimAtStart` is what is not heard at the start, whatever the reason.
struct StoredAudioTrack : StoredTrack {
  AudioTrackDescription description;
};

struct StoredMovie {
  std::uint64_t creationTime = 0;
  bool isFragmented = false;
  StoredVideoTrack video;
  /// Also a track that was described and not published yet.
  std::optional<StoredAudioTrack> audio;
};

/// False when `moov` is not one that a recording has. Ask the input's status as well.
bool readStoredMovie(ReaderInput& input, const FoundBox& moov, StoredMovie& movie);

}  // namespace vx::mp4
