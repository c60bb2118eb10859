// AudioSpecificConfig and ADTS, bit by bit.
#include "platform/avfoundation/aac.h"

#include "support/audio_buffers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace vx::aac {
namespace {

using test::aacStream;
using test::adts;
using test::AudioBytes;
using testing::ElementsAre;

AudioBytes configFor(double rate, std::uint32_t channels, std::uint32_t flags) {
  return makeAudioSpecificConfig(aacStream(rate, channels, flags)).value_or(AudioBytes{});
}

AudioBytes asVector(std::span<const std::uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

// ---- making --------------------------------------------------------------------------------

TEST(AacConfig, TakesTheObjectTypeFromTheFlags) {
  EXPECT_THAT(configFor(44100, 2, kMPEG4Object_AAC_Main), ElementsAre(0x0A, 0x10));
  EXPECT_THAT(configFor(44100, 2, kMPEG4Object_AAC_LC), ElementsAre(0x12, 0x10));
  EXPECT_THAT(configFor(44100, 2, kMPEG4Object_AAC_SSR), ElementsAre(0x1A, 0x10));
  EXPECT_THAT(configFor(44100, 2, kMPEG4Object_AAC_LTP), ElementsAre(0x22, 0x10));
}

TEST(AacConfig, TakesLowComplexityWithoutFlags) {
  EXPECT_EQ(configFor(44100, 2, 0), configFor(44100, 2, kMPEG4Object_AAC_LC));
}

TEST(AacConfig, SignalsSpectralBandReplicationOverACoreOfHalfTheRate) {
  // 5 | index of 22050 = 7 | 2 channels | index of 44100 = 4 | 2 | 000
  EXPECT_THAT(configFor(44100, 2, kMPEG4Object_AAC_SBR), ElementsAre(0x2B, 0x92, 0x08, 0x00));
  const auto parsed = parseAudioSpecificConfig(configFor(44100, 2, kMPEG4Object_AAC_SBR));
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->sampleRate, 44100u);
  EXPECT_EQ(parsed->framesPerPacket, 2048u);
}

TEST(AacConfig, HasNoPlaceForOtherFlags) {
  for (const std::uint32_t flags : {6u, 29u, 0xFFFFFFFFu}) {
    EXPECT_TRUE(configFor(44100, 2, flags).empty()) << flags;
  }
}

class AacChannels : public testing::TestWithParam<std::uint32_t> {};
INSTANTIATE_TEST_SUITE_P(OneToEight, AacChannels, testing::Range(1u, 9u));

TEST_P(AacChannels, AreReadAsTheyWereWritten) {
  const auto parsed = parseAudioSpecificConfig(configFor(48000, GetParam(), 2));
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->channels, GetParam());
}

TEST(AacConfig, HasNoPlaceForOtherNumbersOfChannels) {
  for (const std::uint32_t channels : {0u, 9u, 24u, 4000000000u}) {
    EXPECT_TRUE(configFor(44100, channels, 2).empty()) << channels;
  }
}

class AacRates : public testing::TestWithParam<double> {};
INSTANTIATE_TEST_SUITE_P(TableAndOdd, AacRates,
                         testing::Values(96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050,
                                         16000, 12000, 11025, 8000, 7350, 1, 7, 22051, 44056,
                                         192000, 0xFFFFFF));

TEST_P(AacRates, AreReadAsTheyWereWritten) {
  for (const std::uint32_t flags : {2u, 5u}) {
    if (flags == 5 && GetParam() < 2) {
      continue;  // its core would have no rate
    }
    const auto parsed = parseAudioSpecificConfig(configFor(GetParam(), 2, flags));
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->sampleRate, GetParam());
  }
}

TEST(AacConfig, RoundsARateWithAFraction) {
  EXPECT_EQ(configFor(22050.5, 1, 2), configFor(22051, 1, 2));
  EXPECT_EQ(configFor(44099.7, 2, 2), configFor(44100, 2, 2));
}

TEST(AacConfig, HasNoPlaceForOtherRates) {
  for (const double rate :
       {0.0, 0.4, -1.0, 16777216.0, 1e300, std::numeric_limits<double>::infinity(),
        std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_TRUE(configFor(rate, 2, 2).empty()) << rate;
  }
}

// ---- reading -------------------------------------------------------------------------------

TEST(AacConfigReader, KnowsThe960FrameForm) {
  const auto parsed = parseAudioSpecificConfig(AudioBytes{0x12, 0x14});
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->framesPerPacket, 960u);
}

