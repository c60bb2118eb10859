// Access units out of sample buffers: what is taken, with which times, and what is refused.
#include "platform/avfoundation/audio_reader.h"

#include "support/audio_buffers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace vx {
namespace {

using test::aacStream;
using test::adts;
using test::AudioBufferBuilder;
using test::AudioBytes;
using testing::ElementsAre;

const AudioBytes kUnit{0x21, 0x10, 0x04, 0x60};
const AudioBytes kOtherUnit{0x21, 0x20, 0x05};

AudioBytes unitWithLength(std::size_t length) { return AudioBytes(length, 0x21); }

class AudioReaderTest : public testing::Test {
 protected:
  bool read(const AudioBufferBuilder& buffer) {
    return reader.read(buffer.build().get(), sessionStart, audio);
  }
  /// As the input does it: the first buffer that is read makes the track.
  bool readAndKeep(const AudioBufferBuilder& buffer) {
    const bool isRead = read(buffer);
    if (isRead && audio.track) {
      reader.keepTrack(*audio.track);
    }
    return isRead;
  }
  std::vector<std::int64_t> times() const {
    std::vector<std::int64_t> all;
    for (const CodedAudioUnit& unit : audio.units) {
      all.push_back(unit.time);
    }
    return all;
  }

  AudioReader reader;
  CMTime sessionStart = kCMTimeZero;
  CodedAudio audio;
};

// ---- access units --------------------------------------------------------------------------

TEST_F(AudioReaderTest, TakesEachSizedSampleAsOneUnit) {
  ASSERT_TRUE(read(AudioBufferBuilder().unit(kUnit).unit(kOtherUnit)));
  ASSERT_EQ(audio.units.size(), 2u);
  EXPECT_EQ(audio.units[0].bytes, kUnit);
  EXPECT_EQ(audio.units[1].bytes, kOtherUnit);
  EXPECT_THAT(times(), ElementsAre(0, 1024));
  EXPECT_EQ(audio.units[0].duration, 1024u);
  EXPECT_EQ(audio.bytes(), kUnit.size() + kOtherUnit.size());
}

TEST_F(AudioReaderTest, RefusesARateThatNoTrackHolds) {
  AudioStreamBasicDescription stream = test::aacStream();
  stream.mSampleRate = 1e10;
  EXPECT_FALSE(read(AudioBufferBuilder().stream(stream).cookie({0x12, 0x10}).unit(kUnit)));
  stream.mSampleRate = 44100;
  EXPECT_TRUE(read(AudioBufferBuilder().stream(stream).cookie({0x12, 0x10}).unit(kUnit)));
}

TEST_F(AudioReaderTest, TakesABufferWithoutSizesAsOneUnit) {
  ASSERT_TRUE(read(AudioBufferBuilder().unit(kUnit).unit(kOtherUnit).unsized()));
  ASSERT_EQ(audio.units.size(), 1u);
  EXPECT_EQ(audio.units[0].bytes.size(), kUnit.size() + kOtherUnit.size());
}

TEST_F(AudioReaderTest, TakesAdtsHeadersOff) {
  ASSERT_TRUE(read(AudioBufferBuilder().unit(adts(kUnit)).unit(adts(kOtherUnit)).unsized()));
  ASSERT_EQ(audio.units.size(), 2u);
  EXPECT_EQ(audio.units[0].bytes, kUnit);
  EXPECT_EQ(audio.units[1].bytes, kOtherUnit);
  EXPECT_THAT(times(), ElementsAre(0, 1024));
}

TEST_F(AudioReaderTest, TakesAdtsHeadersOffSizedSamplesToo) {
  ASSERT_TRUE(read(AudioBufferBuilder().unit(adts(kUnit, 4, 2, true)).unit(kOtherUnit)));
  ASSERT_EQ(audio.units.size(), 2u);
  EXPECT_EQ(audio.units[0].bytes, kUnit);
  EXPECT_EQ(audio.units[1].bytes, kOtherUnit);
}

TEST_F(AudioReaderTest, RefusesAdtsThatIsCut) {
  AudioBytes frame = adts(kUnit);
  frame.pop_back();
  EXPECT_FALSE(read(AudioBufferBuilder().unit(adts(kUnit)).unit(frame).unsized()));
}

TEST_F(AudioReaderTest, BelievesTheCodingAboutAUnitsLength) {
  AudioStreamBasicDescription stream = aacStream();
  for (const std::uint32_t claimed : {0u, 512u, 1024u, 4000000000u}) {
    stream.mFramesPerPacket = claimed;
    ASSERT_TRUE(read(AudioBufferBuilder().stream(stream).unit(kUnit)));
    EXPECT_EQ(audio.units[0].duration, 1024u) << claimed;
  }
}

TEST_F(AudioReaderTest, TakesTheDescriptionsWordForAUnitsLengthWhereTheCodingDoesNotTell) {
  AudioStreamBasicDescription stream = aacStream();
  const AudioBytes config{0xF9, 0x48, 0x80, 0x00};  // an object type with a length of its own
  for (const auto& [claimed, expected] : {std::pair{768u, 768u}, {0u, 1024u}}) {
    stream.mFramesPerPacket = claimed;
    ASSERT_TRUE(read(AudioBufferBuilder().stream(stream).cookie(config).unit(kUnit)));
    EXPECT_EQ(audio.units[0].duration, expected);
  }
}

// ---- times ---------------------------------------------------------------------------------

TEST_F(AudioReaderTest, CountsFromTheSessionsStartInTheTracksRate) {
  sessionStart = CMTimeMake(500, 1000);
  ASSERT_TRUE(read(AudioBufferBuilder().at(CMTimeMake(1500, 1000)).unit(kUnit)));
  EXPECT_THAT(times(), ElementsAre(44100));
}

TEST_F(AudioReaderTest, GivesEachSampleItsOwnTime) {
  ASSERT_TRUE(read(AudioBufferBuilder()
                       .unitAt(CMTimeMake(0, 44100), kUnit)
                       .unitAt(CMTimeMake(5000, 44100), kOtherUnit)));
  EXPECT_THAT(times(), ElementsAre(0, 5000));
}

TEST_F(AudioReaderTest, TellsTimesBeforeTheSessionToo) {
  ASSERT_TRUE(read(AudioBufferBuilder().at(CMTimeMake(-1024, 44100)).unit(kUnit)));
  EXPECT_THAT(times(), ElementsAre(-1024));
}

TEST_F(AudioReaderTest, RefusesTimesThatNoClockTells) {
  for (const CMTime time :
       {kCMTimeInvalid, CMTimeMakeWithSeconds(1e30, 1), CMTimeMakeWithSeconds(-1e30, 1),
        CMTimeMake(std::numeric_limits<std::int64_t>::max(), 1),
        CMTimeMake(std::numeric_limits<std::int64_t>::min() + 1, 1),
        CMTimeMake(std::numeric_limits<std::int64_t>::max(), 44100)}) {
    EXPECT_FALSE(read(AudioBufferBuilder().at(time).unit(kUnit)));
  }
}

TEST_F(AudioReaderTest, RefusesABufferWithoutTimes) {
  const auto with = AudioBufferBuilder().unit(kUnit).build();
  CFRef<CMSampleBufferRef> without;
  const std::size_t size = kUnit.size();
  ASSERT_EQ(CMSampleBufferCreateReady(nullptr, CMSampleBufferGetDataBuffer(with.get()),
                                      CMSampleBufferGetFormatDescription(with.get()), 1, 0, nullptr,
                                      1, &size, without.out()),
            noErr);
  EXPECT_FALSE(reader.read(without.get(), kCMTimeZero, audio));
}

// ---- the track -----------------------------------------------------------------------------

TEST_F(AudioReaderTest, MakesTheConfigFromTheDescription) {
  ASSERT_TRUE(read(AudioBufferBuilder().stream(aacStream(48000, 1)).unit(kUnit)));
  ASSERT_TRUE(audio.track);
  EXPECT_EQ(audio.track->sampleRate, 48000u);
  EXPECT_EQ(audio.track->channels, 1u);
  EXPECT_THAT(audio.track->audioSpecificConfig, ElementsAre(0x11, 0x88));
  EXPECT_EQ(audio.track->trimAtStart, 0u);
}

TEST_F(AudioReaderTest, PassesTheConfigOfHighEfficiencyOn) {
  // Low complexity at 24000 Hz, with the extension that tells of 48000 Hz behind it.
  const AudioBytes config{0x13, 0x10, 0x56, 0xE5, 0x98};
  ASSERT_TRUE(read(AudioBufferBuilder().stream(aacStream(48000)).cookie(config).unit(kUnit)));
  EXPECT_EQ(audio.track->audioSpecificConfig, config);
  EXPECT_EQ(audio.track->sampleRate, 48000u);
  EXPECT_EQ(audio.units[0].duration, 2048u);
}

TEST_F(AudioReaderTest, TakesTheChannelsOfTheConfig) {
  ASSERT_TRUE(read(AudioBufferBuilder()
                       .stream(aacStream(44100, 0, kMPEG4Object_AAC_LC))
                       .cookie({0x12, 0x10})
                       .unit(kUnit)));
  EXPECT_EQ(audio.track->channels, 2u);
}

TEST_F(AudioReaderTest, TakesWhatIsOpenFromAdts) {
  ASSERT_TRUE(read(AudioBufferBuilder().stream(aacStream(44100, 0, 0)).unit(adts(kUnit, 4, 1))));
  EXPECT_EQ(audio.track->channels, 1u);
}

TEST_F(AudioReaderTest, TellsTheTrimInTheTracksRate) {
  ASSERT_TRUE(read(AudioBufferBuilder().trim(CMTimeMakeWithSeconds(0.1, 1000000000)).unit(kUnit)));
  EXPECT_EQ(audio.track->trimAtStart, 4410u);
}

TEST_F(AudioReaderTest, IgnoresATrimThatIsNone) {
  for (const CMTime trim : {CMTimeMake(-5, 10), CMTimeMakeWithSeconds(1e30, 1)}) {
    ASSERT_TRUE(read(AudioBufferBuilder().trim(trim).unit(kUnit)));
    EXPECT_EQ(audio.track->trimAtStart, 0u);
  }
}

TEST_F(AudioReaderTest, TellsOfTheTrackUntilABufferWasKept) {
  ASSERT_TRUE(read(AudioBufferBuilder().unit(kUnit)));
  EXPECT_TRUE(audio.track);
  ASSERT_TRUE(readAndKeep(AudioBufferBuilder().unit(kUnit)));
  EXPECT_TRUE(audio.track);
  ASSERT_TRUE(readAndKeep(AudioBufferBuilder().unit(kUnit)));
  EXPECT_FALSE(audio.track);
}

TEST_F(AudioReaderTest, RefusesAnotherFormatInMidRecordingAndGoesOn) {
  ASSERT_TRUE(readAndKeep(AudioBufferBuilder().unit(kUnit)));
  EXPECT_FALSE(readAndKeep(AudioBufferBuilder().stream(aacStream(48000)).unit(kUnit)));
  EXPECT_FALSE(readAndKeep(AudioBufferBuilder().stream(aacStream(44100, 1)).unit(kUnit)));
  EXPECT_TRUE(readAndKeep(AudioBufferBuilder().unit(kUnit)));
}

// ---- refusals ------------------------------------------------------------------------------

TEST_F(AudioReaderTest, RefusesOtherCodings) {
  AudioStreamBasicDescription stream = aacStream();
  for (const FourCharCode coding : {kAudioFormatLinearPCM, FourCharCode{0x6D703420}, 0u}) {
    stream.mFormatID = coding;
    EXPECT_FALSE(read(AudioBufferBuilder().stream(stream).unit(kUnit)));
  }
}

TEST_F(AudioReaderTest, RefusesABufferWithoutData) {
  EXPECT_FALSE(read(AudioBufferBuilder().unsized()));
  EXPECT_FALSE(reader.read(nullptr, kCMTimeZero, audio));
}

TEST_F(AudioReaderTest, RefusesDataThatIsNotReady) {
  const auto ready = AudioBufferBuilder().unit(kUnit).build();
  const CMSampleTimingInfo timing{kCMTimeInvalid, kCMTimeZero, kCMTimeInvalid};
  CFRef<CMSampleBufferRef> notReady;
  ASSERT_EQ(CMSampleBufferCreate(nullptr, CMSampleBufferGetDataBuffer(ready.get()), false, nullptr,
                                 nullptr, CMSampleBufferGetFormatDescription(ready.get()), 1, 1,
                                 &timing, 0, nullptr, notReady.out()),
            noErr);
  EXPECT_FALSE(reader.read(notReady.get(), kCMTimeZero, audio));
}

TEST_F(AudioReaderTest, RefusesABufferWithoutAFormat) {
  const auto with = AudioBufferBuilder().unit(kUnit).build();
  const CMSampleTimingInfo timing{kCMTimeInvalid, kCMTimeZero, kCMTimeInvalid};
  CFRef<CMSampleBufferRef> without;
  ASSERT_EQ(CMSampleBufferCreateReady(nullptr, CMSampleBufferGetDataBuffer(with.get()), nullptr, 1,
                                      1, &timing, 0, nullptr, without.out()),
            noErr);
  EXPECT_FALSE(reader.read(without.get(), kCMTimeZero, audio));
}

TEST_F(AudioReaderTest, RefusesASampleOfNoBytes) {
  EXPECT_FALSE(read(AudioBufferBuilder().unit({}).unit(kUnit)));
  EXPECT_FALSE(read(AudioBufferBuilder().unit(kUnit).unit({})));
}

TEST_F(AudioReaderTest, RefusesUnitsLongerThanAacHas) {
  EXPECT_TRUE(read(AudioBufferBuilder().unit(unitWithLength(65536))));
  EXPECT_FALSE(read(AudioBufferBuilder().unit(unitWithLength(65537))));
  EXPECT_FALSE(read(AudioBufferBuilder().unit(unitWithLength(1 << 20)).unsized()));
}

TEST_F(AudioReaderTest, RefusesFormatsThatAacHasNot) {
  EXPECT_FALSE(read(AudioBufferBuilder().stream(aacStream(44100, 0)).unit(kUnit)));
  EXPECT_FALSE(read(AudioBufferBuilder().stream(aacStream(44100, 9)).unit(kUnit)));
  EXPECT_FALSE(read(AudioBufferBuilder().stream(aacStream(44100, 2, 77)).unit(kUnit)));
  EXPECT_FALSE(read(AudioBufferBuilder().stream(aacStream(1e9)).unit(kUnit)));
  EXPECT_FALSE(read(AudioBufferBuilder().stream(aacStream(0.3)).unit(kUnit)));
}

TEST_F(AudioReaderTest, RefusesRatesThatNobodyReadsBack) {
  EXPECT_FALSE(read(AudioBufferBuilder().stream(aacStream(mp4::kMinSampleRate - 1)).unit(kUnit)));
  EXPECT_TRUE(read(AudioBufferBuilder().stream(aacStream(mp4::kMinSampleRate)).unit(kUnit)));
  EXPECT_TRUE(read(AudioBufferBuilder().stream(aacStream(mp4::kMaxSampleRate)).unit(kUnit)));
  EXPECT_FALSE(read(AudioBufferBuilder().stream(aacStream(mp4::kMaxSampleRate + 1)).unit(kUnit)));
}

TEST_F(AudioReaderTest, RefusesACookieThatIsNone) {
  EXPECT_FALSE(read(AudioBufferBuilder().cookie({0x00, 0x00, 0x00}).unit(kUnit)));
  EXPECT_FALSE(read(AudioBufferBuilder().cookie(AudioBytes(1000, 0x12)).unit(kUnit)));
}

TEST_F(AudioReaderTest, LeavesTheResultAloneWhenItRefuses) {
  ASSERT_TRUE(read(AudioBufferBuilder().unit(kUnit)));
  ASSERT_FALSE(read(AudioBufferBuilder().unit(kOtherUnit).unit(unitWithLength(1 << 17))));
  ASSERT_EQ(audio.units.size(), 1u);
  EXPECT_EQ(audio.units[0].bytes, kUnit);
}

}  // namespace
}  // namespace vx
