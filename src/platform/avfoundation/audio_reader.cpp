#include "platform/avfoundation/audio_reader.h"

#include "platform/avfoundation/aac.h"
#include "platform/avfoundation/session_time.h"
#include "platform/coremedia/sample_buffer.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vx {
namespace {

using Bytes = std::span<const std::uint8_t>;

// A config longer than this is none that an audio player reads, and the file's head has no room.
constexpr std::size_t kLongestConfig = 256;
// AAC takes at most 6144 bits a channel (ISO/IEC 14496-3, 4.5.3), and 48 channels at most: what is
// longer than this is no access unit.
constexpr std::size_t kLongestAccessUnit = 65536;

Bytes dataOf(CMSampleBufferRef buffer) {
  const CMBlockBufferRef block = CMSampleBufferGetDataBuffer(buffer);
  if (!block || !CMSampleBufferDataIsReady(buffer)) {
    return {};
  }
  return {CMBlockBufferGetBytes(block), CMBlockBufferGetDataLength(block)};
}

// ---- the format ----------------------------------------------------------------------------

struct Format {
  std::uint32_t sampleRate = 0;  // Hz
  std::uint16_t channels = 0;
  std::uint32_t framesPerPacket = 0;
  std::vector<std::uint8_t> config;
};

Bytes givenConfig(CMFormatDescriptionRef description) {
  std::size_t size = 0;
  const void* cookie = CMAudioFormatDescriptionGetMagicCookie(description, &size);
  return aac::configInCookie({static_cast<const std::uint8_t*>(cookie), size});
}

/// The coding tells how long an access unit is; the description only where the coding does not.
std::uint32_t framesPerPacket(const aac::AudioSpecificConfig& config, std::uint32_t sampleRate,
                              const AudioStreamBasicDescription& stream) {
  constexpr std::uint32_t kUsual = 1024;
  if (config.framesPerPacket == 0) {
    return stream.mFramesPerPacket != 0 ? stream.mFramesPerPacket : kUsual;
  }
  // The description may tell the rate behind spectral band replication that the config leaves out.
  return static_cast<std::uint32_t>(std::uint64_t{config.framesPerPacket} * sampleRate /
                                    config.sampleRate);
}

std::optional<Format> formatOf(CMSampleBufferRef buffer, Bytes data) {
  const CMFormatDescriptionRef description = CMSampleBufferGetFormatDescription(buffer);
  const AudioStreamBasicDescription* given =
      CMAudioFormatDescriptionGetStreamBasicDescription(description);
  if (!given || given->mFormatID != kAudioFormatMPEG4AAC) {
    return std::nullopt;
  }
  AudioStreamBasicDescription stream = *given;
  const Bytes config = givenConfig(description);
  Format format;
  format.config.assign(config.begin(), config.end());
  if (format.config.empty()) {
    aac::completeFromAdts(data, stream);
    format.config = aac::makeAudioSpecificConfig(stream).value_or(std::vector<std::uint8_t>{});
  }
  const auto parsed = aac::parseAudioSpecificConfig(format.config);
  if (!parsed || format.config.size() > kLongestConfig) {
    return std::nullopt;
  }
  const double rate = stream.mSampleRate >= 1 ? std::round(stream.mSampleRate) : parsed->sampleRate;
  const std::uint32_t channels =
      parsed->channels != 0 ? parsed->channels : stream.mChannelsPerFrame;
  if (!(rate >= mp4::kMinSampleRate && rate <= mp4::kMaxSampleRate) || channels == 0 ||
      channels > std::numeric_limits<std::uint16_t>::max()) {
    return std::nullopt;
  }
  format.sampleRate = static_cast<std::uint32_t>(rate);
  format.channels = static_cast<std::uint16_t>(channels);
  format.framesPerPacket = framesPerPacket(*parsed, format.sampleRate, stream);
  return format;
}

std::uint32_t trimOf(CMSampleBufferRef buffer, std::uint32_t sampleRate) {
  const Object* attachment =
      CMGetAttachment(buffer, kCMSampleBufferAttachmentKey_TrimDurationAtStart, nullptr);
  if (!attachment || !attachment->dictionary()) {
    return 0;
  }
  const CMTime trim = CMTimeMakeFromDictionary(*attachment->dictionary());
  const std::int64_t frames = ticksOf(trim, static_cast<CMTimeScale>(sampleRate)).value_or(0);
  return static_cast<std::uint32_t>(
      std::clamp<std::int64_t>(frames, 0, std::numeric_limits<std::uint32_t>::max()));
}

// ---- the access units ----------------------------------------------------------------------

struct TimedBytes {
  Bytes bytes;
  CMTime time;
};

/// The parts of the buffer that have a time of their own; empty when sizes and data do not agree.
std::vector<TimedBytes> timedParts(CMSampleBufferRef buffer, Bytes data) {
  if (buffer->sizes.empty()) {
    return {{data, CMSampleBufferGetPresentationTimeStamp(buffer)}};
  }
  std::vector<TimedBytes> parts;
  for (CMItemCount i = 0; i < CMSampleBufferGetNumSamples(buffer); ++i) {
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

/// Empty for bytes that are no access units.
std::vector<Bytes> accessUnits(Bytes part) {
  return aac::hasAdtsSyncWord(part) ? aac::accessUnitsInAdts(part) : std::vector<Bytes>{part};
}

bool readUnits(CMSampleBufferRef buffer, Bytes data, const Format& format, CMTime sessionStart,
               std::vector<CodedAudioUnit>& out) {
  for (const TimedBytes& part : timedParts(buffer, data)) {
    const auto start =
        ticksSince(sessionStart, part.time, static_cast<CMTimeScale>(format.sampleRate));
    const std::vector<Bytes> units = accessUnits(part.bytes);
    if (!start || units.empty()) {
      return false;
    }
    std::int64_t time = *start;
    for (const Bytes unit : units) {
      if (unit.size() > kLongestAccessUnit) {
        return false;
      }
      out.push_back({{unit.begin(), unit.end()}, time, format.framesPerPacket});
      time += format.framesPerPacket;
    }
  }
  return !out.empty();
}

}  // namespace

std::size_t CodedAudio::bytes() const {
  std::size_t sum = 0;
  for (const CodedAudioUnit& unit : units) {
    sum += unit.bytes.size();
  }
  return sum;
}

bool AudioReader::read(CMSampleBufferRef buffer, CMTime sessionStart, CodedAudio& out) const {
  const Bytes data = dataOf(buffer);
  if (data.empty()) {
    return false;
  }
  const std::optional<Format> format = formatOf(buffer, data);
  const bool isOfTheTrack = format && (!_track || (_track->sampleRate == format->sampleRate &&
                                                   _track->channels == format->channels));
  CodedAudio coded;
  if (!isOfTheTrack || !readUnits(buffer, data, *format, sessionStart, coded.units)) {
    return false;
  }
  if (!_track) {
    coded.track = mp4::AudioTrackDescription{format->sampleRate, format->channels, format->config,
                                             trimOf(buffer, format->sampleRate)};
  }
  out = std::move(coded);
  return true;
}

}  // namespace vx
