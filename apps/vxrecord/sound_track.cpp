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
    : _recorder(recorder), _options(options) {}

void SoundTrack::take(const SoundBlock& block) {
  const std::int64_t end = _options.durationMs ? soundSamplesAt(*_options.durationMs) : kForever;
  if (!_options.pause) {
    keep(block.part(block.start, end), false);
    return;
  }
  const PauseWish& pause = *_options.pause;
  const std::int64_t pauseStart = soundSamplesAt(pause.atMs);
  const std::int64_t pauseEnd = soundSamplesAt(pause.atMs + pause.forMs);
  keep(block.part(block.start, std::min(end, pauseStart)), false);
  keep(block.part(pauseEnd, end), true);
}

void SoundTrack::keep(SoundBlock block, bool isBehindPause) {
  if (block.length() > 0) {
    _pieces.push_back({std::move(block), isBehindPause});
  }
  codePieces();
}

void SoundTrack::pictureWasTaken(std::int64_t inputMs, std::int64_t leftOutMs) {
  const bool isBehindPause = _options.pause && inputMs >= _options.pause->atMs;
  std::optional<std::int64_t>& leftOut = isBehindPause ? _leftOutBehindPause : _leftOut;
  if (!leftOut) {
    leftOut = soundSamplesAt(leftOutMs);
  }
  codePieces();
}

void SoundTrack::codePieces() {
  while (!_pieces.empty()) {
    Piece& piece = _pieces.front();
    const auto& leftOut = piece.isBehindPause ? _leftOutBehindPause : _leftOut;
    if (leftOut) {
      piece.block.start -= *leftOut;
      _coder.add(piece.block);
    } else if (piece.isBehindPause || !_leftOutBehindPause) {
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
