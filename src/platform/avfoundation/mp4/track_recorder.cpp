#include "platform/avfoundation/mp4/track_recorder.h"

#include "platform/avfoundation/mp4/track_timeline.h"

namespace vx::mp4 {

void TrackRecorder::append(const CodedSample& sample, std::int64_t time) {
  _pending.bytes.insert(_pending.bytes.end(), sample.bytes.begin(), sample.bytes.end());
  if (_pending.empty())
    _pendingTime = time;
  else
    _pending.samples.back().duration = static_cast<std::uint32_t>(time - _last->time);
  _pending.samples.push_back({provisionalDuration(sample.duration),
                              static_cast<std::uint32_t>(sample.bytes.size()), sample.isKeyFrame});
  if (!_startTime) _startTime = time;
  _last = LastSample{time, sample.time, sample.duration};
}

const PendingTrack& TrackRecorder::pending(std::int64_t origin) {
  _index.reserve(_pending.samples.size());
  _pending.firstTime = _pendingTime - origin;
  return _pending;
}

void TrackRecorder::markCommitted(std::uint64_t offset) {
  if (_pending.empty()) return;
  std::int64_t delta = _lastCommitted ? _pendingTime - _lastCommitted->time : 0;
  for (const RunSample& sample : _pending.samples) {
    _index.appendSample({sample.sizeBytes, static_cast<std::uint32_t>(delta), sample.isKeyFrame});
    delta = sample.duration;
  }
  _index.appendChunk({offset, static_cast<std::uint32_t>(_pending.samples.size())});
  _pending.clear();
  _lastCommitted = _last;
}

void TrackRecorder::dropPending() {
  _pending.clear();
  _last = _lastCommitted;
  if (!_last) _startTime.reset();
}

}  // namespace vx::mp4
