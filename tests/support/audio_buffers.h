// Sample buffers of coded audio, in short words.
#pragma once

#include "VXVideoRecorder/platform/CoreMedia.h"
#include "platform/cf_ref.h"

#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

namespace vx::test {

using AudioBytes = std::vector<std::uint8_t>;

inline AudioStreamBasicDescription aacStream(double sampleRate = 44100, std::uint32_t channels = 2,
                                             std::uint32_t flags = kMPEG4Object_AAC_LC) {
  AudioStreamBasicDescription stream;
  stream.mSampleRate = sampleRate;
  stream.mFormatID = kAudioFormatMPEG4AAC;
  stream.mFormatFlags = flags;
  stream.mFramesPerPacket = 1024;
  stream.mChannelsPerFrame = channels;
  return stream;
}

/// Builds one sample buffer. Without access units it has no data.
class AudioBufferBuilder {
 public:
  AudioBufferBuilder& stream(const AudioStreamBasicDescription& value) {
    _stream = value;
    return *this;
  }
  AudioBufferBuilder& cookie(AudioBytes value) {
    _cookie = std::move(value);
    return *this;
  }
  AudioBufferBuilder& at(CMTime time) {
    _time = time;
    return *this;
  }
  AudioBufferBuilder& unit(std::span<const std::uint8_t> bytes) {
    _data.insert(_data.end(), bytes.begin(), bytes.end());
    _sizes.push_back(bytes.size());
    return *this;
  }
  /// A unit with a time of its own; either all have one or none.
  AudioBufferBuilder& unitAt(CMTime time, std::span<const std::uint8_t> bytes) {
    _times.push_back(time);
    return unit(bytes);
  }
  /// The sizes of the units stay untold.
  AudioBufferBuilder& unsized() {
    _isSized = false;
    return *this;
  }
  AudioBufferBuilder& trim(CMTime duration) {
    _trim = duration;
    return *this;
  }

  CFRef<CMSampleBufferRef> build() const {
    CFRef<CMBlockBufferRef> block;
    if (!_data.empty()) {
      check(CMBlockBufferCreateWithBytes(nullptr, _data.data(), _data.size(), block.out()));
    }
    const CFRef<CMAudioFormatDescriptionRef> format = makeFormat();
    const std::vector<CMSampleTimingInfo> timings = makeTimings();
    const auto count = static_cast<CMItemCount>(_isSized ? _sizes.size() : 1);
    CFRef<CMSampleBufferRef> buffer;
    check(CMSampleBufferCreateReady(
        nullptr, block.get(), format.get(), count, static_cast<CMItemCount>(timings.size()),
        timings.data(), _isSized ? count : 0, _isSized ? _sizes.data() : nullptr, buffer.out()));
    if (CMTIME_IS_VALID(_trim)) {
      CMSetAttachment(buffer.get(), kCMSampleBufferAttachmentKey_TrimDurationAtStart,
                      CMTimeCopyAsDictionary(_trim, nullptr), kCMAttachmentMode_ShouldPropagate);
    }
    return buffer;
  }

 private:
  static void check(OSStatus status) {
    if (status != noErr) {
      throw std::runtime_error("The buffer cannot be made: " + std::to_string(status));
    }
  }

  CFRef<CMAudioFormatDescriptionRef> makeFormat() const {
    CFRef<CMAudioFormatDescriptionRef> format;
    check(CMAudioFormatDescriptionCreate(nullptr, &_stream, 0, nullptr, _cookie.size(),
                                         _cookie.empty() ? nullptr : _cookie.data(), nullptr,
                                         format.out()));
    return format;
  }

  std::vector<CMSampleTimingInfo> makeTimings() const {
    const CMTime duration =
        CMTimeMake(_stream.mFramesPerPacket, static_cast<CMTimeScale>(_stream.mSampleRate));
    if (_times.empty()) {
      return {{duration, _time, kCMTimeInvalid}};
    }
    std::vector<CMSampleTimingInfo> timings;
    for (const CMTime& time : _times) {
      timings.push_back({duration, time, kCMTimeInvalid});
    }
    return timings;
  }

  AudioStreamBasicDescription _stream = aacStream();
  AudioBytes _cookie;
  CMTime _time = kCMTimeZero;
  CMTime _trim = kCMTimeInvalid;
  AudioBytes _data;
  std::vector<std::size_t> _sizes;
  std::vector<CMTime> _times;
  bool _isSized = true;
};

/// An ADTS frame around an access unit: low complexity, `rateIndex` of table 1.18.
inline AudioBytes adts(std::span<const std::uint8_t> unit, std::uint32_t rateIndex = 4,
                       std::uint32_t channels = 2, bool hasChecksum = false) {
  const std::size_t header = hasChecksum ? 9 : 7;
  const std::size_t length = unit.size() + header;
  const auto byte = [](std::size_t value) { return static_cast<std::uint8_t>(value & 0xFF); };
  AudioBytes frame{0xFF,
                   byte(hasChecksum ? 0xF0 : 0xF1),
                   byte(1 << 6 | rateIndex << 2 | channels >> 2),
                   byte((channels & 3) << 6 | length >> 11),
                   byte(length >> 3),
                   byte((length & 7) << 5 | 0x1F),
                   0xFC};
  frame.resize(header, 0);
  frame.insert(frame.end(), unit.begin(), unit.end());
  return frame;
}

}  // namespace vx::test
