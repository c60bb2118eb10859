// Fragments found in a file: proven by their checksums before anything in them is believed.
#pragma once

#include "platform/avfoundation/mp4/reader_boxes.h"
#include "platform/avfoundation/mp4/reader_track.h"

#include <cstdint>
#include <optional>

namespace vx::mp4 {

/// moof | mdat | free, whose moof is proven.
struct FoundFragment {
  FoundBox moof;
  FoundBox mdat;
  std::uint64_t end = 0;
  bool isPublished = false;  // false: written whole, its moof still under the type `free`
  std::uint32_t mdatChecksum = 0;
};

/// Looks for fragments in front of `limit`. What that costs stays in proportion to the bytes that
/// there are, also where bytes were made to look like fragments: then it finds no more.
class FragmentFinder {
 public:
  FragmentFinder(ReaderInput& input, std::uint64_t limit)
      : _input(input), _limit(limit), _workLeft(limit * kMaxWorkPerByte) {}

  /// The fragment at `offset`, or the first published one behind it at a multiple of 8.
  std::optional<FoundFragment> findFrom(std::uint64_t offset);

 private:
  static constexpr std::uint64_t kMaxWorkPerByte = 4;

  std::optional<FoundFragment> findAt(std::uint64_t offset);
  std::optional<FoundFragment> findBehind(std::uint64_t offset);

  ReaderInput& _input;
  std::uint64_t _limit;
  std::uint64_t _workLeft;
};

/// Whether the samples' bytes are what was written.
bool isPayloadSound(ReaderInput& input, const FoundFragment& fragment);

/// Adds the fragment's samples to the tracks, all or none; false when what it says cannot be. A
/// track that is null is passed over.
bool addSamples(ReaderInput& input, const FoundFragment& fragment, FoundSamples& video,
                FoundSamples* audio);

}  // namespace vx::mp4