TEST(AacConfigReader, KnowsParametricStereo) {
  // 29 | 22050 | mono | 44100 | 2
  const auto parsed = parseAudioSpecificConfig(AudioBytes{0xEB, 0x8A, 0x08, 0x00});
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->channels, 2u);
  EXPECT_EQ(parsed->sampleRate, 44100u);
  EXPECT_EQ(parsed->framesPerPacket, 2048u);
}

TEST(AacConfigReader, KnowsTheLengthOfLowDelay) {
  const auto parsed = parseAudioSpecificConfig(AudioBytes{0xBA, 0x10, 0x00});  // 23, 44100, stereo
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->framesPerPacket, 512u);
}

TEST(AacConfigReader, KnowsTheRatesByTheIndexOfTheStandard) {
  constexpr std::uint32_t kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                      22050, 16000, 12000, 11025, 8000,  7350};
  for (std::uint8_t index = 0; index < std::size(kRates); ++index) {
    const auto parsed = parseAudioSpecificConfig(
        AudioBytes{static_cast<std::uint8_t>(0x10 | index >> 1),  // 2 | index | stereo | 000
                   static_cast<std::uint8_t>((index & 1) << 7 | 0x10)});
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->sampleRate, kRates[index]);
  }
}

TEST(AacConfigReader, KnowsTheChannelsByTheConfigurationOfTheStandard) {
  constexpr std::uint32_t kChannels[] = {0, 1, 2, 3, 4, 5, 6, 8, 0, 0, 0, 7, 8, 24, 8, 0};
  for (std::uint8_t configuration = 0; configuration < std::size(kChannels); ++configuration) {
    const auto parsed = parseAudioSpecificConfig(
        AudioBytes{0x12, static_cast<std::uint8_t>(configuration << 3)});  // 2 | 44100
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->channels, kChannels[configuration]) << int{configuration};
  }
}

TEST(AacConfigReader, HeedsTheShortFormOfALowDelay) {
  const auto parsed = parseAudioSpecificConfig(AudioBytes{0xF8, 0xE8, 0x50});  // as below, short
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->framesPerPacket, 480u);
}

TEST(AacConfigReader, CountsEscapedObjectTypesFrom32) {
  const auto parsed = parseAudioSpecificConfig(AudioBytes{0xF8, 0xE8, 0x40});  // 31, 7: type 39
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->framesPerPacket, 512u);
}

TEST(AacConfigReader, LeavesTheLengthOfOtherObjectTypesOpen) {
  // 42 as 31 and an escape of 10: USAC tells its frame length elsewhere.
  const auto parsed = parseAudioSpecificConfig(AudioBytes{0xF9, 0x48, 0x80, 0x00});
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->framesPerPacket, 0u);
}

TEST(AacConfigReader, LeavesTheChannelsOfAProgramConfigOpen) {
  const auto parsed = parseAudioSpecificConfig(AudioBytes{0x12, 0x00, 0x05});
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->channels, 0u);
}

TEST(AacConfigReader, TakesNothingElse) {
  EXPECT_FALSE(parseAudioSpecificConfig({}));
  EXPECT_FALSE(parseAudioSpecificConfig(AudioBytes{0x12}));
  EXPECT_FALSE(parseAudioSpecificConfig(AudioBytes{0x00, 0x00, 0x00}));  // no object type
  EXPECT_FALSE(parseAudioSpecificConfig(AudioBytes{0x16, 0x90}));        // a reserved rate
  EXPECT_FALSE(parseAudioSpecificConfig(AudioBytes{0x17, 0x80, 0x00, 0x00, 0x10}));  // 0 Hz
}

// ---- cookies -------------------------------------------------------------------------------

TEST(AacCookie, IsTheConfigItself) {
  const AudioBytes config{0x12, 0x10, 0x56, 0xE5, 0x00};
  EXPECT_EQ(asVector(configInCookie(config)), config);
  EXPECT_TRUE(configInCookie({}).empty());
}

