// What the parts of the movie checker share.
#pragma once

#include "support/movie_checker.h"

#include <cstddef>
#include <string>
#include <vector>

namespace vx::test::checker {

/// Collects what is wrong, up to a number that a person may still want to read.
class Findings {
 public:
  explicit Findings(std::vector<std::string>& texts) : _texts(texts) {}
  void add(std::string text);
  /// Adds the text unless `isRight`; returns `isRight`.
  bool require(bool isRight, const std::string& text);

 private:
  std::vector<std::string>& _texts;
};

/// A stretch of the file, `end` not included.
struct Extent {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};

/// What `trex` says of a track's fragments. 8.8.3
struct FragmentDefaults {
  bool isThere = false;
  std::uint32_t description = 0, duration = 0, sizeBytes = 0, flags = 0;
};

/// A track while it is being read.
struct TrackState {
  CheckedTrack track;
  std::size_t descriptionCount = 0;
  FragmentDefaults defaults;
  std::int64_t end = 0;  // of the samples so far, on the track's timeline
};

struct FileState {
  ByteView file;
  std::vector<Extent> media;  // the payloads of whole `mdat` boxes, in file order
  std::vector<TrackState> tracks;
};

/// The only child of this type; null, with a finding, when there is none or more than one.
const BoxNode* onlyChild(const BoxNode& parent, const char* type, Findings& findings);
/// The child of this type if there is one; more than one is a finding.
const BoxNode* optionalChild(const BoxNode& parent, const char* type, Findings& findings);

/// The version and flags in front of a full box's fields.
struct FullBoxFields {
  std::uint8_t version = 0;
  std::uint32_t flags = 0;
  FieldReader reader;
};
FullBoxFields openFullBox(const BoxNode& box);

/// A number of entries that fits exactly into what is left of a box; otherwise a finding and 0.
std::uint32_t readEntryCount(const BoxNode& box, FieldReader& reader, std::size_t entryBytes,
                             Findings& findings);

/// `stbl` of a track: the sample description and all samples of the tables.
void readSampleTables(const BoxNode& stbl, FileState& state, TrackState& track, Findings& findings);
/// `stsd` with its entries.
void readSampleDescription(const BoxNode& stsd, std::size_t dataReferences, TrackState& track,
                           Findings& findings);
/// `mvex` and every `moof`.
void readFragmentDefaults(const BoxNode& mvex, FileState& state, Findings& findings);
void readFragments(const BoxNode& root, FileState& state, CheckedMovie& movie, Findings& findings);
/// Where the samples of all tracks lie, and what the pictures are made of.
void checkSampleBytes(const FileState& state, Findings& findings);

}  // namespace vx::test::checker
