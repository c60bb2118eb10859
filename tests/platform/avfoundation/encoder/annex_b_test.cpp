#include "platform/avfoundation/encoder/annex_b.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vx {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

AnnexBReader reading(const Bytes& stream) {
  AnnexBReader reader;
  reader.read(stream);
  return reader;
}

TEST(AnnexB, StartCodesOfBothLengthsBecomeLengths) {
  const AnnexBReader reader = reading({0, 0, 0, 1, 0x41, 9, 8, 0, 0, 1, 0x41, 7});
  EXPECT_THAT(reader.sample(), ElementsAre(0, 0, 0, 3, 0x41, 9, 8, 0, 0, 0, 2, 0x41, 7));
  EXPECT_FALSE(reader.hasKeyFrame());
}

TEST(AnnexB, ParameterSetsAndDelimitersStayOutOfTheSample) {
  const AnnexBReader reader =
      reading({0, 0, 0, 1, 9, 0xF0, 0, 0, 0, 1, 0x67, 1, 2, 0, 0, 1, 0x68, 3, 0, 0, 1, 0x65, 4});
  EXPECT_THAT(reader.parameterSets().sps, ElementsAre(0x67, 1, 2));
  EXPECT_THAT(reader.parameterSets().pps, ElementsAre(0x68, 3));
  EXPECT_THAT(reader.sample(), ElementsAre(0, 0, 0, 2, 0x65, 4));
  EXPECT_TRUE(reader.hasKeyFrame());
}

TEST(AnnexB, ParameterSetsAreKeptWhileNoOthersCome) {
  AnnexBReader reader = reading({0, 0, 1, 0x67, 1, 0, 0, 1, 0x68, 2});
  reader.read(Bytes{0, 0, 1, 0x41, 3});
  EXPECT_THAT(reader.parameterSets().sps, ElementsAre(0x67, 1));
  EXPECT_FALSE(reader.hasKeyFrame());
}

TEST(AnnexB, KeyFrameIsOnlyTheOneThatWasReadLast) {
  AnnexBReader reader = reading({0, 0, 1, 0x65, 1});
  EXPECT_TRUE(reader.hasKeyFrame());
  reader.read(Bytes{0, 0, 1, 0x41, 3});
  EXPECT_FALSE(reader.hasKeyFrame());
}

TEST(AnnexB, TypesHaveFiveBits) {
  // 21, 23 and 24, which differ from an IDR slice and parameter sets in the highest of them.
  const AnnexBReader reader = reading({0, 0, 1, 0x75, 1, 0, 0, 1, 0x77, 2, 0, 0, 1, 0x78, 3});
  EXPECT_FALSE(reader.hasKeyFrame());
  EXPECT_THAT(reader.parameterSets().sps, IsEmpty());
  EXPECT_EQ(reader.sample().size(), 18u);
}

TEST(AnnexB, LengthsHaveFourBytes) {
  Bytes stream{0, 0, 1};
  stream.resize(stream.size() + 0x010203, 0x41);
  const AnnexBReader reader = reading(stream);
  EXPECT_THAT(Bytes(reader.sample().begin(), reader.sample().begin() + 4), ElementsAre(0, 1, 2, 3));
}

TEST(AnnexB, ZerosBehindAUnitAreNotPartOfIt) {
  EXPECT_THAT(reading({0, 0, 1, 0x41, 5, 0, 0, 0, 0, 0, 1, 0x41, 6, 0}).sample(),
              ElementsAre(0, 0, 0, 2, 0x41, 5, 0, 0, 0, 2, 0x41, 6));
}

TEST(AnnexB, WhatHasNoStartCodeIsNoPicture) {
  for (const Bytes& stream : {Bytes{}, Bytes{0, 0}, Bytes{1, 2, 3, 4, 5}, Bytes{0, 0, 1}}) {
    EXPECT_THAT(reading(stream).sample(), IsEmpty());
  }
}

}  // namespace
}  // namespace vx
