#include "platform/avfoundation/encoder/sps_timing.h"

#include <gtest/gtest.h>

#include <bit>
#include <string>

#include "support/h264_source.h"

namespace vx {
namespace {

using Bytes = std::vector<std::uint8_t>;

int differingBits(const Bytes& a, const Bytes& b) {
  int count = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    count += std::popcount(static_cast<unsigned>(a[i] ^ b[i]));
  }
  return count;
}

/// A parameter set bit by bit: 64x48, High profile, what follows the VUI flag as given.
Bytes handMade(const std::string& behindVuiFlag) {
  std::string bits =
      "01100100"  // profile_idc 100
      "00000000"  // constraints
      "00001010"  // level 1
      "1"         // seq_parameter_set_id 0
      "010"       // chroma_format_idc 1
      "1"
      "1"  // bit depths
      "0"
      "0"    // no transform bypass, no scaling matrices
      "1"    // log2_max_frame_num 4
      "011"  // pic_order_cnt_type 2
      "010"
      "0"      // one reference frame, no gaps
      "00100"  // 4 macroblocks wide
      "011"    // 3 high
      "1"
      "1"
      "0";                      // frames only, direct_8x8, no cropping
  bits += behindVuiFlag + "1";  // the stop bit
  bits.resize((bits.size() + 7) / 8 * 8, '0');
  Bytes unit{0x67};
  int zeros = 0;
  for (std::size_t at = 0; at < bits.size(); at += 8) {
    const auto byte = static_cast<std::uint8_t>(std::stoi(bits.substr(at, 8), nullptr, 2));
    if (zeros == 2 && byte <= 3) {
      unit.push_back(3);  // against a start code
      zeros = 0;
    }
    zeros = byte == 0 ? zeros + 1 : 0;
    unit.push_back(byte);
  }
  return unit;
}

// A tick is half a picture of 25 a second; not fixed.
const std::string kTiming = std::string(31, '0') + "1" + std::string(26, '0') + "110010" + "0";
// Neither aspect nor overscan; full range, three colour numbers; no chroma location.
const std::string kColours =
    "00"
    "1"
    "10111"
    "000000010000110100000110"
    "0";

TEST(SpsTiming, OneThatNamesARateLosesOneBitAndNothingElse) {
  for (const auto& [width, height] : {std::pair{64, 48}, {1366, 768}, {1920, 1080}}) {
    const Bytes before = test::makeH264(width, height, 1).sps;
    const Bytes after = withUsualFrameRate(before, 25);
    ASSERT_EQ(after.size(), before.size());
    EXPECT_EQ(differingBits(before, after), 1);
    EXPECT_EQ(withUsualFrameRate(after, 25), after) << "a second time there is nothing to do";
  }
}

TEST(SpsTiming, OneWithoutARateIsGivenOne) {
  EXPECT_EQ(withUsualFrameRate(handMade("1" + kColours +
                                        "0"
                                        "0001"
                                        "111"),
                               25),
            handMade("1" + kColours + "1" + kTiming +
                     "0001"
                     "111"));
  EXPECT_EQ(withUsualFrameRate(handMade("0"), 25), handMade("1"
                                                            "0000"
                                                            "1" +
                                                            kTiming + "0000"));
}

TEST(SpsTiming, WhatCannotBeReadStaysAsItIs) {
  for (const Bytes& unit :
       {Bytes{0x67}, Bytes{0x67, 0x64, 0x00}, Bytes{0x67, 0x42, 0xC0, 0x1F}, Bytes(40, 0x00)}) {
    EXPECT_EQ(withUsualFrameRate(unit, 30), unit);
  }
}

TEST(SpsTiming, OneWhoseRateIsFixedIsNot) {
  const std::string rate = kTiming.substr(0, kTiming.size() - 1);
  const std::string rest =
      "0001"
      "111";
  EXPECT_EQ(withUsualFrameRate(handMade("1" + kColours + "1" + rate + "1" + rest), 30),
            handMade("1" + kColours + "1" + rate + "0" + rest));
}

TEST(SpsTiming, OneWithoutAStopBitStaysAsItIs) {
  Bytes unit = handMade("0");
  ASSERT_NE(unit.back(), 0);
  unit.back() = static_cast<std::uint8_t>(unit.back() & (unit.back() - 1));  // its lowest bit
  EXPECT_EQ(withUsualFrameRate(unit, 30), unit);
}

TEST(SpsTiming, ZerosBehindTheStopBitAreNoPartOfIt) {
  Bytes padded = handMade("0");
  padded.insert(padded.end(), {0, 0});
  EXPECT_EQ(withUsualFrameRate(padded, 25), withUsualFrameRate(handMade("0"), 25));
}

TEST(SpsTiming, EveryCutOfAParameterSetIsSurvived) {
  const Bytes whole = test::makeH264(1920, 1080, 1).sps;
  for (std::size_t size = 1; size < whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_FALSE(withUsualFrameRate(cut, 30).empty());
  }
}

}  // namespace
}  // namespace vx
