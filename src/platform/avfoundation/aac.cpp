#include "platform/avfoundation/aac.h"

#include "platform/avfoundation/bitstream/bits.h"
#include "platform/avfoundation/bitstream/descriptor_tags.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vx::aac {
namespace {

// ISO/IEC 14496-3, table 1.18.
constexpr std::array<std::uint32_t, 13> kSampleRates{
    96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350};
constexpr std::uint32_t kExplicitRate = 15;
// Table 1.19: channels by channel configuration; 0 means that the stream itself tells.
constexpr std::array<std::uint16_t, 15> kChannels{0, 1, 2, 3, 4, 5, 6, 8, 0, 0, 0, 7, 8, 24, 8};
constexpr std::uint32_t kLowComplexity = 2;
constexpr std::uint32_t kSpectralBandReplication = 5;
constexpr std::uint32_t kParametricStereo = 29;
constexpr std::uint32_t kEscapedObjectType = 31;
constexpr double kLargestRate = 0xFFFFFF;  // 24 bits

void putRate(BitWriter& bits, std::uint32_t rate) {
  const auto found = std::find(kSampleRates.begin(), kSampleRates.end(), rate);
  if (found != kSampleRates.end()) {
    bits.put(static_cast<std::uint32_t>(found - kSampleRates.begin()), 4);
  } else {
    bits.put(kExplicitRate, 4);
    bits.put(rate, 24);
  }
}

std::uint32_t getRate(BitReader& bits) {
  const std::uint32_t index = bits.get(4);
  if (index == kExplicitRate) {
    return bits.get(24);
  }
  return index < kSampleRates.size() ? kSampleRates[index] : 0;
}

std::uint32_t getObjectType(BitReader& bits) {
  const std::uint32_t type = bits.get(5);
  return type == kEscapedObjectType ? 32 + bits.get(6) : type;
}

/// Frames of an access unit, the short form included (ISO/IEC 14496-3, 4.4.1); 0 for an object type
/// that is not of the AAC family.
std::uint32_t framesOf(std::uint32_t objectType, bool isShort) {
  constexpr std::array<std::uint32_t, 8> kUsual{1, 2, 3, 4, 6, 17, 19, 20};
  constexpr std::array<std::uint32_t, 2> kLowDelay{23, 39};
  if (std::find(kUsual.begin(), kUsual.end(), objectType) != kUsual.end()) {
    return isShort ? 960 : 1024;
  }
  if (std::find(kLowDelay.begin(), kLowDelay.end(), objectType) != kLowDelay.end()) {
    return isShort ? 480 : 512;
  }
  return 0;
}

std::optional<std::uint32_t> channelConfiguration(std::uint32_t channels) {
  if (channels == 0) {
    return std::nullopt;
  }
  const auto found = std::find(kChannels.begin(), kChannels.end(), channels);
  return found != kChannels.end() && channels <= 8
             ? std::optional(static_cast<std::uint32_t>(found - kChannels.begin()))
             : std::nullopt;
}

}  // namespace

std::optional<std::vector<std::uint8_t>> makeAudioSpecificConfig(
    const AudioStreamBasicDescription& stream) {
  const std::uint32_t type = stream.mFormatFlags == 0 ? kLowComplexity : stream.mFormatFlags;
  const auto configuration = channelConfiguration(stream.mChannelsPerFrame);
  const bool rateFits = stream.mSampleRate >= 1 && stream.mSampleRate <= kLargestRate;
  if (!configuration || !rateFits || type > kSpectralBandReplication) {
    return std::nullopt;
  }
  const auto rate = static_cast<std::uint32_t>(std::lround(stream.mSampleRate));
  BitWriter bits;
  bits.put(type, 5);
  if (type == kSpectralBandReplication) {
    putRate(bits, rate / 2);
    bits.put(*configuration, 4);
    putRate(bits, rate);
    bits.put(kLowComplexity, 5);
  } else {
    putRate(bits, rate);
    bits.put(*configuration, 4);
  }
  bits.put(0, 3);  // GASpecificConfig: 1024 frames, no core coder, no extension
  return bits.take();
}

std::optional<AudioSpecificConfig> parseAudioSpecificConfig(std::span<const std::uint8_t> config) {
  BitReader bits(config);
  AudioSpecificConfig parsed;
  std::uint32_t type = getObjectType(bits);
  parsed.sampleRate = getRate(bits);
  const std::uint32_t coreRate = parsed.sampleRate;
  const std::uint32_t configuration = bits.get(4);
  parsed.channels = configuration < kChannels.size() ? kChannels[configuration] : 0;
  if (type == kSpectralBandReplication || type == kParametricStereo) {
    parsed.channels = type == kParametricStereo ? 2 : parsed.channels;
    parsed.sampleRate = getRate(bits);
    type = getObjectType(bits);
  }
  const std::uint32_t coreFrames = framesOf(type, bits.get(1) != 0);
  if (bits.overrun() || type == 0 || coreRate == 0 || parsed.sampleRate == 0) {
    return std::nullopt;
  }
  parsed.framesPerPacket =
      static_cast<std::uint32_t>(std::uint64_t{coreFrames} * parsed.sampleRate / coreRate);
  return parsed;
}

