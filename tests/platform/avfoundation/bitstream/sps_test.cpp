#include "platform/avfoundation/bitstream/sps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace vx {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// Bits as digits; other characters are for the eye.
Bytes bytesOf(const std::string& digits) {
  Bytes bytes;
  int used = 0;
  for (const char digit : digits) {
    if (digit != '0' && digit != '1') {
      continue;
    }
    if (used++ % 8 == 0) {
      bytes.push_back(0);
    }
    bytes.back() = static_cast<std::uint8_t>(bytes.back() | (digit - '0') << (7 - (used - 1) % 8));
  }
  return bytes;
}

std::size_t length(const std::string& digits) {
  return static_cast<std::size_t>(std::count(digits.begin(), digits.end(), '0') +
                                  std::count(digits.begin(), digits.end(), '1'));
}

/// The elements of a parameter set, each as its bits.
struct Elements {
  std::string profile = "01100100";  // High
  std::string levels = " 00000000 00001010";
  std::string setId = " 1";
  std::string format = " 010 1 1 0 0";  // 4:2:0, 8 bits, no bypass, no scaling matrices
  std::string order = " 1 011";         // 4 bits of frame number, picture order by the frames
  std::string references = " 010 0";
  std::string size = " 00100 011";  // 4 x 3 macroblocks
  std::string frames = " 1 1";      // frames only, direct_8x8
  std::string cropping = " 0";

  std::string untilVui() const {
    return profile + levels + setId + format + order + references + size + frames + cropping;
  }
};

constexpr const char* kTiming =
    " 00000000000000000000000000000001"
    " 00000000000000000000000000110010";

/// With a VUI that names a rate: the places are where the bits were put.
void expectPlaces(const Elements& elements, const std::string& inVui = " 0 0 0 0") {
  SCOPED_TRACE(elements.untilVui() + " |" + inVui);
  for (const bool isFixed : {false, true}) {
    const std::string untilTiming = elements.untilVui() + " 1" + inVui;
    const std::string untilFixed = untilTiming + " 1" + kTiming;
    const Sps sps = readSps(bytesOf(untilFixed + (isFixed ? " 1" : " 0") + " 0000 1"));
    ASSERT_TRUE(sps.places);
    EXPECT_EQ(sps.places->vuiFlag, length(elements.untilVui()));
    EXPECT_TRUE(sps.places->hasVui);
    EXPECT_EQ(sps.places->timingFlag, length(untilTiming));
    EXPECT_TRUE(sps.places->hasTiming);
    EXPECT_EQ(sps.places->fixedRateFlag, length(untilFixed));
    EXPECT_EQ(sps.places->isFixedRate, isFixed);
  }
}

TEST(Sps, FindsTheTiming) { expectPlaces({}); }

TEST(Sps, FindsTheTimingBehindEveryFormOfWhatComesBefore) {
  Elements e;
  e.order = " 1 1 00101";  // by a number of its own
  expectPlaces(e);
  e.frames = " 0 1 1";  // fields, adaptive
  expectPlaces(e);
  e.frames = " 0 0 1";
  expectPlaces(e);
  e.cropping = " 1 1 010 011 00100";
  expectPlaces(e);
  e.setId = " 00110";
  expectPlaces(e);
  e.format = " 00100 1 011 011 1 0";  // 4:4:4 in separate planes, 10 bits
  expectPlaces(e);
}

TEST(Sps, FindsTheTimingBehindEveryPartOfTheVui) {
  expectPlaces({}, " 1 00000001 0 0 0");                                    // square pixels
  expectPlaces({}, " 1 11111110 0 0 0");                                    // the last of the table
  expectPlaces({}, " 1 11111111 0000000000000010 0000000000000001 0 0 0");  // 2:1
  expectPlaces({}, " 0 1 1 0 0");
  expectPlaces({}, " 0 0 1 1011 0 0");
  expectPlaces({}, " 0 0 1 1011 1 00000001 00001101 00000110 0");
  expectPlaces({}, " 0 0 0 1 010 00100");
}

TEST(Sps, ProfilesWithoutAFormatHaveNone) {
  Elements e;
  e.format = "";
  for (const char* profile : {"01000010", "01001101", "01011000"}) {
    e.profile = profile;
    expectPlaces(e);
  }
}

TEST(Sps, ProfilesWithAFormatAreKnownByTheirNumbers) {
  for (int profile = 0; profile < 256; ++profile) {
    const bool hasFormat = profile == 100 || profile == 110 || profile == 122 || profile == 244 ||
                           profile == 44 || profile == 144;
    EXPECT_EQ(profileHasFormat(static_cast<std::uint8_t>(profile)), hasFormat) << profile;
  }
}

SpsFormat formatOf(const std::string& format, const char* profile = "01100100") {
  Elements e;
  e.profile = profile;
  e.format = format;
  return readSps(bytesOf(e.untilVui() + " 0 1")).format;
}

void expectFormat(const SpsFormat& format, int chroma, int luma, int chromaDepth) {
  EXPECT_EQ(format.chromaFormat, chroma);
  EXPECT_EQ(format.bitDepthLuma, luma);
  EXPECT_EQ(format.bitDepthChroma, chromaDepth);
}

TEST(Sps, TellsTheFormat) {
  expectFormat(formatOf(" 010 1 1 0 0"), 1, 8, 8);
  expectFormat(formatOf(" 011 011 010 0 0"), 2, 10, 9);
  expectFormat(formatOf(" 00100 0 1 00100 0 0"), 3, 8, 11);
  expectFormat(formatOf(" 00100 1 011 1 0 0"), 3, 10, 8);
  expectFormat(formatOf("", "01000010"), 1, 8, 8);
}

TEST(Sps, TellsTheFormatInFrontOfWhatIsNotSkipped) {
  expectFormat(formatOf(" 011 011 011 0 1 1111"), 2, 10, 10);
}

TEST(Sps, FormatThatIsCutIsTheUsualOne) {
  expectFormat(readSps(bytesOf("01111010 00000000 00001010 1 011")).format, 1, 8, 8);
  expectFormat(readSps({}).format, 1, 8, 8);
}

TEST(Sps, WhatCannotBeSkippedHasNoPlaces) {
  Elements e;
  e.format = " 010 1 1 0 1";  // scaling matrices, which could pass for what comes behind them
  EXPECT_FALSE(readSps(bytesOf(e.untilVui() + " 0 1")).places);
  e = {};
  e.order = " 1 010 0 1 1 010 1";  // a table of picture order counts
  EXPECT_FALSE(readSps(bytesOf(e.untilVui() + " 0 1")).places);
}

TEST(Sps, WhatIsCutHasNoPlaces) {
  const Bytes whole = bytesOf(Elements().untilVui() + " 1 0 0 0 0 1" + kTiming + " 0 0000 1");
  ASSERT_TRUE(readSps(whole).places);
  for (std::size_t size = 0; size + 1 < whole.size(); ++size) {
    EXPECT_FALSE(readSps(std::span(whole).first(size)).places) << size;
  }
}

}  // namespace
}  // namespace vx
