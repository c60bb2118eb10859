// Whether an MP4 file is put together as ISO/IEC 14496-12, -14 and -15 demand, written from the
// standards and with no code of the writer. No length in the file is trusted.
#pragma once

#include "support/box_reader.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vx::test {

/// One sample. Times are in the track's timescale, from the start of the track's own timeline.
struct CheckedSample {
  std::int64_t time = 0;
  /// In a fragmented file the time to the next sample, where the next fragment tells one.
  std::int64_t duration = 0;
  std::int64_t compositionOffset = 0;
  std::uint64_t offset = 0;  // in the file
  std::uint64_t sizeBytes = 0;
  bool isSync = true;
};

struct CheckedTrack {
  std::uint32_t id = 0;
  std::string handler;  // "vide", "soun"
  std::string codec;    // "avc1", "mp4a"
  std::uint32_t timescale = 0;
  std::uint64_t mediaDuration = 0;  // of `mdhd`, in the track's timescale
  std::uint64_t movieDuration = 0;  // of `tkhd`, in the movie's timescale
  std::vector<EditBox> edits;
  int nalLengthBytes = 0;  // video
  std::vector<CheckedSample> samples;

  /// How far the edit list moves the first sample on the movie's timeline, in the movie's
  /// timescale.
  std::uint64_t startDelay() const;
};

/// `none`: there is no movie in the file.
enum class MovieForm : std::uint8_t { none, fragmented, plain };

struct CheckedMovie {
  MovieForm form = MovieForm::none;
  std::uint32_t timescale = 0;
  std::uint64_t duration = 0;  // of `mvhd`, in the movie's timescale
  std::vector<CheckedTrack> tracks;
  std::size_t fragmentCount = 0;
  /// Where the last whole box ends; less than the file's length when its end is torn.
  std::uint64_t wholeBytes = 0;
  /// All that is wrong, one sentence each; empty for a sound file.
  std::vector<std::string> findings;

  /// The first track of this kind; null when there is none.
  const CheckedTrack* track(std::string_view handler) const;
  const CheckedTrack* video() const { return track("vide"); }
  const CheckedTrack* audio() const { return track("soun"); }
};

/// `mayBeTorn`: behind the last whole box a file that was never finished may end in what readers
/// pass over: a box that is cut off and to which no sample belongs, or zeros.
enum class FileEnd : std::uint8_t { isWhole, mayBeTorn };

CheckedMovie checkMovie(ByteView file, FileEnd end = FileEnd::isWhole);
/// The same, of any size: the file is mapped and not read. A file that cannot be opened is a
/// finding.
CheckedMovie checkMovieFile(const std::string& path, FileEnd end = FileEnd::isWhole);

/// A sample's bytes; empty when they are not in the file.
ByteView sampleBytes(ByteView file, const CheckedSample& sample);

}  // namespace vx::test
