#include "platform/avfoundation/mp4/reader_track.h"

#include <algorithm>
#include <limits>

namespace vx::mp4 {

namespace {

constexpr std::uint64_t kMaxDelta = std::numeric_limits<std::uint32_t>::max();

}  // namespace

bool FoundSamples::canContinueAt(std::uint64_t time) const {
  return _index.sampleCount() == 0 || (time >= _lastTime && time - _lastTime <= kMaxDelta);
}

void FoundSamples::beginRun(std::uint64_t time, std::uint64_t offset) {
  _time = time;
  _offset = offset;
  _runOffset = offset;
  _runCount = 0;
}

void FoundSamples::add(std::uint32_t sizeBytes, std::uint32_t duration, bool isKeyFrame) {
  const std::uint64_t time = _time;
  _time += duration;
  _offset += sizeBytes;
  if (_awaitsKeyFrame && !isKeyFrame) {
    ++_leftOutCount;
    _runOffset = _offset;
    return;
  }
  _awaitsKeyFrame = false;
  const bool isFirst = _index.sampleCount() == 0;
  if (isFirst) _startTime = _lastTime = time;
  const auto delta = static_cast<std::uint32_t>(std::min(time - _lastTime, kMaxDelta));
  _index.appendSample({sizeBytes, delta, isKeyFrame});
  _longestDelta = std::max(_longestDelta, delta);
  _lastTime += delta;
  _lastDuration = duration;
  ++_runCount;
}

void FoundSamples::endRun() {
  if (_runCount > 0) _index.appendChunk({_runOffset, _runCount});
  _runCount = 0;
}

std::uint32_t FoundSamples::longestDuration() const {
  return _index.sampleCount() == 0 ? 0 : std::max(_longestDelta, _lastDuration);
}

std::uint64_t FoundSamples::mediaDuration() const {
  return static_cast<std::uint64_t>(_index.span()) + _lastDuration;
}

}  // namespace vx::mp4