/// An elementary stream descriptor around a config, its lengths in one byte or in four.
AudioBytes descriptorAround(const AudioBytes& config, bool longLengths) {
  const auto wrap = [longLengths](std::uint8_t tag, const AudioBytes& body) {
    AudioBytes descriptor{tag};
    if (longLengths) {
      descriptor.insert(descriptor.end(), {0x80, 0x80, 0x80});
    }
    descriptor.push_back(static_cast<std::uint8_t>(body.size()));
    descriptor.insert(descriptor.end(), body.begin(), body.end());
    return descriptor;
  };
  AudioBytes decoder{0x40, 0x15, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const AudioBytes info = wrap(5, config);
  decoder.insert(decoder.end(), info.begin(), info.end());
  AudioBytes stream{0, 0, 0};
  const AudioBytes wrapped = wrap(4, decoder);
  stream.insert(stream.end(), wrapped.begin(), wrapped.end());
  return wrap(3, stream);
}

TEST(AacCookie, IsTakenOutOfDescriptors) {
  const AudioBytes config{0x13, 0x90, 0x56, 0xE5, 0xA5, 0x48, 0x80};
  for (const bool longLengths : {false, true}) {
    AudioBytes cookie = descriptorAround(config, longLengths);
    EXPECT_EQ(asVector(configInCookie(cookie)), config);
    cookie.insert(cookie.begin(), {0, 0, 0, 0});  // as in the box
    EXPECT_EQ(asVector(configInCookie(cookie)), config);
  }
}

TEST(AacCookie, HoldsNothingWhenADescriptorIsCut) {
  const AudioBytes whole = descriptorAround({0x12, 0x10}, true);
  for (std::size_t length = 2; length < whole.size() - 2; ++length) {
    const AudioBytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_FALSE(parseAudioSpecificConfig(configInCookie(cut))) << length;
  }
}

// ---- ADTS ----------------------------------------------------------------------------------

const AudioBytes kUnit{0x21, 0x10, 0x04, 0x60};

TEST(Adts, EndsBehindItsHeader) {
  for (const bool hasChecksum : {false, true}) {
    const AudioBytes frame = adts(kUnit, 4, 2, hasChecksum);
    const auto units = accessUnitsInAdts(frame);
    ASSERT_EQ(units.size(), 1u);
    EXPECT_EQ(asVector(units[0]), kUnit);
  }
}

TEST(Adts, ComesSeveralAtATime) {
  AudioBytes block;
  for (std::uint8_t i = 0; i < 3; ++i) {
    const AudioBytes frame = adts(AudioBytes(10u + i, i));
    block.insert(block.end(), frame.begin(), frame.end());
  }
  const auto units = accessUnitsInAdts(block);
  ASSERT_EQ(units.size(), 3u);
  EXPECT_EQ(asVector(units[2]), AudioBytes(12, 2));
}

TEST(Adts, IsNotReadWhenCut) {
  const AudioBytes frame = adts(kUnit);
  for (std::size_t length = 0; length < frame.size(); ++length) {
    const std::span<const std::uint8_t> cut(frame.data(), length);
    EXPECT_FALSE(adtsFrameAt(cut)) << length;
    EXPECT_TRUE(accessUnitsInAdts(cut).empty()) << length;
  }
}

TEST(Adts, IsNotReadWithARestBehindIt) {
  AudioBytes block = adts(kUnit);
  block.push_back(0xFF);
  EXPECT_TRUE(accessUnitsInAdts(block).empty());
}

TEST(Adts, IsNotReadWithSeveralUnitsInOneFrame) {
  AudioBytes frame = adts(kUnit);
  frame[6] |= 1;
  EXPECT_FALSE(adtsFrameAt(frame));
}

TEST(Adts, IsNotReadWithoutAUnit) { EXPECT_FALSE(adtsFrameAt(adts({}))); }

TEST(Adts, IsKnownByItsSyncWord) {
  EXPECT_TRUE(hasAdtsSyncWord(AudioBytes{0xFF, 0xF1}));
  EXPECT_TRUE(hasAdtsSyncWord(AudioBytes{0xFF, 0xF8}));
  EXPECT_FALSE(hasAdtsSyncWord(AudioBytes{0xFF, 0xFB}));  // layer III
  EXPECT_FALSE(hasAdtsSyncWord(AudioBytes{0xFF}));
  EXPECT_FALSE(hasAdtsSyncWord(kUnit));
}

TEST(Adts, TellsWhatTheDescriptionLeavesOpen) {
  AudioStreamBasicDescription stream;
  completeFromAdts(adts(kUnit, 3, 6), stream);
  EXPECT_EQ(stream.mSampleRate, 48000);
  EXPECT_EQ(stream.mChannelsPerFrame, 6u);
  EXPECT_EQ(stream.mFormatFlags, static_cast<std::uint32_t>(kMPEG4Object_AAC_LC));
}

TEST(Adts, LeavesWhatTheDescriptionTells) {
  AudioStreamBasicDescription stream = aacStream(44100, 2, kMPEG4Object_AAC_Main);
  completeFromAdts(adts(kUnit, 3, 1), stream);
  EXPECT_EQ(stream, aacStream(44100, 2, kMPEG4Object_AAC_Main));
}

}  // namespace
}  // namespace vx::aac
