#include "platform/avfoundation/bitstream/nal_unit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vx {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

TEST(NalUnit, PayloadIsWhatStandsBehindTheHeader) {
  EXPECT_THAT(payloadOf(Bytes{0x67, 1, 2}), ElementsAre(1, 2));
  EXPECT_THAT(payloadOf(Bytes{0x67}), IsEmpty());
  EXPECT_THAT(payloadOf({}), IsEmpty());
}

TEST(NalUnit, HeaderIsNoneOfTheZerosThatAreCounted) {
  EXPECT_THAT(payloadOf(Bytes{0, 0, 3}), ElementsAre(0, 3));
}

TEST(NalUnit, BytesAgainstStartCodesAreTakenOut) {
  EXPECT_THAT(payloadOf(Bytes{0x67, 0, 0, 3, 1, 0, 3}), ElementsAre(0, 0, 1, 0, 3));
  EXPECT_THAT(payloadOf(Bytes{0x67, 0, 0, 3, 3}), ElementsAre(0, 0, 3));
  EXPECT_THAT(payloadOf(Bytes{0x67, 0, 0, 3, 0, 0, 3, 0}), ElementsAre(0, 0, 0, 0, 0));
}

TEST(NalUnit, BytesAgainstStartCodesAreWritten) {
  for (const int last : {0, 1, 2, 3}) {
    EXPECT_THAT(unitOf(0x67, Bytes{0, 0, static_cast<std::uint8_t>(last)}),
                ElementsAre(0x67, 0, 0, 3, last));
  }
  EXPECT_THAT(unitOf(0x67, Bytes{0, 0, 4}), ElementsAre(0x67, 0, 0, 4));
  EXPECT_THAT(unitOf(0x67, Bytes{0, 1, 0, 2}), ElementsAre(0x67, 0, 1, 0, 2));
}

TEST(NalUnit, ZerosAreCountedAnewBehindSuchAByte) {
  EXPECT_THAT(unitOf(0x67, Bytes{0, 0, 0, 0, 0}), ElementsAre(0x67, 0, 0, 3, 0, 0, 3, 0));
  EXPECT_THAT(unitOf(0x67, Bytes{0, 0, 0, 1}), ElementsAre(0x67, 0, 0, 3, 0, 1));
  EXPECT_THAT(unitOf(0x67, Bytes{0, 0, 1, 1}), ElementsAre(0x67, 0, 0, 3, 1, 1));
}

TEST(NalUnit, PayloadIsReadAsItWasWritten) {
  for (unsigned number = 0; number < 1024; ++number) {  // five digits of 0 to 3
    Bytes payload;
    for (int i = 0; i < 5; ++i) {
      payload.push_back(static_cast<std::uint8_t>(number >> 2 * i & 3));
    }
    EXPECT_EQ(payloadOf(unitOf(0x68, payload)), payload);
  }
}

}  // namespace
}  // namespace vx
