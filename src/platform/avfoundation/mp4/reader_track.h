// The samples of one track as they are found in a file, gathered into the index that the finished
// file's tables are made from.
#pragma once

#include "platform/avfoundation/mp4/reader_movie.h"
#include "platform/avfoundation/mp4/sample_index.h"

#include <cstdint>

namespace vx::mp4 {

/// One track's samples in file order.
class FoundSamples {
 public:
  /// Whether samples may follow from `time` on: not before what is there, and not so far behind it
  /// that a stored duration could not tell.
  bool canContinueAt(std::uint64_t time) const;

  /// Samples from `offset` and `time` (the track's own) on, which `canContinueAt` has allowed, one
  /// behind the other until `endRun`.
  void beginRun(std::uint64_t time, std::uint64_t offset);
  void add(std::uint32_t sizeBytes, std::uint32_t duration, bool isKeyFrame);
  void endRun();

  /// Samples are missing here: pictures are left out until one that needs no other.
  void skipToKeyFrame() { _awaitsKeyFrame = true; }

  const SampleIndex& index() const { return _index; }
  /// Of the first sample, on the track's own timeline.
  std::uint64_t startTime() const { return _startTime; }
  std::uint32_t lastDuration() const { return _lastDuration; }
  /// Samples that were left out.
  std::uint64_t leftOutCount() const { return _leftOutCount; }
  /// The longest duration in the track's timescale.
  std::uint32_t longestDuration() const;
  std::uint64_t mediaDuration() const;

 private:
  SampleIndex _index;
  std::uint64_t _startTime = 0;
  std::uint64_t _lastTime = 0;
  std::uint32_t _lastDuration = 0;
  std::uint32_t _longestDelta = 0;
  std::uint64_t _leftOutCount = 0;
  bool _awaitsKeyFrame = false;

  std::uint64_t _time = 0;  // of the next sample of the run
  std::uint64_t _offset = 0;
  std::uint64_t _runOffset = 0;
  std::uint32_t _runCount = 0;
};

/// Reads the tables of a finished track, whose samples must lie within `media`; false when they
/// contradict each other. Ask the input's status as well.
bool readTables(ReaderInput& input, const TableBoxes& boxes, const FoundBox& media,
                FoundSamples& samples);

}  // namespace vx::mp4