namespace {

/// The contents of the descriptor that begins here, if it has this tag.
std::span<const std::uint8_t> descriptorBody(std::span<const std::uint8_t> bytes,
                                             std::uint8_t tag) {
  if (bytes.empty() || bytes[0] != tag) {
    return {};
  }
  std::size_t length = 0;
  std::size_t at = 1;
  for (int i = 0; i < 4 && at < bytes.size(); ++i) {
    const std::uint8_t part = bytes[at++];
    length = length << 7 | (part & 0x7F);
    if (!(part & 0x80)) {
      break;
    }
  }
  return bytes.subspan(at, std::min(length, bytes.size() - at));
}

std::span<const std::uint8_t> skip(std::span<const std::uint8_t> bytes, std::size_t count) {
  return count <= bytes.size() ? bytes.subspan(count) : std::span<const std::uint8_t>{};
}

}  // namespace

std::span<const std::uint8_t> configInCookie(std::span<const std::uint8_t> cookie) {
  constexpr std::size_t kVersionAndFlags = 4;
  const bool isBoxPayload = cookie.size() > kVersionAndFlags && cookie[0] == 0 && cookie[1] == 0 &&
                            cookie[2] == 0 && cookie[3] == 0 &&
                            cookie[kVersionAndFlags] == kEsDescriptorTag;
  const auto descriptor = isBoxPayload ? cookie.subspan(kVersionAndFlags) : cookie;
  // An AudioSpecificConfig can begin with the byte 3 only as an object type that is not AAC.
  const auto stream = descriptorBody(descriptor, kEsDescriptorTag);
  if (stream.empty()) {
    return cookie;
  }
  constexpr std::size_t kESIdAndFlags = 3;
  constexpr std::size_t kDecoderConfigFields = 13;
  const auto decoder = descriptorBody(skip(stream, kESIdAndFlags), kDecoderConfigTag);
  return descriptorBody(skip(decoder, kDecoderConfigFields), kDecoderSpecificInfoTag);
}

bool hasAdtsSyncWord(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= 2 && bytes[0] == 0xFF && (bytes[1] & 0xF6) == 0xF0;
}

std::optional<AdtsFrame> adtsFrameAt(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kHeader = 7;
  constexpr std::size_t kHeaderWithChecksum = 9;
  constexpr std::uint8_t kFurtherBlocks = 3;
  if (!hasAdtsSyncWord(bytes) || bytes.size() < kHeader || (bytes[6] & kFurtherBlocks)) {
    return std::nullopt;
  }
  AdtsFrame frame;
  frame.headerLength = bytes[1] & 1 ? kHeader : kHeaderWithChecksum;
  frame.frameLength = static_cast<std::size_t>(bytes[3] & 3) << 11 |
                      static_cast<std::size_t>(bytes[4]) << 3 | bytes[5] >> 5;
  const bool isWhole = frame.frameLength > frame.headerLength && frame.frameLength <= bytes.size();
  return isWhole ? std::optional(frame) : std::nullopt;
}

std::vector<std::span<const std::uint8_t>> accessUnitsInAdts(std::span<const std::uint8_t> block) {
  std::vector<std::span<const std::uint8_t>> units;
  while (!block.empty()) {
    const std::optional<AdtsFrame> frame = adtsFrameAt(block);
    if (!frame) {
      return {};
    }
    units.push_back(block.subspan(frame->headerLength, frame->frameLength - frame->headerLength));
    block = block.subspan(frame->frameLength);
  }
  return units;
}

void completeFromAdts(std::span<const std::uint8_t> block, AudioStreamBasicDescription& stream) {
  if (!adtsFrameAt(block)) {
    return;
  }
  const std::uint32_t objectType = (block[2] >> 6) + 1u;
  const std::uint32_t rateIndex = block[2] >> 2 & 15u;
  const std::uint32_t configuration = (block[2] & 1u) << 2 | block[3] >> 6;
  if (stream.mFormatFlags == 0) {
    stream.mFormatFlags = objectType;
  }
  if (stream.mSampleRate < 1 && rateIndex < kSampleRates.size()) {
    stream.mSampleRate = kSampleRates[rateIndex];
  }
  if (stream.mChannelsPerFrame == 0) {
    stream.mChannelsPerFrame = kChannels[configuration];
  }
}

}  // namespace vx::aac
