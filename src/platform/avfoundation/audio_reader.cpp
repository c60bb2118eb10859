#include "platform/avfoundation/audio_reader.h"

#include "platform/avfoundation/aac.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vx {
namespace {

using Bytes = std::span<const std::uint8_t>;

// A config longer than this is none that an audio player reads, and the file's head has no room.
constexpr std::size_t kLongestConfig = 256;
constexpr double kHighestRate = 0xFFFFFF;  // what an AudioSpecificConfig can tell

Bytes dataOf(CMSampleBufferRef buffer) {
  const CMBlockBufferRef block = CMSampleBufferGetDataBuffer(buffer);
  if (!block || !CMSampleBufferDataIsReady(buffer)) {
    return {};
  }
  return {CMBlockBufferGetBytes(block), CMBlockBufferGetDataLength(block)};
}

struct TimedBytes {
  Bytes bytes;
  CMTime time;
};

/// The parts of the buffer that have a time of their own; empty when sizes and data do not agree.
std::vector<TimedBytes> timedParts(CMSampleBufferRef buffer, Bytes data) {
  const CMItemCount count = CMSampleBufferGetNumSamples(buffer);
  if (count == 0 || CMSampleBufferGetSampleSize(buffer, 0) == 0) {
    return {{data, CMSampleBufferGetPresentationTimeStamp(buffer)}};
  }
  std::vector<TimedBytes> parts;
  for (CMItemCount i = 0; i < count; ++i) {
    const std::size_t size = CMSampleBufferGetSampleSize(buffer, i);
    CMSampleTimingInfo timing;
    if (size == 0 || size > data.size() ||
        CMSampleBufferGetSampleTimingInfo(buffer, i, &timing) != noErr) {
      return {};
    }
    parts.push_back({data.first(size), timing.presentationTimeStamp});
    data = data.subspan(size);
  }
  return parts;
}

std::vector<Bytes> accessUnits(Bytes part) {
  std::vector<Bytes> units = aac::accessUnitsInAdts(part);
  return units.empty() ? std::vector<Bytes>{part} : units;
}

std::uint32_t trimOf(CMSampleBufferRef buffer, std::uint32_t sampleRate) {
  const Object* attachment =
      CMGetAttachment(buffer, kCMSampleBufferAttachmentKey_TrimDurationAtStart, nullptr);
  if (!attachment || !attachment->dictionary()) {
    return 0;
  }
  const CMTime trim = CMTimeMakeFromDictionary(*attachment->dictionary());
  if (!CMTIME_IS_NUMERIC(trim)) {
    return 0;
  }
  const CMTime inFrames = CMTimeConvertScale(trim, static_cast<CMTimeScale>(sampleRate));
  return static_cast<std::uint32_t>(
      std::clamp<std::int64_t>(inFrames.value, 0, std::numeric_limits<std::uint32_t>::max()));
}

}  // namespace

std::size_t CodedAudio::bytes() const {
  std::size_t sum = 0;
  for (const CodedAudioUnit& unit : units) {
    sum += unit.bytes.size();
  }
  return sum;
}

std::optional<AudioReader::Format> AudioReader::formatOf(CMSampleBufferRef buffer, Bytes data) {
  const CMFormatDescriptionRef description = CMSampleBufferGetFormatDescription(buffer);
  const AudioStreamBasicDescription* given =
      CMAudioFormatDescriptionGetStreamBasicDescription(description);
  if (!given || given->mFormatID != kAudioFormatMPEG4AAC) {
    return std::nullopt;
  }
  AudioStreamBasicDescription stream = *given;
  std::size_t cookieSize = 0;
  const void* cookie = CMAudioFormatDescriptionGetMagicCookie(description, &cookieSize);
  const Bytes givenConfig =
      aac::configInCookie({static_cast<const std::uint8_t*>(cookie), cookieSize});
  Format format;
  format.config.assign(givenConfig.begin(), givenConfig.end());
  if (format.config.empty()) {
    aac::completeFromAdts(data, stream);
    format.config = aac::makeAudioSpecificConfig(stream).value_or(std::vector<std::uint8_t>{});
  }
  const auto parsed = aac::parseAudioSpecificConfig(format.config);
  if (!parsed || format.config.size() > kLongestConfig) {
    return std::nullopt;
  }
  const double rate = stream.mSampleRate >= 1 ? std::round(stream.mSampleRate) : parsed->sampleRate;
  format.channels = parsed->channels != 0 ? parsed->channels
                                          : static_cast<std::uint16_t>(stream.mChannelsPerFrame);
  if (!(rate <= kHighestRate) || format.channels == 0) {
    return std::nullopt;
  }
  format.sampleRate = static_cast<std::uint32_t>(rate);
  format.framesPerPacket = stream.mFramesPerPacket != 0
                               ? stream.mFramesPerPacket
                               : static_cast<std::uint32_t>(std::uint64_t{parsed->framesPerPacket} *
                                                            format.sampleRate / parsed->sampleRate);
  return format;
}

bool AudioReader::isOfTheTrack(const Format& format) const {
  return !_format ||
         (_format->sampleRate == format.sampleRate && _format->channels == format.channels);
}

bool AudioReader::read(CMSampleBufferRef buffer, CMTime sessionStart, CodedAudio& out) {
  const Bytes data = dataOf(buffer);
  const std::optional<Format> format = formatOf(buffer, data);
  if (data.empty() || !format || !isOfTheTrack(*format)) {
    return false;
  }
  const auto scale = static_cast<CMTimeScale>(format->sampleRate);
  const std::int64_t start = CMTimeConvertScale(sessionStart, scale).value;
  CodedAudio coded;
  for (const TimedBytes& part : timedParts(buffer, data)) {
    if (!CMTIME_IS_NUMERIC(part.time)) {
      return false;
    }
    std::int64_t time = CMTimeConvertScale(part.time, scale).value - start;
    for (const Bytes unit : accessUnits(part.bytes)) {
      coded.units.push_back({{unit.begin(), unit.end()}, time, format->framesPerPacket});
      time += format->framesPerPacket;
    }
  }
  if (coded.units.empty()) {
    return false;
  }
  if (!_format) {
    coded.track = mp4::AudioTrackDescription{format->sampleRate, format->channels, format->config,
                                             trimOf(buffer, format->sampleRate)};
    _format = format;
  }
  out = std::move(coded);
  return true;
}

}  // namespace vx
