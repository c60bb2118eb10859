#include "sound_track.h"

#include <chrono>
#include <limits>
#include <new>
#include <utility>

namespace vxrecord {
namespace {

constexpr std::chrono::milliseconds kRoomWait{100};
constexpr std::int64_t kForever = std::numeric_limits<std::int64_t>::max();

/// Gives a reference of the platform's objects back.
template <typename Ref>
class Holder {
 public:
  Holder() = default;
  ~Holder() {
    if (_object) {
      vx::CFRelease(_object);
    }
  }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;
  Ref* out() { return &_object; }
  Ref get() const { return _object; }

 private:
  Ref _object = nullptr;
};

void require(vx::OSStatus status) {
  if (status != vx::noErr) {
    throw std::bad_alloc();
  }
}

vx::AudioStreamBasicDescription streamDescription() {
  constexpr std::uint32_t kFramesPerUnit = 1024;
  vx::AudioStreamBasicDescription stream;
  stream.mSampleRate = kSoundRate;
  stream.mFormatID = vx::kAudioFormatMPEG4AAC;
  stream.mFormatFlags = vx::kMPEG4Object_AAC_LC;
  stream.mFramesPerPacket = kFramesPerUnit;
  stream.mChannelsPerFrame = kSoundChannels;
  return stream;
}

}  // namespace

SoundTrack::SoundTrack(VXVideoRecorder& recorder, const Options& options)
    : _recorder(recorder), _options(options) {
  if (const auto& pause = options.pause) {
    _pauses.push_back(
        {soundSamplesAt(pause->atMs), soundSamplesAt(pause->atMs + pause->forMs), false});
  }
}

void SoundTrack::take(const SoundBlock& block) {
  const std::int64_t end = _options.durationMs ? soundSamplesAt(*_options.durationMs) : kForever;
  SoundBlock piece = block.part(block.start, end);
  if (piece.length() > 0) {
    _pieces.push_back(std::move(piece));
  }
  codePieces();
}

void SoundTrack::pictureWasLeftOut(std::int64_t inputMs) {
  const std::int64_t time = soundSamplesAt(inputMs);
  if (_pauses.empty() || time < _pauses.front().from) {
    _pauses.push_front({time, time, true});
  }
  Pause& pause = _pauses.front();
  if (time >= pause.until) {
    pause.until = time;
    pause.endsWithAPicture = true;
  }
  leaveOut(pause);  // a pause may be long, its sound is not kept
}

void SoundTrack::pictureWasTaken(std::int64_t inputMs, std::int64_t leftOutMs) {
  const std::int64_t time = soundSamplesAt(inputMs);
  while (!_pauses.empty() && _pauses.front().from <= time) {
    Pause& pause = _pauses.front();
    pause.until = pause.endsWithAPicture ? time : pause.until;
    leaveOut(pause);
    _pauses.pop_front();
  }
  _leftOut = soundSamplesAt(leftOutMs);
  codePieces();
}

/// Codes what lies before the next pause.
void SoundTrack::codePieces() {
  const std::int64_t until = _pauses.empty() ? kForever : _pauses.front().from;
  while (_leftOut && !_pieces.empty() && _pieces.front().start < until) {
    SoundBlock piece = _pieces.front().part(_pieces.front().start, until);
    _pieces.front() = _pieces.front().part(until, kForever);
    if (_pieces.front().length() == 0) {
      _pieces.pop_front();
    }
    piece.start -= *_leftOut;
    _coder.add(piece);
  }
}

void SoundTrack::leaveOut(const Pause& pause) {
  codePieces();
  while (!_pieces.empty() && _pieces.front().start < pause.until) {
    _pieces.front() = _pieces.front().part(pause.until, kForever);
    if (_pieces.front().length() > 0) {
      return;
    }
    _pieces.pop_front();
  }
}

void SoundTrack::handOver(bool waitsForRoom) {
  // The recorder takes no sound before it has written its first picture.
  while (!_coder.units().empty() && vx::CMTIME_IS_VALID(_recorder.firstVideoFrameTime()) &&
         handOverNext(waitsForRoom)) {
  }
}

bool SoundTrack::handOverNext(bool waitsForRoom) {
  const auto& input = _recorder.audioWriterInput();
  if (!input || !(waitsForRoom ? input->waitUntilReadyForMoreMediaData(kRoomWait)
                               : input->isReadyForMoreMediaData())) {
    return false;
  }
  append(_coder.units().front());
  _coder.units().pop_front();
  return true;
}

void SoundTrack::finish() {
  _coder.finish();
  handOver(true);
}

void SoundTrack::append(const SoundUnit& unit) {
  const vx::AudioStreamBasicDescription stream = streamDescription();
  Holder<vx::CMAudioFormatDescriptionRef> format;
  require(vx::CMAudioFormatDescriptionCreate(vx::kCFAllocatorDefault, &stream, 0, nullptr,
                                             _coder.config().size(), _coder.config().data(),
                                             nullptr, format.out()));
  Holder<vx::CMBlockBufferRef> block;
  require(vx::CMBlockBufferCreateWithBytes(vx::kCFAllocatorDefault, unit.bytes.data(),
                                           unit.bytes.size(), block.out()));
  const vx::CMSampleTimingInfo timing{vx::CMTimeMake(stream.mFramesPerPacket, kSoundRate),
                                      vx::CMTimeMake(unit.time, kSoundRate), vx::kCMTimeInvalid};
  const std::size_t size = unit.bytes.size();
  Holder<vx::CMSampleBufferRef> buffer;
  require(vx::CMSampleBufferCreateReady(vx::kCFAllocatorDefault, block.get(), format.get(), 1, 1,
                                        &timing, 1, &size, buffer.out()));
  if (!std::exchange(_hasFirstUnit, true)) {
    // Only the coder's own delay is not to be heard.
    vx::CMSetAttachment(buffer.get(), vx::kCMSampleBufferAttachmentKey_TrimDurationAtStart,
                        vx::CMTimeCopyAsDictionary(vx::CMTimeMake(_coder.delay(), kSoundRate),
                                                   vx::kCFAllocatorDefault),
                        vx::kCMAttachmentMode_ShouldPropagate);
  }
  _recorder.appendAudioSample(buffer.get());
}

}  // namespace vxrecord
