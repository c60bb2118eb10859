// One track while it is recorded: what waits for the next commit, and the index of what is in the
// file.
#pragma once

#include "platform/avfoundation/mp4/fragment.h"
#include "platform/avfoundation/mp4/recording_file.h"
#include "platform/avfoundation/mp4/sample_index.h"

#include <cstdint>
#include <optional>

namespace vx::mp4 {

/// The last sample of a track.
struct LastSample {
  std::int64_t time = 0;  // where it stands
  std::int64_t nominalTime = 0;
  std::uint32_t ownDuration = 0;
};

class TrackRecorder {
 public:
  explicit TrackRecorder(std::uint32_t trackId) { _pending.trackId = trackId; }

  /// Takes a sample that stands at `time`, not before the last one. The predecessor's stored
  /// duration becomes the time to it.
  void append(const CodedSample& sample, std::int64_t time);
  /// The samples that wait, timed from `origin`, with room in the index for them.
  const PendingTrack& pending(std::int64_t origin);
  /// What waited lies in the file from `offset` on. Needs no memory: what is published can always
  /// be indexed.
  void markCommitted(std::uint64_t offset);
  void dropPending();

  const SampleIndex& index() const { return _index; }
  /// Of the samples taken, and of those in the file.
  const std::optional<LastSample>& last() const { return _last; }
  const std::optional<LastSample>& lastCommitted() const { return _lastCommitted; }
  /// Of the first sample; 0 without any.
  std::int64_t startTime() const { return _startTime.value_or(0); }
  bool hasPending() const { return !_pending.empty(); }
  std::size_t pendingBytes() const { return _pending.bytes.size(); }

 private:
  PendingTrack _pending;
  SampleIndex _index;
  std::optional<std::int64_t> _startTime;
  std::int64_t _pendingTime = 0;  // of the first that waits
  std::optional<LastSample> _last;
  std::optional<LastSample> _lastCommitted;
};

}  // namespace vx::mp4
