// A recording read back from its bytes: what state it is in and what is in it.
#pragma once

#include "platform/avfoundation/mp4/reader_movie.h"
#include "platform/avfoundation/mp4/reader_track.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace vx::mp4 {

/// Bytes within the file that are not what was written.
struct DamagedPart {
  std::uint64_t offset = 0;
  std::uint64_t sizeBytes = 0;
};

struct FoundRecording {
  enum class Form {
    foreign,    // not a recording of this project
    beginning,  // broken off before its head was whole: there is nothing in it
    growing,    // fragments
    finished,   // a plain movie
    indexLost,  // finished once, but its index is gone or contradicts itself
    headLost,   // fragments, but nothing that says what is in them
  };
  Form form = Form::foreign;
  std::uint64_t sizeBytes = 0;
  StoredMovie movie;  // of the index when finished, else of the head
  FoundSamples video;
  FoundSamples audio;
  /// Of a file that is not finished: where the last whole fragment ends, and how many bytes behind
  /// that are no part of the recording.
  std::uint64_t committedEnd = 0;
  std::uint64_t tornBytes = 0;
  /// Whole fragments that nobody had published yet, and where the first of them begins.
  std::uint64_t unpublishedCount = 0;
  std::uint64_t unpublishedStart = 0;
  std::uint64_t fragmentCount = 0;
  /// Not finished: parts between whole fragments. Finished, read in full: chunks of samples whose
  /// bytes no longer match what was written.
  std::vector<DamagedPart> damagedParts;
  std::uint64_t damagedPartCount = 0;  // also those beyond what the list holds

  /// Whether the tracks are known.
  bool hasTracks() const {
    return form == Form::growing || form == Form::finished || form == Form::indexLost;
  }
  /// Whether a plain movie can be made of a file that is none. Not when all that is there would be
  /// thrown away, and there is more of it than one fragment that was being written.
  bool isRepairable() const;
  bool hasAudio() const { return movie.audio.has_value() && audio.index().sampleCount() > 0; }
};

/// When the first sample begins on the file's timeline, in its track's timescale. Sound may begin
/// before the file does.
std::int64_t startOfPictures(const FoundRecording& recording);
std::int64_t startOfSound(const FoundRecording& recording);
/// What of the sound's start is not heard, in its timescale.
std::uint32_t trimOfSound(const FoundRecording& recording);

enum class ReadDepth {
  index,     // a finished file by its index alone
  contents,  // the bytes of every sample as well
};

/// Reads a recording. A file that is not finished is always read in full.
/// Memory: the index, which is a fraction of the file, and some buffers of fixed size.
/// Errors: only those of the disk.
Status readRecording(ReaderInput& input, ReadDepth depth, FoundRecording& recording);

}  // namespace vx::mp4
